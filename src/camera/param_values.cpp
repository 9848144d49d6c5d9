// Typed reads and writes of one parameter, and the ranges of numeric ones.
// 64-bit integer nodes are offered as 32-bit signed or unsigned values
// chosen by their range; numeric writes are fitted into the range rather
// than refused.
#include <cstring>
#include <limits>
#include <type_traits>

#include "ORNC.h"
#include "base/log.h"
#include "camera/param_internal.h"
#include "platform/PvGenBoolean.h"
#include "platform/PvGenCommand.h"
#include "platform/PvGenFloat.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenParameter.h"
#include "platform/PvGenRegister.h"
#include "platform/PvGenString.h"

namespace {

// Names in range-failure messages are read into this many bytes.
constexpr int kRangeNameSize = 64;
// Longest string length that still fits an int with its terminator.
constexpr int64_t kMaxStringMaxLength = 0x3FFFFFFE;

// `what` names the failed read: "Int64 GetMin", "Float GetMax", ...
void ORNC_LogRangeFailure(const ornc_param_t* param, const char* what, const PvResult& result) {
    if (!ORNDoLog(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM)) {
        return;
    }
    char name[kRangeNameSize];
    ORNCParamGetName(param, name, sizeof name);
    char text[orn::kLogLineSize];
    std::snprintf(text, sizeof text, "ORNC: %s %s failed: %d (%s)", name, what, static_cast<int>(result.GetCode()),
                  result.GetDescription().GetAscii());
    ORNLogMsg(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, text);
}

// One part of a numeric node's range read into `out` (nothing to do for a
// null `out`); a failure is logged with `what` and answers false.
template <typename Node, typename T>
bool ORNC_ReadRangePart(const ornc_param_t* param, Node* node, PvResult (Node::*get)(T&) const, T* out,
                        const char* what) {
    if (out == nullptr) {
        return true;
    }
    const PvResult result = (node->*get)(*out);
    if (result.IsFailure()) {
        ORNC_LogRangeFailure(param, what, result);
        return false;
    }
    return true;
}

// Range of a node read for a write: min <= max and a non-negative step.
bool ORNC_ReadWriteRange(const ornc_param_t* param, int64_t* min, int64_t* max, int64_t* inc) {
    if (ORNC_ParamGetIntegerMinMaxInc64Values(param, min, max, inc) != ORNC_OK) {
        return false;
    }
    return *min <= *max && *inc >= 0;
}

// The value on the step grid from `min` nearest to `value`; a remainder of
// exactly half a step rounds up. Wrapping arithmetic keeps values at the
// ends of the 64-bit range defined; clamping afterwards fixes the result.
int64_t ORNC_RoundToStep(int64_t value, int64_t min, int64_t inc) {
    const int64_t d = static_cast<int64_t>(static_cast<uint64_t>(value) - static_cast<uint64_t>(min));
    const int64_t r = d % inc;
    uint64_t rounded = static_cast<uint64_t>(min) + static_cast<uint64_t>(d) - static_cast<uint64_t>(r);
    if (r >= (inc >> 1)) {
        rounded += static_cast<uint64_t>(inc);
    }
    return static_cast<int64_t>(rounded);
}

// An integer node read as the 32-bit type T; ORNC_ERR_OUT_OF_RANGE (output
// untouched) for a value T cannot hold.
template <typename T>
ornc_status_t ORNC_GetInteger32(const ornc_param_t* param, T* value) {
    return ORNC_WithParam<PvGenInteger>(param, ORNC_Access::Read, value != nullptr, [&](PvGenInteger* node) {
        int64_t v = 0;
        if (node->GetValue(v).IsFailure()) {
            return ORNC_ERR_PARAM_READ_FAILED;
        }
        if (v < static_cast<int64_t>(std::numeric_limits<T>::min()) ||
            v > static_cast<int64_t>(std::numeric_limits<T>::max())) {
            return ORNC_ERR_OUT_OF_RANGE;
        }
        *value = static_cast<T>(v);
        return ORNC_OK;
    });
}

// The range of an integer node in the 32-bit view T (int or unsigned):
// ORNC_ERR_PARAM_TYPE_MISMATCH when its range has no such view. Each
// output gets the low 32 bits, also after a failure (what was read, else
// 0) and for a range beyond 32 bits on both sides: a cut, deliberately
// not a clamp.
template <typename T>
ornc_status_t ORNC_GetInteger32Range(const ornc_param_t* param, T* minval, T* maxval, unsigned int* incval) {
    int64_t min = 0;
    int64_t max = 0;
    int64_t inc = 0;
    const ornc_status_t status = ORNC_ParamGetIntegerMinMaxInc64Values(param, &min, &max, &inc);
    const bool view = std::is_signed<T>::value ? ORNC_IsSigned32View(min, max) : ORNC_IsUnsigned32View(min, max);
    if (status == ORNC_OK && !view) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    if (minval != nullptr) *minval = static_cast<T>(static_cast<uint32_t>(min));
    if (maxval != nullptr) *maxval = static_cast<T>(static_cast<uint32_t>(max));
    if (incval != nullptr) *incval = static_cast<unsigned int>(inc);
    return status;
}

}  // namespace

