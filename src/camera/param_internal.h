// Helpers shared by the parameter functions, the connect sequence and the
// component table: the prologue of the typed functions, the 32-bit views
// of integer ranges, and the internal range, write and dump functions.
// The handle casts are in camera/handle_casts.h.
#pragma once

#include <cstdint>

#include "ORNC.h"
#include "camera/handle_casts.h"

// Readability and writability as the typed functions check them first. A
// null handle counts as readable/writable so that the type check after it
// reports the mismatch.
bool ORNC_ParamReadable(const ornc_param_t* param);
bool ORNC_ParamWritable(const ornc_param_t* param);

// What a typed parameter function needs of the node before it goes on.
enum class ORNC_Access { None, Read, Write };

// The prologue of every typed parameter function, then its body: checks,
// in this order, the access (ORNC_ERR_PARAM_NOT_READABLE,
// ORNC_ERR_PARAM_NOT_WRITEABLE; a null handle passes it), the node's kind
// (ORNC_ERR_PARAM_TYPE_MISMATCH, also for a null handle) and the caller's
// output or input (`given` false: ORNC_ERROR), and answers the first that
// fails or else what `body(node)` answers.
template <typename Node, typename Body>
ornc_status_t ORNC_WithParam(const ornc_param_t* param, ORNC_Access access, bool given, Body body) {
    if (access == ORNC_Access::Read && !ORNC_ParamReadable(param)) {
        return ORNC_ERR_PARAM_NOT_READABLE;
    }
    if (access == ORNC_Access::Write && !ORNC_ParamWritable(param)) {
        return ORNC_ERR_PARAM_NOT_WRITEABLE;
    }
    Node* node = ORNC_ParamAs<Node>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    return given ? body(node) : ORNC_ERROR;
}

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
// Clamps `value` into the float node's range and writes it.
ornc_status_t ORNC_ParamSetFloat64Value(ornc_param_t* param, double value);
// A write the platform refused because the connection only reads (a
// monitor's: nothing was sent) is ORNC_ERR_PARAM_NOT_WRITEABLE; any other
// failure answers `otherwise`.
inline ornc_status_t ORNC_WriteFailure(const PvResult& result, ornc_status_t otherwise) {
    return result.GetCode() == PvResult::NOT_CONTROLLER ? ORNC_ERR_PARAM_NOT_WRITEABLE : otherwise;
}
// ORNC_OK for a write that succeeded; a failed one is logged and answers
// ORNC_ERR_PARAM_WRITE_FAILED (or as ORNC_WriteFailure says).
ornc_status_t ORNC_ParamWriteStatus(ornc_param_t* param, const PvResult& result);

// The checks before a text is written: ORNC_ERR_PARAM_NOT_WRITEABLE, then
// ORNC_ERR_PARAM_TYPE_MISMATCH for a null handle, then
// ORNC_ERR_PARAM_INVALID_VALUE for a null text; ORNC_OK to go on.
ornc_status_t ORNC_TextWriteCheck(const ornc_param_t* param, const char* text);

// Short word for a node kind in the parameter dump ("int", "enum", ...).
const char* ORNC_PvGenType2String(PvGenType type);
// Logs one parameter (index, category, name, kind, display name) at info
// level in the parameter category.
void ORNC_DumpParameter(int i, PvGenParameter* pvparam);
