// One entry of an enumeration feature. Owned by its PvGenEnum.
#pragma once

#include <cstdint>

#include "platform/PvResult.h"
#include "platform/PvString.h"

typedef struct _ArvGcEnumEntry ArvGcEnumEntry;

class PvGenEnum;

class PvGenEnumEntry {
public:
    PvGenEnumEntry(const PvGenEnumEntry&) = delete;
    PvGenEnumEntry& operator=(const PvGenEnumEntry&) = delete;

    PvResult GetValue(int64_t& value) const;
    PvResult GetName(PvString& name) const;
    // The display name, or the name when the entry has none.
    PvResult GetDisplayName(PvString& display_name) const;
    PvResult GetDescription(PvString& description) const;
    PvResult IsAvailable(bool& available) const;

private:
    friend class PvGenEnum;
    PvGenEnumEntry(PvGenEnum* owner, ArvGcEnumEntry* node);

    PvGenEnum* owner_;
    ArvGcEnumEntry* node_;
    PvString name_;
};
