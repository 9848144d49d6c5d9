#include "platform/PvGenEnumEntry.h"

#include <arv.h>

#include <mutex>

#include "platform/PvGenEnum.h"
#include "platform/PvGenParameterArray.h"
#include "platform/aravis_result.h"

namespace {
ArvGcFeatureNode* as_feature(ArvGcEnumEntry* node) { return reinterpret_cast<ArvGcFeatureNode*>(node); }
}  // namespace

PvGenEnumEntry::PvGenEnumEntry(PvGenEnum* owner, ArvGcEnumEntry* node) : owner_(owner), node_(node) {
    const char* name = arv_gc_feature_node_get_name(as_feature(node));
    name_ = name != nullptr ? name : "";
}

PvResult PvGenEnumEntry::GetValue(int64_t& value) const {
    std::lock_guard<std::mutex> guard(owner_->GetParameterArray()->GetLock());
    GError* error = nullptr;
    const int64_t read = arv_gc_enum_entry_get_value(node_, &error);
    if (error == nullptr) {
        value = read;
    }
    return platform::take_error(error);
}

PvResult PvGenEnumEntry::GetName(PvString& name) const {
    name = name_;
    return PvResult::OK;
}

PvResult PvGenEnumEntry::GetDisplayName(PvString& display_name) const {
    const char* text = arv_gc_feature_node_get_display_name(as_feature(node_));
    display_name = text != nullptr && text[0] != '\0' ? PvString(text) : name_;
    return PvResult::OK;
}

PvResult PvGenEnumEntry::GetDescription(PvString& description) const {
    const char* text = arv_gc_feature_node_get_description(as_feature(node_));
    description = text != nullptr ? text : "";
    return PvResult::OK;
}

PvResult PvGenEnumEntry::IsAvailable(bool& available) const {
    std::lock_guard<std::mutex> guard(owner_->GetParameterArray()->GetLock());
    GError* error = nullptr;
    bool flag = arv_gc_feature_node_is_implemented(as_feature(node_), &error);
    if (error == nullptr && flag) {
        flag = arv_gc_feature_node_is_available(as_feature(node_), &error);
    }
    if (error == nullptr) {
        available = flag;
    }
    return platform::take_error(error);
}
