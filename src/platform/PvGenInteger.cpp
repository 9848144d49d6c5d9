#include "platform/PvGenInteger.h"

#include <arv.h>

#include <mutex>

#include "platform/PvGenParameterArray.h"
#include "platform/aravis_result.h"

namespace {

ArvGcInteger* as_integer(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcInteger*>(node); }

// Reads one integer attribute of the node with the array lock held.
template <typename Reader>
PvResult read_locked(const PvGenParameterArray& array, Reader reader, int64_t& out) {
    std::lock_guard<std::mutex> guard(array.GetLock());
    GError* error = nullptr;
    const int64_t value = reader(&error);
    if (error == nullptr) {
        out = value;
    }
    return platform::take_error(error);
}

}  // namespace

PvResult PvGenInteger::GetValue(int64_t& value) const {
    std::lock_guard<std::mutex> guard(owner()->GetLock());
    RefreshLocked();
    GError* error = nullptr;
    const int64_t read = arv_gc_integer_get_value(as_integer(node()), &error);
    if (error == nullptr) {
        value = read;
    }
    return platform::take_error(error);
}

PvResult PvGenInteger::SetValue(int64_t value) {
    PvResult result = CheckWritable();
    if (result.IsFailure()) {
        return result;
    }
    {
        std::lock_guard<std::mutex> guard(owner()->GetLock());
        GError* error = nullptr;
        arv_gc_integer_set_value(as_integer(node()), value, &error);
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

PvResult PvGenInteger::GetMin(int64_t& min) const {
    return read_locked(
        *owner(), [this](GError** error) { return arv_gc_integer_get_min(as_integer(node()), error); }, min);
}

PvResult PvGenInteger::GetMax(int64_t& max) const {
    return read_locked(
        *owner(), [this](GError** error) { return arv_gc_integer_get_max(as_integer(node()), error); }, max);
}

PvResult PvGenInteger::GetIncrement(int64_t& increment) const {
    const PvResult result = read_locked(
        *owner(), [this](GError** error) { return arv_gc_integer_get_inc(as_integer(node()), error); }, increment);
    // Some node kinds (masked registers among them) have no increment in
    // Aravis; a feature that declares none steps by one.
    if (result.IsFailure() || increment < 1) {
        increment = 1;
        return PvResult::OK;
    }
    return result;
}
