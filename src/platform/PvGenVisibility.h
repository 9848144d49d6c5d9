// Who should see a feature in a user interface, from the most visible
// (beginner) to the hidden ones. Lower values are more visible; the
// numbering is fixed because the camera layer maps it by value.
#pragma once

enum PvGenVisibility {
    PvGenVisibilityBeginner = 0,
    PvGenVisibilityExpert = 1,
    PvGenVisibilityGuru = 2,
    PvGenVisibilityInvisible = 3,
    PvGenVisibilityUndefined = 999,
};
