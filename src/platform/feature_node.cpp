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

PvResult FeatureNode::GetName(PvString& name) const { return Answer(name_, name); }

PvResult FeatureNode::GetDisplayName(PvString& display_name) const { return Answer(display_name_, display_name); }

PvResult FeatureNode::GetDescription(PvString& description) const { return Answer(description_, description); }

PvResult FeatureNode::GetToolTip(PvString& tool_tip) const { return Answer(tool_tip_, tool_tip); }

bool FeatureNode::IsPresentLocked(GError** error) const {
    const bool implemented = arv_gc_feature_node_is_implemented(node_, error);
    return *error == nullptr && implemented && arv_gc_feature_node_is_available(node_, error);
}
