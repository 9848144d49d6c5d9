// A category of a node map. Owned by its PvGenParameterArray.
#pragma once

#include "platform/feature_node.h"

typedef struct _ArvGcCategory ArvGcCategory;

class PvGenCategory : public FeatureNode {
private:
    friend class PvGenParameterArray;
    explicit PvGenCategory(ArvGcCategory* node);
};
