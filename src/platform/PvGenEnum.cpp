#include "platform/PvGenEnum.h"

#include <arv.h>

#include <string>

namespace {
ArvGcEnumeration* as_enumeration(ArvGcFeatureNode* node) { return reinterpret_cast<ArvGcEnumeration*>(node); }
}  // namespace

PvGenEnum::PvGenEnum(PvGenParameterArray* owner, ArvGcFeatureNode* node) : PvGenParameter(owner, node, PvGenTypeEnum) {
    // Aravis lists the entries last first: prepend to restore the order
    // of the description file.
    for (const GSList* item = arv_gc_enumeration_get_entries(as_enumeration(node)); item != nullptr;
         item = item->next) {
        ArvGcEnumEntry* entry = reinterpret_cast<ArvGcEnumEntry*>(item->data);
        if (entry != nullptr && ARV_IS_GC_ENUM_ENTRY(entry)) {
            entries_.insert(entries_.begin(), std::unique_ptr<PvGenEnumEntry>(new PvGenEnumEntry(this, entry)));
        }
    }
}

PvGenEnum::~PvGenEnum() = default;

PvResult PvGenEnum::GetValue(int64_t& value) const {
    return ReadInto(value,
                    [this](GError** error) { return arv_gc_enumeration_get_int_value(as_enumeration(node()), error); });
}

PvResult PvGenEnum::GetValue(PvString& value) const {
    int64_t number = 0;
    PvResult result = GetValue(number);
    if (result.IsFailure()) {
        return result;
    }
    const PvGenEnumEntry* entry = nullptr;
    result = GetEntryByValue(number, &entry);
    if (result.IsFailure()) {
        return PvResult(PvResult::NOT_FOUND, "the value " + std::to_string(number) + " has no entry");
    }
    return entry->GetName(value);
}

PvResult PvGenEnum::SetValue(int64_t value) {
    return WriteLocked([&](GError** error) { arv_gc_enumeration_set_int_value(as_enumeration(node()), value, error); });
}

PvResult PvGenEnum::SetValue(const PvString& value) {
    const PvGenEnumEntry* entry = nullptr;
    PvResult result = GetEntryByName(value, &entry);
    if (result.IsFailure()) {
        return result;
    }
    int64_t number = 0;
    result = entry->GetValue(number);
    return result.IsOK() ? SetValue(number) : result;
}

PvResult PvGenEnum::GetEntriesCount(int64_t& count) const {
    count = static_cast<int64_t>(entries_.size());
    return PvResult::OK;
}

PvResult PvGenEnum::GetEntryByIndex(int64_t index, const PvGenEnumEntry** entry) const {
    if (entry == nullptr) {
        return PvResult::INVALID_PARAMETER;
    }
    if (index < 0 || index >= static_cast<int64_t>(entries_.size())) {
        return PvResult(PvResult::NOT_FOUND, "entry index out of range");
    }
    *entry = entries_[static_cast<size_t>(index)].get();
    return PvResult::OK;
}

PvResult PvGenEnum::GetEntryByName(const PvString& name, const PvGenEnumEntry** entry) const {
    if (entry == nullptr) {
        return PvResult::INVALID_PARAMETER;
    }
    for (const auto& candidate : entries_) {
        if (candidate->GetName() == name) {
            *entry = candidate.get();
            return PvResult::OK;
        }
    }
    return PvResult(PvResult::NOT_FOUND, "no entry named \"" + name.str() + "\"");
}

PvResult PvGenEnum::GetEntryByValue(int64_t value, const PvGenEnumEntry** entry) const {
    if (entry == nullptr) {
        return PvResult::INVALID_PARAMETER;
    }
    for (const auto& candidate : entries_) {
        int64_t candidate_value = 0;
        if (candidate->GetValue(candidate_value).IsOK() && candidate_value == value) {
            *entry = candidate.get();
            return PvResult::OK;
        }
    }
    return PvResult(PvResult::NOT_FOUND, "no entry with value " + std::to_string(value));
}
