// A text feature (String, StringReg).
#pragma once

#include <cstdint>

#include "platform/PvGenParameter.h"

class PvGenString : public PvGenParameter {
public:
    PvResult GetValue(PvString& value) const;
    PvResult SetValue(const PvString& value);
    // Longest text the feature holds, in bytes.
    PvResult GetMaxLength(int64_t& max_length) const;

private:
    friend class PvGenParameterArray;
    using PvGenParameter::PvGenParameter;
};