ornc_status_t ORNC_ParamGetIntegerMinMaxInc64Values(const ornc_param_t* param, int64_t* minval64, int64_t* maxval64,
                                                    int64_t* incval64) {
    if (minval64 != nullptr) *minval64 = 0;
    if (maxval64 != nullptr) *maxval64 = 0;
    if (incval64 != nullptr) *incval64 = 0;
    PvGenInteger* node = ORNC_ParamAs<PvGenInteger>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_WRONG_TYPE;
    }
    if (!ORNC_ReadRangePart(param, node, &PvGenInteger::GetMin, minval64, "Int64 GetMin") ||
        !ORNC_ReadRangePart(param, node, &PvGenInteger::GetMax, maxval64, "Int64 GetMax") ||
        !ORNC_ReadRangePart(param, node, &PvGenInteger::GetIncrement, incval64, "Int64 GetIncrement")) {
        return ORNC_ERR_PARAM_NOT_AVAILABLE;
    }
    return ORNC_OK;
}

ornc_status_t ORNC_ParamWriteStatus(ornc_param_t* param, const PvResult& result) {
    if (result.IsOK()) {
        return ORNC_OK;
    }
    if (ORNDoLog(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM)) {
        const PvString name = param != nullptr ? ORNC_ToParam(param)->GetName() : PvString();
        char text[orn::kLogLineSize];
        std::snprintf(text, sizeof text, "ORNC: Parameter %s write failed code %d, %s, %s", name.GetAscii(),
                      static_cast<int>(result.GetCode()), result.GetCodeString().GetAscii(),
                      result.GetDescription().GetAscii());
        ORNLogMsg(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, text);
    }
    return ORNC_WriteFailure(result, ORNC_ERR_PARAM_WRITE_FAILED);
}

ornc_status_t ORNC_ParamSetInteger64Value(ornc_param_t* param, int64_t value) {
    return ORNC_WithParam<PvGenInteger>(param, ORNC_Access::Write, true, [&](PvGenInteger* node) {
        int64_t min = 0;
        int64_t max = 0;
        int64_t inc = 0;
        if (!ORNC_ReadWriteRange(param, &min, &max, &inc)) {
            return ORNC_ERR_INTERNAL;
        }
        if (inc > 1) {
            value = ORNC_RoundToStep(value, min, inc);
        }
        if (value < min) {
            value = min;
        } else if (value > max) {
            value = max;
        }
        return ORNC_ParamWriteStatus(param, node->SetValue(value));
    });
}

// Clamped into [min, max] without step rounding. A NaN fails both
// comparisons and reaches the node as it is.
ornc_status_t ORNC_ParamSetFloat64Value(ornc_param_t* param, double value) {
    return ORNC_WithParam<PvGenFloat>(param, ORNC_Access::Write, true, [&](PvGenFloat* node) {
        double min = 0.0;
        double max = 0.0;
        if (node->GetMin(min).IsFailure() || node->GetMax(max).IsFailure() || min > max) {
            return ORNC_ERR_INTERNAL;
        }
        if (value < min) {
            value = min;
        } else if (value > max) {
            value = max;
        }
        return ORNC_ParamWriteStatus(param, node->SetValue(value));
    });
}

