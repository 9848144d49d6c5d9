// Outcome of a transport-layer operation: a code of our own table plus a
// description. Two codes are fixed because the camera layer tests them by
// number: 30 = TIMEOUT and 1 = ABORTED.
#pragma once

#include <cstdint>
#include <string>

#include "platform/PvString.h"

// Every code: its name, its number and its own text.
#define PV_RESULT_CODES(X)                                 \
    X(OK, 0, "success")                                    \
    X(ABORTED, 1, "operation aborted")                     \
    X(NOT_FOUND, 2, "not found")                           \
    X(INVALID_PARAMETER, 3, "invalid parameter")           \
    X(NOT_CONNECTED, 4, "not connected")                   \
    X(NETWORK_ERROR, 5, "network error")                   \
    X(GENERIC_ERROR, 6, "error")                           \
    X(NOT_SUPPORTED, 7, "not supported")                   \
    X(ACCESS_DENIED, 8, "access denied by the device")     \
    X(INVALID_ANSWER, 9, "invalid answer from the device") \
    X(NOT_CONTROLLER, 10, "the connection only reads")     \
    X(TIMEOUT, 30, "time-out")

class PvResult {
public:
    enum Code : uint32_t {
#define PV_RESULT_CODE(name, number, text) name = number,
        PV_RESULT_CODES(PV_RESULT_CODE)
#undef PV_RESULT_CODE
    };

    PvResult() = default;
    PvResult(Code code) : code_(code) {}  // NOLINT: implicit by design
    PvResult(Code code, std::string detail) : code_(code), detail_(std::move(detail)) {}

    bool IsOK() const { return code_ == OK; }
    bool IsFailure() const { return code_ != OK; }
    uint32_t GetCode() const { return code_; }
    // Name of the code, e.g. "TIMEOUT".
    PvString GetCodeString() const;
    // The detail given by the failing operation, else the code's own text.
    PvString GetDescription() const;

private:
    Code code_ = OK;
    std::string detail_;
};
