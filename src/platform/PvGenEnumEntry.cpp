#include "platform/PvGenEnumEntry.h"

#include <arv.h>

#include "platform/PvGenEnum.h"

namespace {
ArvGcEnumEntry* as_entry(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcEnumEntry*>(node); }
}  // namespace

PvGenEnumEntry::PvGenEnumEntry(PvGenEnum* owner, ArvGcEnumEntry* node)
    : FeatureNode(reinterpret_cast<ArvGcFeatureNode*>(node)), owner_(owner) {}

// An entry is read through its enumeration's read path, as an attribute of
// the enumeration: the lock is the enumeration's and no value is refreshed.
PvResult PvGenEnumEntry::GetValue(int64_t& value) const {
    return owner_->ReadInto(
        value, [this](GError** error) { return arv_gc_enum_entry_get_value(as_entry(node()), error); },
        PvGenEnum::Read::Attribute);
}

PvResult PvGenEnumEntry::IsAvailable(bool& available) const {
    return owner_->ReadInto(
        available, [this](GError** error) { return IsPresentLocked(error); }, PvGenEnum::Read::Attribute);
}
