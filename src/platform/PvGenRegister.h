// A raw register feature (Register, StructReg as a whole): a block of bytes.
#pragma once

#include <cstdint>

#include "platform/PvGenParameter.h"

class PvGenRegister : public PvGenParameter {
public:
    // Reads `length` bytes into `buffer` (at most the register's length:
    // a longer request reads the whole register and leaves the rest).
    PvResult Get(unsigned char* buffer, int64_t length) const;
    // Writes `length` bytes; a length other than the register's own is
    // INVALID_PARAMETER.
    PvResult Set(const unsigned char* buffer, int64_t length);
    PvResult GetLength(int64_t& length) const;

private:
    friend class PvGenParameterArray;
    using PvGenParameter::PvGenParameter;
};
