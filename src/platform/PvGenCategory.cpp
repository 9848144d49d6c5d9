#include "platform/PvGenCategory.h"

PvGenCategory::PvGenCategory(ArvGcCategory* node) : FeatureNode(reinterpret_cast<ArvGcFeatureNode*>(node)) {}
