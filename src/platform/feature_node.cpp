#include "platform/feature_node.h"

#include <arv.h>

FeatureNode::FeatureNode(ArvGcFeatureNode* node)
    : node_(node),
      name_(arv_gc_feature_node_get_name(node)),
      description_(arv_gc_feature_node_get_description(node)),
      tool_tip_(arv_gc_feature_node_get_tooltip(node)) {
    const char* display_name = arv_gc_feature_node_get_display_name(node);
    display_name_ = display_name != nullptr && display_name[0] != '\0' ? PvString(display_name) : name_;
}

PvResult FeatureNode::GetName(PvString& name) const {
    name = name_;
    return PvResult::OK;
}

PvResult FeatureNode::GetDisplayName(PvString& display_name) const {
    display_name = display_name_;
    return PvResult::OK;
}

PvResult FeatureNode::GetDescription(PvString& description) const {
    description = description_;
    return PvResult::OK;
}

PvResult FeatureNode::GetToolTip(PvString& tool_tip) const {
    tool_tip = tool_tip_;
    return PvResult::OK;
}

bool FeatureNode::IsPresentLocked(GError** error) const {
    const bool implemented = arv_gc_feature_node_is_implemented(node_, error);
    return *error == nullptr && implemented && arv_gc_feature_node_is_available(node_, error);
}
