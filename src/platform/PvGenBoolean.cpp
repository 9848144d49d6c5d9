#include "platform/PvGenBoolean.h"

#include <arv.h>

namespace {
ArvGcBoolean* as_boolean(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcBoolean*>(node); }
}  // namespace

PvResult PvGenBoolean::GetValue(bool& value) const {
    return ReadInto(value,
                    [this](GError** error) { return arv_gc_boolean_get_value(as_boolean(node()), error) != FALSE; });
}

PvResult PvGenBoolean::SetValue(bool value) {
    return WriteLocked(
        [&](GError** error) { arv_gc_boolean_set_value(as_boolean(node()), value ? TRUE : FALSE, error); });
}
