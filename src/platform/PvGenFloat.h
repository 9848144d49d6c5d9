// A floating-point feature (Float, FloatReg, SwissKnife, Converter).
#pragma once

#include "platform/PvGenParameter.h"

class PvGenFloat : public PvGenParameter {
public:
    PvResult GetValue(double& value) const;
    PvResult SetValue(double value);
    PvResult GetMin(double& min) const;
    PvResult GetMax(double& max) const;
    // 0 when the node declares no increment.
    PvResult GetIncrement(double& increment) const;
    // Empty when the node declares no unit.
    PvResult GetUnit(PvString& unit) const;

private:
    friend class PvGenParameterArray;
    using PvGenParameter::PvGenParameter;
};
