#include "platform/PvGenString.h"

#include <arv.h>

namespace {
ArvGcString* as_string(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcString*>(node); }
}  // namespace

PvResult PvGenString::GetValue(PvString& value) const {
    return ReadInto(value, [this](GError** error) {
        // Aravis owns the text until the next access to the node: copy it
        // while the lock is held.
        const char* read = arv_gc_string_get_value(as_string(node()), error);
        return PvString(read != nullptr ? read : "");
    });
}

PvResult PvGenString::SetValue(const PvString& value) {
    return WriteLocked([&](GError** error) { arv_gc_string_set_value(as_string(node()), value.GetAscii(), error); });
}

PvResult PvGenString::GetMaxLength(int64_t& max_length) const {
    return ReadInto(
        max_length, [this](GError** error) { return arv_gc_string_get_max_length(as_string(node()), error); },
        Read::Attribute);
}