extern "C" {

ornc_status_t ORNCParamGetIntegerValue(const ornc_param_t* param, int* value) {
    return ORNC_GetInteger32(param, value);
}

ornc_status_t ORNCParamGetUIntegerValue(const ornc_param_t* param, unsigned int* value) {
    return ORNC_GetInteger32(param, value);
}

ornc_status_t ORNCParamGetFloatValue(const ornc_param_t* param, float* value) {
    return ORNC_WithParam<PvGenFloat>(param, ORNC_Access::Read, value != nullptr, [&](PvGenFloat* node) {
        double v = 0.0;
        const bool read = node->GetValue(v).IsOK();
        *value = read ? static_cast<float>(v) : 0.0f;
        return read ? ORNC_OK : ORNC_ERR_PARAM_READ_FAILED;
    });
}

ornc_status_t ORNCParamGetBooleanValue(const ornc_param_t* param, int* value) {
    return ORNC_WithParam<PvGenBoolean>(param, ORNC_Access::Read, value != nullptr, [&](PvGenBoolean* node) {
        bool v = false;
        const PvResult result = node->GetValue(v);
        *value = result.IsOK() && v ? 1 : 0;
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Reading boolean event parameter failed code %d %s",
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
            return ORNC_ERR_PARAM_READ_FAILED;
        }
        return ORNC_OK;
    });
}

ornc_status_t ORNCParamGetRegisterValue(const ornc_param_t* param, char* value, size_t maxlen) {
    return ORNC_WithParam<PvGenRegister>(param, ORNC_Access::Read, true, [&](PvGenRegister* node) {
        if (value == nullptr || maxlen == 0) {
            return ORNC_ERR_PARAM_READ_FAILED;
        }
        if (node->Get(reinterpret_cast<unsigned char*>(value), static_cast<int64_t>(maxlen)).IsFailure()) {
            value[0] = 0;
            return ORNC_ERR_PARAM_READ_FAILED;
        }
        return ORNC_OK;
    });
}

int ORNCParamGetStringSize(const ornc_param_t* param) {
    PvString text;
    const ornc_status_t status = ORNC_WithParam<PvGenString>(param, ORNC_Access::Read, true, [&](PvGenString* node) {
        return node->GetValue(text).IsOK() ? ORNC_OK : ORNC_ERR_PARAM_READ_FAILED;
    });
    return status == ORNC_OK ? static_cast<int>(text.GetLength()) + 1 : 0;
}

ornc_status_t ORNCParamGetStringValue(const ornc_param_t* param, char* value, size_t maxlen) {
    return ORNC_WithParam<PvGenString>(param, ORNC_Access::Read, value != nullptr, [&](PvGenString* node) {
        PvString text;
        if (node->GetValue(text).IsFailure()) {
            if (maxlen > 0) {
                value[0] = '\0';
            }
            return ORNC_ERR_PARAM_READ_FAILED;
        }
        if (maxlen > 0) {
            std::strncpy(value, text.GetAscii(), maxlen);
            value[maxlen - 1] = '\0';
        }
        return ORNC_OK;
    });
}

ornc_status_t ORNCParamGetStringMaxSize(const ornc_param_t* param, int* maxsize) {
    return ORNC_WithParam<PvGenString>(param, ORNC_Access::None, maxsize != nullptr, [&](PvGenString* node) {
        int64_t length = 0;
        node->GetMaxLength(length);
        if (length > kMaxStringMaxLength) {
            return ORNC_ERR_INTERNAL;
        }
        *maxsize = static_cast<int>(length);
        return ORNC_OK;
    });
}

// The device's answer to the command is not examined: a refused command
// still counts as sent (a command a monitor may not send is not).
ornc_status_t ORNCParamSendCommand(ornc_param_t* param) {
    return ORNC_WithParam<PvGenCommand>(param, ORNC_Access::None, true,
                                        [](PvGenCommand* node) { return ORNC_WriteFailure(node->Execute(), ORNC_OK); });
}

ornc_status_t ORNCParamSetIntegerValue(ornc_param_t* param, int value) {
    return ORNC_ParamSetInteger64Value(param, static_cast<int64_t>(value));
}

ornc_status_t ORNCParamSetUIntegerValue(ornc_param_t* param, unsigned int value) {
    return ORNC_ParamSetInteger64Value(param, static_cast<int64_t>(value));
}

ornc_status_t ORNCParamSetFloatValue(ornc_param_t* param, float value) {
    return ORNC_ParamSetFloat64Value(param, static_cast<double>(value));
}

