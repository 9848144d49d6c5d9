// A category of a node map. Owned by its PvGenParameterArray.
#pragma once

#include "platform/PvResult.h"
#include "platform/PvString.h"

typedef struct _ArvGcCategory ArvGcCategory;

class PvGenCategory {
public:
    PvGenCategory(const PvGenCategory&) = delete;
    PvGenCategory& operator=(const PvGenCategory&) = delete;

    PvString GetName() const { return name_; }
    PvResult GetName(PvString& name) const;
    // The display name, or the name when the category has none.
    PvResult GetDisplayName(PvString& display_name) const;
    PvResult GetDescription(PvString& description) const;
    PvResult GetToolTip(PvString& tool_tip) const;

private:
    friend class PvGenParameterArray;
    explicit PvGenCategory(ArvGcCategory* node);

    ArvGcCategory* node_;
    PvString name_;
};
