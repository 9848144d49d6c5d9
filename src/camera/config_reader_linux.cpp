// Linux build of the configuration readers: there is no store to read.
#include "camera/config_reader.h"

regio_result_t loadRegInt(int /*key*/, const char* /*i_path*/, const char* /*i_valueName*/, int* /*o_int*/) {
    return REGIO_ERROR;
}

regio_result_t loadRegString(int /*key*/, const char* /*i_path*/, const char* /*i_valueName*/, char* /*o_str*/,
                             int /*len*/) {
    return REGIO_ERROR;
}
