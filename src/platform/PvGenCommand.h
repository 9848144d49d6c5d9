// A command feature.
#pragma once

#include "platform/PvGenParameter.h"

class PvGenCommand : public PvGenParameter {
public:
    PvResult Execute();

private:
    friend class PvGenParameterArray;
    using PvGenParameter::PvGenParameter;
};
