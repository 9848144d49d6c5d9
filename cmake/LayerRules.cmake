# Which layer may include which. Each target's include folders already keep
# the sensor (sim/) and the wire module (wire/) to what they may call; the
# library's three layers share the src/ include root, so their rule is
# checked here, on every configure: a forbidden include fails it.
#
#   base      nothing of the platform, the camera layer or the wire module
#   platform  nothing of the camera layer
#   camera    the platform and base only: no wire module, no Aravis
#   wire      no Aravis, no GLib, nothing of the library or the sensor

function(ornc_forbid_includes folder)
  cmake_parse_arguments(ARG "" "" "PATTERNS" ${ARGN})
  file(GLOB_RECURSE sources ${PROJECT_SOURCE_DIR}/${folder}/*.c ${PROJECT_SOURCE_DIR}/${folder}/*.cpp
       ${PROJECT_SOURCE_DIR}/${folder}/*.h)
  foreach(source ${sources})
    file(STRINGS ${source} includes REGEX "^[ \t]*#[ \t]*include[ \t]*[<\"]")
    foreach(line ${includes})
      foreach(pattern ${ARG_PATTERNS})
        if(line MATCHES "[<\"]${pattern}")
          file(RELATIVE_PATH where ${PROJECT_SOURCE_DIR} ${source})
          message(FATAL_ERROR "Layer rule: ${where} may not include what '${line}' names (${folder} must not "
                              "depend on '${pattern}')")
        endif()
      endforeach()
    endforeach()
  endforeach()
endfunction()

ornc_forbid_includes(src/base PATTERNS "platform/" "camera/" "wire/" "arv" "glib")
ornc_forbid_includes(src/platform PATTERNS "camera/")
ornc_forbid_includes(src/camera PATTERNS "wire/" "arv" "glib")
ornc_forbid_includes(wire PATTERNS "platform/" "camera/" "base/" "ornsim/" "arv" "glib")
