#include "platform/PvGenRegister.h"

#include <arv.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {
ArvGcRegister* as_register(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcRegister*>(node); }
}  // namespace

PvResult PvGenRegister::GetLength(int64_t& length) const {
    return ReadInto(
        length,
        [this](GError** error) { return static_cast<int64_t>(arv_gc_register_get_length(as_register(node()), error)); },
        Read::Attribute);
}

PvResult PvGenRegister::Get(unsigned char* buffer, int64_t length) const {
    if (buffer == nullptr || length <= 0) {
        return PvResult(PvResult::INVALID_PARAMETER, "no room for the register's bytes");
    }
    return ReadLocked(Read::Value, [&](GError** error) {
        const guint64 own_length = arv_gc_register_get_length(as_register(node()), error);
        if (*error != nullptr) {
            return;
        }
        // Aravis reads exactly the register's length: go through a buffer
        // of that size so that a shorter caller buffer gets only what fits.
        std::vector<unsigned char> bytes(static_cast<size_t>(own_length));
        if (!bytes.empty()) {
            arv_gc_register_get(as_register(node()), bytes.data(), own_length, error);
        }
        if (*error == nullptr) {
            std::memcpy(buffer, bytes.data(), std::min(bytes.size(), static_cast<size_t>(length)));
        }
    });
}

PvResult PvGenRegister::Set(const unsigned char* buffer, int64_t length) {
    if (buffer == nullptr || length <= 0) {
        return PvResult(PvResult::INVALID_PARAMETER, "no bytes to write");
    }
    return WriteLocked([&](GError** error) {
        const guint64 own_length = arv_gc_register_get_length(as_register(node()), error);
        if (*error != nullptr) {
            return PvResult(PvResult::OK);  // the error speaks for itself
        }
        if (static_cast<guint64>(length) != own_length) {
            return PvResult(PvResult::INVALID_PARAMETER, "the register holds " + std::to_string(own_length) + " bytes");
        }
        arv_gc_register_set(as_register(node()), buffer, own_length, error);
        return PvResult(PvResult::OK);
    });
}
