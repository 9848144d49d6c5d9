// A command feature.
#pragma once

#include "platform/PvGenParameter.h"

class PvGenCommand : public PvGenParameter {
public:
    PvResult Execute();
    // True once the device reports the last execution finished (always
    // true for commands without a completion read-back).
    PvResult IsDone(bool& done);

private:
    friend class PvGenParameterArray;
    using PvGenParameter::PvGenParameter;
};
