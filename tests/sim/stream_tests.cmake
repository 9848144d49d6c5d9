# Tests of the virtual sensor's stream channel (sim/stream). Included by
# tests/sim/CMakeLists.txt; every target is prefixed sim_stream_.
set(ORNSIM_STREAM_TEST_DIR ${CMAKE_CURRENT_LIST_DIR})
set(ORNSIM_STREAM_SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR}/../../sim/stream)

# The stream code under test: the sensor library when it is part of the
# build, otherwise the stream sources on their own.
if(TARGET ornc_sim)
  set(ORNSIM_STREAM_TEST_LIB ornc_sim)
else()
  include(${ORNSIM_STREAM_SOURCE_DIR}/sources.cmake)
  add_library(sim_stream_under_test STATIC ${ORNSIM_STREAM_SOURCES})
  target_include_directories(sim_stream_under_test PUBLIC ${ORNSIM_STREAM_SOURCE_DIR}
                             ${CMAKE_CURRENT_LIST_DIR}/../../sim/include)
  target_link_libraries(sim_stream_under_test PRIVATE ornc_warnings)
  set(ORNSIM_STREAM_TEST_LIB sim_stream_under_test)
endif()

function(ornsim_stream_test name)
  cmake_parse_arguments(ARG "SERIAL" "" "" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PRIVATE ${ORNSIM_STREAM_TEST_DIR} ${ORNSIM_STREAM_SOURCE_DIR}
                             ${ORNSIM_STREAM_TEST_DIR}/../../sim/include)
  target_link_libraries(${name} PRIVATE ${ORNSIM_STREAM_TEST_LIB} ornc_warnings GTest::gtest GTest::gtest_main Threads::Threads)
  if(ARG_SERIAL)
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 30 PROPERTIES TIMEOUT 120 RUN_SERIAL TRUE)
  else()
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 30 PROPERTIES TIMEOUT 120)
  endif()
endfunction()

ornsim_stream_test(sim_stream_scene_test ${ORNSIM_STREAM_TEST_DIR}/stream_scene_test.cpp)
ornsim_stream_test(sim_stream_sender_test ${ORNSIM_STREAM_TEST_DIR}/stream_sender_test.cpp)

# Aravis as the client of the whole virtual sensor: needs the device side.
if(TARGET ornc_sim AND EXISTS ${ORNSIM_STREAM_TEST_DIR}/stream_aravis_test.cpp)
  # Serial: Aravis's receiver (above all its packet socket, which sees every
  # datagram on lo) must not share the machine with other streaming tests.
  ornsim_stream_test(sim_stream_aravis_test ${ORNSIM_STREAM_TEST_DIR}/stream_aravis_test.cpp SERIAL)
  target_link_libraries(sim_stream_aravis_test PRIVATE PkgConfig::ARAVIS)
endif()
