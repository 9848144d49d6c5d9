#include "platform/PvGenBoolean.h"

#include <arv.h>

#include <mutex>

#include "platform/PvGenParameterArray.h"
#include "platform/aravis_result.h"

namespace {
ArvGcBoolean* as_boolean(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcBoolean*>(node); }
}  // namespace

PvResult PvGenBoolean::GetValue(bool& value) const {
    std::lock_guard<std::mutex> guard(owner()->GetLock());
    RefreshLocked();
    GError* error = nullptr;
    const gboolean read = arv_gc_boolean_get_value(as_boolean(node()), &error);
    if (error == nullptr) {
        value = read != FALSE;
    }
    return platform::take_error(error);
}

PvResult PvGenBoolean::SetValue(bool value) {
    PvResult result = CheckWritable();
    if (result.IsFailure()) {
        return result;
    }
    {
        std::lock_guard<std::mutex> guard(owner()->GetLock());
        GError* error = nullptr;
        arv_gc_boolean_set_value(as_boolean(node()), value ? TRUE : FALSE, &error);
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
