# White-box tests of the platform layer (src/platform) against the virtual
# sensor in-process, over real UDP on loopback. Included by
# tests/device/CMakeLists.txt; every target is prefixed platform_. The
# virtual sensors use the block 127.0.46.x.
if(NOT TARGET ornc_sim)
  return()
endif()

function(ornc_platform_test name lock)
  add_executable(${name} ${ARGN})
  target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_LIST_DIR})
  target_link_libraries(${name} PRIVATE ornc_internal ornc_sim ornc_warnings ornc_process_probes GTest::gtest
                        GTest::gtest_main Threads::Threads PkgConfig::ARAVIS)
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 30
    PROPERTIES TIMEOUT 180 LABELS device RESOURCE_LOCK ${lock})
endfunction()

ornc_platform_test(platform_node_map_test ornc_loopback_46 ${CMAKE_CURRENT_LIST_DIR}/platform_node_map_test.cpp)
ornc_platform_test(platform_connect_test ornc_loopback_46 ${CMAKE_CURRENT_LIST_DIR}/platform_connect_test.cpp)

# Streaming, device events and chunks through the platform: virtual sensors
# on the block 127.0.47.x.
ornc_platform_test(platform_stream_test ornc_loopback_47 ${CMAKE_CURRENT_LIST_DIR}/platform_stream_test.cpp)
ornc_platform_test(platform_events_test ornc_loopback_47 ${CMAKE_CURRENT_LIST_DIR}/platform_events_test.cpp)
ornc_platform_test(platform_notification_test ornc_loopback_47 ${CMAKE_CURRENT_LIST_DIR}/platform_notification_test.cpp)
