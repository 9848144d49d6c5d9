// A boolean feature.
#pragma once

#include "platform/PvGenParameter.h"

class PvGenBoolean : public PvGenParameter {
public:
    PvResult GetValue(bool& value) const;
    PvResult SetValue(bool value);

private:
    friend class PvGenParameterArray;
    using PvGenParameter::PvGenParameter;
};
