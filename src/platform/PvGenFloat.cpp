#include "platform/PvGenFloat.h"

#include <arv.h>

#include <cfloat>
#include <mutex>

#include "platform/PvGenParameterArray.h"
#include "platform/aravis_result.h"

namespace {

ArvGcFloat* as_float(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcFloat*>(node); }

template <typename Reader>
PvResult read_locked(const PvGenParameterArray& array, Reader reader, double& out) {
    std::lock_guard<std::mutex> guard(array.GetLock());
    GError* error = nullptr;
    const double value = reader(&error);
    if (error == nullptr) {
        out = value;
    }
    return platform::take_error(error);
}

}  // namespace

PvResult PvGenFloat::GetValue(double& value) const {
    std::lock_guard<std::mutex> guard(owner()->GetLock());
    RefreshLocked();
    GError* error = nullptr;
    const double read = arv_gc_float_get_value(as_float(node()), &error);
    if (error == nullptr) {
        value = read;
    }
    return platform::take_error(error);
}

PvResult PvGenFloat::SetValue(double value) {
    PvResult result = CheckWritable();
    if (result.IsFailure()) {
        return result;
    }
    {
        std::lock_guard<std::mutex> guard(owner()->GetLock());
        GError* error = nullptr;
        arv_gc_float_set_value(as_float(node()), value, &error);
        result = platform::take_error(error);
        if (result.IsOK()) {
            result = AfterWriteLocked();
        }
    }
    if (result.IsOK()) {
        NotifyUpdate();
    }
    return result;
}

PvResult PvGenFloat::GetMin(double& min) const {
    return read_locked(
        *owner(), [this](GError** error) { return arv_gc_float_get_min(as_float(node()), error); }, min);
}

PvResult PvGenFloat::GetMax(double& max) const {
    return read_locked(
        *owner(), [this](GError** error) { return arv_gc_float_get_max(as_float(node()), error); }, max);
}

PvResult PvGenFloat::GetIncrement(double& increment) const {
    std::lock_guard<std::mutex> guard(owner()->GetLock());
    GError* error = nullptr;
    const double read = arv_gc_float_get_inc(as_float(node()), &error);
    // Aravis answers DBL_MIN for a node that declares no increment (and,
    // for a FloatReg, an error saying so): that is no step, not a failure.
    if (error != nullptr && error->domain == ARV_GC_ERROR && error->code == ARV_GC_ERROR_PROPERTY_NOT_DEFINED) {
        g_clear_error(&error);
    }
    if (error == nullptr) {
        increment = read == DBL_MIN ? 0.0 : read;
    }
    return platform::take_error(error);
}
