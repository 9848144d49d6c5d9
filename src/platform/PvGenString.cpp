#include "platform/PvGenString.h"

#include <arv.h>

#include <mutex>

#include "platform/PvGenParameterArray.h"
#include "platform/aravis_result.h"

namespace {
ArvGcString* as_string(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcString*>(node); }
}  // namespace

PvResult PvGenString::GetValue(PvString& value) const {
    std::lock_guard<std::mutex> guard(owner()->GetLock());
    RefreshLocked();
    GError* error = nullptr;
    // Aravis owns the text until the next access to the node: copy it
    // while the lock is held.
    const char* read = arv_gc_string_get_value(as_string(node()), &error);
    if (error == nullptr) {
        value = read != nullptr ? read : "";
    }
    return platform::take_error(error);
}

PvResult PvGenString::SetValue(const PvString& value) {
    PvResult result = CheckWritable();
    if (result.IsFailure()) {
        return result;
    }
    {
        std::lock_guard<std::mutex> guard(owner()->GetLock());
        GError* error = nullptr;
        arv_gc_string_set_value(as_string(node()), value.GetAscii(), &error);
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

PvResult PvGenString::GetMaxLength(int64_t& max_length) const {
    std::lock_guard<std::mutex> guard(owner()->GetLock());
    GError* error = nullptr;
    const int64_t read = arv_gc_string_get_max_length(as_string(node()), &error);
    if (error == nullptr) {
        max_length = read;
    }
    return platform::take_error(error);
}
