# Camera API against the virtual sensor (and Aravis's fake camera) on
# loopback, through include/ORNC.h and the shared library only. Every
# suite that discovers is limited to the loopback adapter; each process
# uses its own 127.52.<pid>.x block, and the suites share one resource
# lock so that their sensors never meet.
if(NOT TARGET ornc_sim)
  return()
endif()

add_library(ornc_camera_test_support STATIC ${CMAKE_CURRENT_LIST_DIR}/camera_test_support.cpp)
target_include_directories(ornc_camera_test_support PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(ornc_camera_test_support PUBLIC ORNC ornc_sim ornc_discovery_test_support ornc_process_probes GTest::gtest
  PRIVATE ornc_warnings)

function(ornc_camera_test name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE ornc_camera_test_support GTest::gtest_main ornc_warnings)
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 LABELS device RESOURCE_LOCK ornc_camera_sensors ENVIRONMENT "ORNC_INTERFACES=lo")
endfunction()

ornc_camera_test(camera_param_rules_test ${CMAKE_CURRENT_LIST_DIR}/camera_param_rules_test.cpp)
ornc_camera_test(camera_connect_test ${CMAKE_CURRENT_LIST_DIR}/camera_connect_test.cpp)
ornc_camera_test(camera_components_test ${CMAKE_CURRENT_LIST_DIR}/camera_components_test.cpp)

# Aravis's fake camera runs in a network namespace the test makes (root).
set(ornc_camera_fake_binary "${ORNC_ARV_FAKE_CAMERA}")
if(ornc_camera_fake_binary STREQUAL "")
  set(ornc_camera_fake_binary ${PROJECT_SOURCE_DIR}/.deps/aravis-tools/usr/bin/arv-fake-gv-camera-0.8)
endif()
ornc_camera_test(camera_aravis_fake_test ${CMAKE_CURRENT_LIST_DIR}/camera_aravis_fake_test.cpp)
target_compile_definitions(camera_aravis_fake_test PRIVATE ORNC_ARV_FAKE_CAMERA="${ornc_camera_fake_binary}")
ornc_camera_test(camera_cycles_test ${CMAKE_CURRENT_LIST_DIR}/camera_cycles_test.cpp)
