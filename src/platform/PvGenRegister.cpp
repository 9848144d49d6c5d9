#include "platform/PvGenRegister.h"

#include <arv.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "platform/PvGenParameterArray.h"
#include "platform/aravis_result.h"

namespace {
ArvGcRegister* as_register(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcRegister*>(node); }
}  // namespace

PvResult PvGenRegister::GetLength(int64_t& length) const {
    std::lock_guard<std::mutex> guard(owner()->GetLock());
    GError* error = nullptr;
    const guint64 read = arv_gc_register_get_length(as_register(node()), &error);
    if (error == nullptr) {
        length = static_cast<int64_t>(read);
    }
    return platform::take_error(error);
}

PvResult PvGenRegister::Get(unsigned char* buffer, int64_t length) const {
    if (buffer == nullptr || length <= 0) {
        return PvResult(PvResult::INVALID_PARAMETER, "no room for the register's bytes");
    }
    std::lock_guard<std::mutex> guard(owner()->GetLock());
    RefreshLocked();
    GError* error = nullptr;
    const guint64 own_length = arv_gc_register_get_length(as_register(node()), &error);
    if (error != nullptr) {
        return platform::take_error(error);
    }
    // Aravis reads exactly the register's length: go through a buffer of
    // that size so that a shorter caller buffer gets only what fits.
    std::vector<unsigned char> bytes(static_cast<size_t>(own_length));
    if (!bytes.empty()) {
        arv_gc_register_get(as_register(node()), bytes.data(), own_length, &error);
    }
    if (error == nullptr) {
        const size_t count = std::min(bytes.size(), static_cast<size_t>(length));
        std::memcpy(buffer, bytes.data(), count);
    }
    return platform::take_error(error);
}

PvResult PvGenRegister::Set(const unsigned char* buffer, int64_t length) {
    if (buffer == nullptr || length <= 0) {
        return PvResult(PvResult::INVALID_PARAMETER, "no bytes to write");
    }
    PvResult result = CheckWritable();
    if (result.IsFailure()) {
        return result;
    }
    {
        std::lock_guard<std::mutex> guard(owner()->GetLock());
        GError* error = nullptr;
        const guint64 own_length = arv_gc_register_get_length(as_register(node()), &error);
        if (error != nullptr) {
            return platform::take_error(error);
        }
        if (static_cast<guint64>(length) != own_length) {
            return PvResult(PvResult::INVALID_PARAMETER, "the register holds " + std::to_string(own_length) + " bytes");
        }
        arv_gc_register_set(as_register(node()), buffer, own_length, &error);
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
