#include "platform/PvGenCategory.h"

#include <arv.h>

namespace {
ArvGcFeatureNode* as_feature(ArvGcCategory* node) { return reinterpret_cast<ArvGcFeatureNode*>(node); }
}  // namespace

PvGenCategory::PvGenCategory(ArvGcCategory* node) : node_(node) {
    const char* name = arv_gc_feature_node_get_name(as_feature(node));
    name_ = name != nullptr ? name : "";
}

PvResult PvGenCategory::GetName(PvString& name) const {
    name = name_;
    return PvResult::OK;
}

PvResult PvGenCategory::GetDisplayName(PvString& display_name) const {
    const char* text = arv_gc_feature_node_get_display_name(as_feature(node_));
    display_name = text != nullptr && text[0] != '\0' ? PvString(text) : name_;
    return PvResult::OK;
}

PvResult PvGenCategory::GetDescription(PvString& description) const {
    const char* text = arv_gc_feature_node_get_description(as_feature(node_));
    description = text != nullptr ? text : "";
    return PvResult::OK;
}

PvResult PvGenCategory::GetToolTip(PvString& tool_tip) const {
    const char* text = arv_gc_feature_node_get_tooltip(as_feature(node_));
    tool_tip = text != nullptr ? text : "";
    return PvResult::OK;
}
