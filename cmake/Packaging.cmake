# Installation: `cmake --install <build> [--prefix DIR]` lays out
#   lib/libORNC.so.<version> with its SONAME link libORNC.so.<major> and the
#       development link libORNC.so
#   include/ORNC.h, include/ORNCExt.h, include/ORNBase.h
#   lib/pkgconfig/ornc.pc                      (pkg-config --cflags --libs ornc)
#   lib/cmake/ORNC/ORNCConfig*.cmake, ORNCTargets*.cmake
#                                              (find_package(ORNC) -> ORNC::ORNC)
#   bin/ornc-tool, bin/ornc-virtual-sensor
#   share/ornc/examples/*.c with a CMakeLists.txt that builds them against
#       the installed package
# Every file is relocatable: the prefix may be chosen at install time.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ORNC_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ORNC)
set(ORNC_EXAMPLES_INSTALL_DIR ${CMAKE_INSTALL_DATADIR}/ornc/examples)

install(TARGETS ORNC EXPORT ORNCTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/ORNC.h ${PROJECT_SOURCE_DIR}/include/ORNCExt.h ${PROJECT_SOURCE_DIR}/include/ORNBase.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# CMake package.
install(EXPORT ORNCTargets NAMESPACE ORNC:: DESTINATION ${ORNC_CMAKE_INSTALL_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ORNCConfig.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/ORNCConfig.cmake
  INSTALL_DESTINATION ${ORNC_CMAKE_INSTALL_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/ORNCConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/packaging/ORNCConfig.cmake ${PROJECT_BINARY_DIR}/packaging/ORNCConfigVersion.cmake
  DESTINATION ${ORNC_CMAKE_INSTALL_DIR})

# pkg-config file. Its prefix is found from the file's own place
# (${pcfiledir}), so that --prefix at install time needs no reconfigure.
file(RELATIVE_PATH ORNC_PC_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(ORNC_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
else()
  set(ORNC_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/ornc.pc.in ${PROJECT_BINARY_DIR}/packaging/ornc.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/ornc.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Tools. Those that link libORNC find it next to them in the installed tree.
file(RELATIVE_PATH ORNC_BIN_TO_LIB "/root/${CMAKE_INSTALL_BINDIR}" "/root/${CMAKE_INSTALL_LIBDIR}")
foreach(tool ornc-tool ornc-virtual-sensor)
  if(TARGET ${tool})
    set_target_properties(${tool} PROPERTIES INSTALL_RPATH "\$ORIGIN/${ORNC_BIN_TO_LIB}")
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

# Examples as sources, with a project that builds them on the installed
# package: cmake -S <prefix>/share/ornc/examples -B build-examples.
file(GLOB ORNC_EXAMPLE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.c)
install(FILES ${ORNC_EXAMPLE_SOURCES} DESTINATION ${ORNC_EXAMPLES_INSTALL_DIR})
install(FILES ${CMAKE_CURRENT_LIST_DIR}/examples-CMakeLists.txt.in DESTINATION ${ORNC_EXAMPLES_INSTALL_DIR}
  RENAME CMakeLists.txt)
