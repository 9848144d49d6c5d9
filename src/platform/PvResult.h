// Outcome of a transport-layer operation: a code of our own table plus a
// description. Two codes are fixed because the camera layer tests them by
// number: 30 = TIMEOUT and 1 = ABORTED.
#pragma once

#include <cstdint>
#include <string>

#include "platform/PvString.h"

class PvResult {
public:
    enum Code : uint32_t {
        OK = 0,
        ABORTED = 1,
        NOT_FOUND = 2,
        INVALID_PARAMETER = 3,
        NOT_CONNECTED = 4,
        NETWORK_ERROR = 5,
        GENERIC_ERROR = 6,
        NOT_SUPPORTED = 7,
        ACCESS_DENIED = 8,
        INVALID_ANSWER = 9,
        TIMEOUT = 30,
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
