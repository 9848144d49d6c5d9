# Fails when libORNC.so exports anything but ORN*/ORNC* functions and the
# three thread shims that are exported by name.
execute_process(COMMAND nm -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${symbols}")
set(count 0)
foreach(line ${lines})
  string(REGEX REPLACE "^[0-9a-fA-F]* +[A-Za-z] +" "" name "${line}")
  if(name STREQUAL "")
    continue()
  endif()
  math(EXPR count "${count} + 1")
  if(NOT name MATCHES "^ORN" AND NOT name MATCHES "^(CreateThread|TerminateThread|Sleep)$")
    message(FATAL_ERROR "unexpected exported symbol: ${name}")
  endif()
endforeach()
foreach(required ORNCParamGetInteger64Value ORNCParamSetInteger64Value ORNCParamGetInteger64Range
                 ORNCParamGetValueText ORNCParamSetValueText ORNCParamGetUnit ORNCSetDeliveryPacing
                 ORNCGetFrameInfo ORNCGetFramePartData ORNCConnectByDeviceMonitor
                 ORNCSetAutoReconnect ORNCSysSendActionCommand)
  if(NOT symbols MATCHES " ${required}\n")
    message(FATAL_ERROR "${required} is not exported")
  endif()
endforeach()
if(count LESS 40)
  message(FATAL_ERROR "only ${count} exported symbols: the export macro is not applied")
endif()
message(STATUS "${count} exported symbols, all of the library's own C API")
