// What every object over a GenICam feature node shares (a parameter, a
// category, an enumeration entry): its node and the texts it describes
// itself with. The texts come from the description file and do not change
// once it is loaded, so they are read once, when the object is made.
#pragma once

#include "platform/PvResult.h"
#include "platform/PvString.h"

typedef struct _ArvGcFeatureNode ArvGcFeatureNode;
typedef struct _GError GError;

class FeatureNode {
public:
    FeatureNode(const FeatureNode&) = delete;
    FeatureNode& operator=(const FeatureNode&) = delete;

    PvString GetName() const { return name_; }
    PvResult GetName(PvString& name) const;
    // The display name, or the name when the node has none.
    PvResult GetDisplayName(PvString& display_name) const;
    PvResult GetDescription(PvString& description) const;
    PvResult GetToolTip(PvString& tool_tip) const;

protected:
    explicit FeatureNode(ArvGcFeatureNode* node);
    ~FeatureNode() = default;

    // With the node map's lock held: whether the node is implemented and
    // available; false with `*error` set when that cannot be evaluated.
    bool IsPresentLocked(GError** error) const;

    ArvGcFeatureNode* node() const { return node_; }

    // What the getters that cannot fail answer: `out` gets `value`.
    template <typename T>
    static PvResult Answer(const T& value, T& out) {
        out = value;
        return PvResult::OK;
    }

private:
    friend class PvGenParameterArray;  // builds the categories and selector relations from the nodes

    ArvGcFeatureNode* node_;
    PvString name_;
    PvString display_name_;
    PvString description_;
    PvString tool_tip_;
};
