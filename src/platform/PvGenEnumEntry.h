// One entry of an enumeration feature. Owned by its PvGenEnum.
#pragma once

#include <cstdint>

#include "platform/feature_node.h"

typedef struct _ArvGcEnumEntry ArvGcEnumEntry;

class PvGenEnum;

class PvGenEnumEntry : public FeatureNode {
public:
    PvResult GetValue(int64_t& value) const;
    PvResult IsAvailable(bool& available) const;

private:
    friend class PvGenEnum;
    PvGenEnumEntry(PvGenEnum* owner, ArvGcEnumEntry* node);

    PvGenEnum* owner_;
};
