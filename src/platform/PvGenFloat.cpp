#include "platform/PvGenFloat.h"

#include <arv.h>

#include <cfloat>

namespace {
ArvGcFloat* as_float(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcFloat*>(node); }
}  // namespace

PvResult PvGenFloat::GetValue(double& value) const {
    return ReadInto(value, [this](GError** error) { return arv_gc_float_get_value(as_float(node()), error); });
}

PvResult PvGenFloat::SetValue(double value) {
    return WriteLocked([&](GError** error) { arv_gc_float_set_value(as_float(node()), value, error); });
}

PvResult PvGenFloat::GetMin(double& min) const {
    return ReadInto(
        min, [this](GError** error) { return arv_gc_float_get_min(as_float(node()), error); }, Read::Attribute);
}

PvResult PvGenFloat::GetMax(double& max) const {
    return ReadInto(
        max, [this](GError** error) { return arv_gc_float_get_max(as_float(node()), error); }, Read::Attribute);
}

PvResult PvGenFloat::GetIncrement(double& increment) const {
    return ReadInto(
        increment,
        [this](GError** error) {
            const double read = arv_gc_float_get_inc(as_float(node()), error);
            // Aravis answers DBL_MIN for a node that declares no increment
            // (and, for a FloatReg, an error saying so): that is no step,
            // not a failure.
            if (*error != nullptr && (*error)->domain == ARV_GC_ERROR &&
                (*error)->code == ARV_GC_ERROR_PROPERTY_NOT_DEFINED) {
                g_clear_error(error);
            }
            return read == DBL_MIN ? 0.0 : read;
        },
        Read::Attribute);
}

PvResult PvGenFloat::GetUnit(PvString& unit) const {
    return ReadLocked(Read::Attribute, [&](GError**) { unit = PvString(arv_gc_float_get_unit(as_float(node()))); });
}
