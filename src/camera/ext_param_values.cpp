// Integer parameters in full 64 bits, and the unit of numeric parameters.
// Writes go through the same step rounding and clamping as the 32-bit
// writes of the base API.
#include "ORNCExt.h"
#include "camera/param_internal.h"
#include "platform/PvGenFloat.h"
#include "platform/PvGenInteger.h"

extern "C" {

ornc_status_t ORNCParamGetInteger64Value(const ornc_param_t* param, int64_t* value) {
    return ORNC_WithParam<PvGenInteger>(param, ORNC_Access::Read, value != nullptr, [&](PvGenInteger* node) {
        return node->GetValue(*value).IsOK() ? ORNC_OK : ORNC_ERR_PARAM_READ_FAILED;
    });
}

ornc_status_t ORNCParamSetInteger64Value(ornc_param_t* param, int64_t value) {
    return ORNC_ParamSetInteger64Value(param, value);
}

ornc_status_t ORNCParamGetInteger64Range(const ornc_param_t* param, int64_t* min, int64_t* max, int64_t* inc) {
    return ORNC_ParamGetIntegerMinMaxInc64Values(param, min, max, inc);
}

int ORNCParamGetUnit(const ornc_param_t* param, char* str, int len) {
    if (param == nullptr) {
        if (str != nullptr && len > 0) {
            str[0] = '\0';
        }
        return 0;
    }
    PvString unit;
    if (auto* integer = ORNC_ParamAs<PvGenInteger>(param)) {
        integer->GetUnit(unit);
    } else if (auto* real = ORNC_ParamAs<PvGenFloat>(param)) {
        real->GetUnit(unit);
    }
    return ORN_StringCopy(str, unit.GetAscii(), len);
}

}  // extern "C"
