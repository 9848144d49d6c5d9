// One feature of a GenICam node map. Created by its PvGenParameterArray
// when the array is built and owned by it: the pointer stays valid until
// the array is freed (the camera layer lends it to the application until
// disconnect). The concrete kind (PvGenInteger, PvGenFloat, PvGenEnum,
// PvGenBoolean, PvGenString, PvGenCommand, PvGenRegister) is found with
// dynamic_cast. Every access takes the owning array's lock, so a node map
// may be used from several threads.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/PvGenParameterList.h"
#include "platform/PvGenType.h"
#include "platform/PvGenVisibility.h"
#include "platform/PvResult.h"
#include "platform/PvString.h"

typedef struct _ArvGcFeatureNode ArvGcFeatureNode;

class PvGenEventSink;
class PvGenParameterArray;

class PvGenParameter {
public:
    virtual ~PvGenParameter();
    PvGenParameter(const PvGenParameter&) = delete;
    PvGenParameter& operator=(const PvGenParameter&) = delete;

    PvString GetName() const { return name_; }
    PvResult GetName(PvString& name) const;
    // Path of the category that lists this feature, from the root
    // category down, joined by '\' (e.g. "Root\AcquisitionControl");
    // empty when no category lists it.
    PvResult GetCategory(PvString& category) const;
    // The display name, or the name when the node has none.
    PvResult GetDisplayName(PvString& display_name) const;
    PvResult GetDescription(PvString& description) const;
    PvResult GetToolTip(PvString& tool_tip) const;
    PvResult GetType(PvGenType& type) const;

    // Access flags. Readable and writable combine the access mode with
    // implemented, available and locked; a command is never readable. The bool& forms report a node
    // whose state cannot be evaluated as a failure (flag left untouched);
    // the flag-returning forms report it as false.
    PvResult IsAvailable(bool& available) const;
    PvResult IsReadable(bool& readable) const;
    PvResult IsWritable(bool& writable) const;
    bool IsAvailable() const;
    bool IsReadable() const;
    bool IsWritable() const;
    // True when reads may be answered from a cache (no "NoCache" node).
    bool IsValueCached() const;

    // True when the feature is shown at `visibility` (a beginner feature
    // is shown at every level; Undefined shows every feature).
    bool IsVisible(PvGenVisibility visibility) const;
    PvResult GetVisibility(PvGenVisibility& visibility) const;

    PvResult IsSelector(bool& selector) const;
    // Features this selector selects, in document order (empty when it is
    // no selector). Replaces the list's contents.
    PvResult GetSelectedParameters(PvGenParameterList& list) const;
    // Selectors that select this feature, in document order.
    PvResult GetSelectingParameters(PvGenParameterList& list) const;

    // The value in GenICam's text form (enumerations by entry name).
    PvResult ToString(PvString& value) const;
    PvResult FromString(const PvString& value);

    // Change notification; the sink is borrowed and must be unregistered
    // before it is destroyed. Registering twice is INVALID_PARAMETER.
    PvResult RegisterEventSink(PvGenEventSink* sink);
    PvResult UnregisterEventSink(PvGenEventSink* sink);

    // The array this parameter belongs to.
    PvGenParameterArray* GetParameterArray() const { return owner_; }

protected:
    PvGenParameter(PvGenParameterArray* owner, ArvGcFeatureNode* node, PvGenType type);

    // Validates a write made through the platform: the owning array may
    // declare features read-only for the application (its own node maps).
    PvResult CheckWritable() const;
    // Tells the sinks of this parameter that its value changed. Called
    // without the array lock held, after a successful change.
    void NotifyUpdate();
    // With the array lock held: lets the platform refresh a value of its
    // own node maps before a read, and carry a written one to where it
    // takes effect after a write.
    void RefreshLocked() const;
    PvResult AfterWriteLocked();

    ArvGcFeatureNode* node() const { return node_; }
    PvGenParameterArray* owner() const { return owner_; }

private:
    friend class PvGenParameterArray;

    PvGenParameterArray* owner_;
    ArvGcFeatureNode* node_;
    PvGenType type_;
    uint32_t index_ = 0;  // position in the array (document order)
    PvString name_;
    PvString display_name_;
    PvString description_;
    PvString tool_tip_;
    PvGenVisibility visibility_ = PvGenVisibilityUndefined;
    PvString category_path_;
    std::vector<PvGenParameter*> selected_;
    std::vector<PvGenParameter*> selecting_;
    std::vector<PvGenEventSink*> sinks_;
    bool read_only_for_application_ = false;
};
