# Acquisition, image delivery, triggers, events and callbacks through the
# public C API against the virtual sensor over real UDP on loopback.
# Included by tests/device/CMakeLists.txt. The sensors of these suites use
# the block 127.0.60.x under one resource lock, so that the suites never
# meet each other's sensors or compete for the two cores while they pace
# frames.
if(NOT TARGET ornc_sim OR NOT TARGET ornc_camera_test_support)
  return()
endif()

add_library(ornc_acquisition_test_support STATIC ${CMAKE_CURRENT_LIST_DIR}/acquisition_test_support.cpp)
target_include_directories(ornc_acquisition_test_support PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(ornc_acquisition_test_support PUBLIC ornc_camera_test_support GTest::gtest PRIVATE ornc_warnings)

function(ornc_acquisition_test name)
  add_executable(${name} ${CMAKE_CURRENT_LIST_DIR}/${name}.cpp)
  target_link_libraries(${name} PRIVATE ornc_acquisition_test_support GTest::gtest_main ornc_warnings)
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 LABELS device RESOURCE_LOCK ornc_loopback_60
    ENVIRONMENT "ORNC_INTERFACES=lo")
endfunction()

ornc_acquisition_test(acquisition_delivery_test)
ornc_acquisition_test(acquisition_modes_test)
ornc_acquisition_test(acquisition_faults_test)
ornc_acquisition_test(acquisition_events_test)
ornc_acquisition_test(acquisition_cycles_test)

# The example program against the virtual sensor run as a separate process.
if(TARGET ornc-virtual-sensor AND TARGET ornc-acquire-multipart)
  add_test(NAME acquisition_example_test
    COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/acquisition_example_test.sh
            $<TARGET_FILE:ornc-virtual-sensor> $<TARGET_FILE:ornc-acquire-multipart>)
  set_tests_properties(acquisition_example_test PROPERTIES
    TIMEOUT 120 LABELS device RESOURCE_LOCK ornc_loopback_60)
endif()
