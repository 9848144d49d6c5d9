// Kind of a GenICam feature node as the camera layer sees it. The values
// are fixed: the camera layer maps them to its own public constants.
#pragma once

enum PvGenType {
    PvGenTypeInteger = 0,
    PvGenTypeEnum = 1,
    PvGenTypeBoolean = 2,
    PvGenTypeString = 3,
    PvGenTypeCommand = 4,
    PvGenTypeFloat = 5,
    PvGenTypeRegister = 6,
    PvGenTypeUndefined = 999,
};
