// An integer feature (Integer, IntReg, MaskedIntReg, IntSwissKnife,
// IntConverter and the integer StructEntry nodes).
#pragma once

#include <cstdint>

#include "platform/PvGenParameter.h"

class PvGenInteger : public PvGenParameter {
public:
    PvResult GetValue(int64_t& value) const;
    // Writes as given: range and step are the caller's business; the
    // device or Aravis refuses what it cannot take.
    PvResult SetValue(int64_t value);
    PvResult GetMin(int64_t& min) const;
    PvResult GetMax(int64_t& max) const;
    PvResult GetIncrement(int64_t& increment) const;
    // Empty when the node declares no unit.
    PvResult GetUnit(PvString& unit) const;

private:
    friend class PvGenParameterArray;
    using PvGenParameter::PvGenParameter;
};
