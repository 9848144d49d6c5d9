// Helpers shared by the parameter functions, the connect sequence and the
// component table: the casts between the opaque public parameter handles
// and the node classes, the 32-bit views of integer ranges, and the
// internal range, write and dump functions.
#pragma once

#include <cstdint>

#include "ORNC.h"
#include "platform/PvGenParameterArray.h"

// The public parameter handles are node objects passed through unchanged.
// Node access changes device state, so the node classes take no const;
// the const of the public signatures only says the value is not written.
inline PvGenParameterArray* ORNC_ToParams(const ornc_parameters_t* params) {
    return reinterpret_cast<PvGenParameterArray*>(const_cast<ornc_parameters_t*>(params));
}
inline ornc_parameters_t* ORNC_FromParams(PvGenParameterArray* params) {
    return reinterpret_cast<ornc_parameters_t*>(params);
}
inline PvGenCategory* ORNC_ToCategory(const ornc_category_t* category) {
    return reinterpret_cast<PvGenCategory*>(const_cast<ornc_category_t*>(category));
}
inline ornc_category_t* ORNC_FromCategory(PvGenCategory* category) {
    return reinterpret_cast<ornc_category_t*>(category);
}
inline PvGenParameter* ORNC_ToParam(const ornc_param_t* param) {
    return reinterpret_cast<PvGenParameter*>(const_cast<ornc_param_t*>(param));
}
inline ornc_param_t* ORNC_FromParam(PvGenParameter* param) { return reinterpret_cast<ornc_param_t*>(param); }

// The node of `param` as the class `Node`, or null for a null handle or a
// node of another kind: a failed cast is a type error, never a conversion.
template <typename Node>
Node* ORNC_ParamAs(const ornc_param_t* param) {
    return param != nullptr ? dynamic_cast<Node*>(ORNC_ToParam(param)) : nullptr;
}

// Readability and writability as the typed functions check them first. A
// null handle counts as readable/writable so that the type check after it
// reports the mismatch.
bool ORNC_ParamReadable(const ornc_param_t* param);
bool ORNC_ParamWritable(const ornc_param_t* param);

// 32-bit views of an integer range. The signed view also covers a range
// that overflows 32 bits on both sides (the full 64-bit range): such
// values are handled as int and cut or clamped where they are read.
inline bool ORNC_IsSigned32View(int64_t min, int64_t max) {
    return (min >= INT32_MIN && max <= INT32_MAX) || (min < INT32_MIN && max > INT32_MAX);
}
inline bool ORNC_IsUnsigned32View(int64_t min, int64_t max) {
    return !ORNC_IsSigned32View(min, max) && min >= 0 && max <= static_cast<int64_t>(UINT32_MAX);
}

// Reads the requested parts of an integer node's range (outputs may be
// null; every non-null output starts at 0). ORNC_ERR_PARAM_WRONG_TYPE for a
// node that is not an integer, ORNC_ERR_PARAM_NOT_AVAILABLE (logged) when
// the device does not give a part.
ornc_status_t ORNC_ParamGetIntegerMinMaxInc64Values(const ornc_param_t* param, int64_t* minval64, int64_t* maxval64,
                                                    int64_t* incval64);
// Rounds `value` to the node's step, clamps it into its range and writes it.
ornc_status_t ORNC_ParamSetInteger64Value(ornc_param_t* param, int64_t value);
// Logs the failed write of `param` and returns ORNC_ERR_PARAM_WRITE_FAILED.
ornc_status_t ORNC_ParamWriteFailed(ornc_param_t* param, const PvResult& result);

// Short word for a node kind in the parameter dump ("int", "enum", ...).
const char* ORNC_PvGenType2String(PvGenType type);
// Logs one parameter (index, category, name, kind, display name) at info
// level in the parameter category.
void ORNC_DumpParameter(int i, PvGenParameter* pvparam);