ornc_status_t ORNCParamSetBooleanValue(ornc_param_t* param, int value) {
    return ORNC_WithParam<PvGenBoolean>(param, ORNC_Access::Write, true, [&](PvGenBoolean* node) {
        return ORNC_ParamWriteStatus(param, node->SetValue(value != 0));
    });
}

ornc_status_t ORNCParamSetStringValue(ornc_param_t* param, const char* value) {
    return ORNC_WithParam<PvGenString>(param, ORNC_Access::Write, value != nullptr, [&](PvGenString* node) {
        return ORNC_ParamWriteStatus(param, node->SetValue(PvString(value)));
    });
}

ornc_status_t ORNCParamSetRegisterValue(ornc_param_t* param, const char* value, int len) {
    return ORNC_WithParam<PvGenRegister>(
        param, ORNC_Access::Write, value != nullptr && len >= 0, [&](PvGenRegister* node) {
            return ORNC_ParamWriteStatus(
                param, node->Set(reinterpret_cast<const unsigned char*>(value), static_cast<int64_t>(len)));
        });
}

ornc_status_t ORNCParamGetIntegerMinMaxIncValues(const ornc_param_t* param, int* minval, int* maxval,
                                                 unsigned int* incval) {
    return ORNC_GetInteger32Range(param, minval, maxval, incval);
}

ornc_status_t ORNCParamGetIntegerMinValue(const ornc_param_t* param, int* minval) {
    return ORNCParamGetIntegerMinMaxIncValues(param, minval, nullptr, nullptr);
}

ornc_status_t ORNCParamGetIntegerMaxValue(const ornc_param_t* param, int* maxval) {
    return ORNCParamGetIntegerMinMaxIncValues(param, nullptr, maxval, nullptr);
}

ornc_status_t ORNCParamGetIntegerIncValue(const ornc_param_t* param, unsigned int* incval) {
    return ORNCParamGetIntegerMinMaxIncValues(param, nullptr, nullptr, incval);
}

ornc_status_t ORNCParamGetUIntegerMinMaxIncValues(const ornc_param_t* param, unsigned int* minval, unsigned int* maxval,
                                                  unsigned int* incval) {
    return ORNC_GetInteger32Range(param, minval, maxval, incval);
}

ornc_status_t ORNCParamGetUIntegerMinValue(const ornc_param_t* param, unsigned int* minval) {
    return ORNCParamGetUIntegerMinMaxIncValues(param, minval, nullptr, nullptr);
}

ornc_status_t ORNCParamGetUIntegerMaxValue(const ornc_param_t* param, unsigned int* maxval) {
    return ORNCParamGetUIntegerMinMaxIncValues(param, nullptr, maxval, nullptr);
}

ornc_status_t ORNCParamGetUIntegerIncValue(const ornc_param_t* param, unsigned int* incval) {
    return ORNCParamGetUIntegerMinMaxIncValues(param, nullptr, nullptr, incval);
}

ornc_status_t ORNCParamGetFloatMinMaxValues(const ornc_param_t* param, float* minval, float* maxval) {
    if (minval != nullptr) *minval = 0.0f;
    if (maxval != nullptr) *maxval = 0.0f;
    PvGenFloat* node = ORNC_ParamAs<PvGenFloat>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_WRONG_TYPE;
    }
    double min = 0.0;
    if (!ORNC_ReadRangePart(param, node, &PvGenFloat::GetMin, minval != nullptr ? &min : nullptr, "Float GetMin")) {
        return ORNC_ERR_PARAM_NOT_AVAILABLE;
    }
    if (minval != nullptr) *minval = static_cast<float>(min);
    double max = 0.0;
    if (!ORNC_ReadRangePart(param, node, &PvGenFloat::GetMax, maxval != nullptr ? &max : nullptr, "Float GetMax")) {
        return ORNC_ERR_PARAM_NOT_AVAILABLE;
    }
    if (maxval != nullptr) *maxval = static_cast<float>(max);
    return ORNC_OK;
}

ornc_status_t ORNCParamGetFloatMinValue(const ornc_param_t* param, float* minval) {
    return ORNCParamGetFloatMinMaxValues(param, minval, nullptr);
}

ornc_status_t ORNCParamGetFloatMaxValue(const ornc_param_t* param, float* maxval) {
    return ORNCParamGetFloatMinMaxValues(param, nullptr, maxval);
}

}  // extern "C"
