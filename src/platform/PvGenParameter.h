// One feature of a GenICam node map. Created by its PvGenParameterArray
// when the array is built and owned by it: the pointer stays valid until
// the array is freed (the camera layer lends it to the application until
// disconnect). The concrete kind (PvGenInteger, PvGenFloat, PvGenEnum,
// PvGenBoolean, PvGenString, PvGenCommand, PvGenRegister) is found with
// dynamic_cast. Every access takes the owning array's lock, so a node map
// may be used from several threads.
#pragma once

#include <cstdint>
#include <mutex>
#include <type_traits>
#include <vector>

#include "platform/PvGenParameterList.h"
#include "platform/PvGenType.h"
#include "platform/PvGenVisibility.h"
#include "platform/PvResult.h"
#include "platform/PvString.h"
#include "platform/feature_node.h"

class PvGenEventSink;
class PvGenParameterArray;

class PvGenParameter : public FeatureNode {
public:
    virtual ~PvGenParameter();

    // Path of the category that lists this feature, from the root
    // category down, joined by '\' (e.g. "Root\AcquisitionControl");
    // empty when no category lists it.
    PvResult GetCategory(PvString& category) const;
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
    // declare features read-only for the application (its own node maps),
    // or be read-only as a whole (a connection without control).
    PvResult CheckWritable() const;
    // Tells the sinks of this parameter that its value changed, then the
    // array's write observer. Called without the array lock held, after a
    // successful change.
    void NotifyUpdate();
    // With the array lock held: lets the platform refresh a value of its
    // own node maps before a read, and carry a written one to where it
    // takes effect after a write.
    void RefreshLocked() const;
    PvResult AfterWriteLocked();

    PvGenParameterArray* owner() const { return owner_; }

    // A value read refreshes the value first (RefreshLocked); an attribute
    // read (range, step, length) asks the node as it is.
    enum class Read { Value, Attribute };

    // The one read path: with the array lock held, calls `access(&error)`,
    // which makes the Aravis calls and stores what they answered. The
    // Aravis error, if any, becomes the result.
    template <typename Access>
    PvResult ReadLocked(Read kind, Access access) const {
        std::lock_guard<std::mutex> guard(Lock());
        if (kind == Read::Value) {
            RefreshLocked();
        }
        GError* error = nullptr;
        access(&error);
        return TakeError(error);
    }

    // Stores in `out` what `get(&error)` answers, unless it failed.
    template <typename T, typename Get>
    PvResult ReadInto(T& out, Get get, Read kind = Read::Value) const {
        return ReadLocked(kind, [&](GError** error) {
            auto value = get(error);
            if (*error == nullptr) {
                out = value;
            }
        });
    }

    // The one write path: refuses what the array keeps read-only, calls
    // `write(&error)` with the array lock held, carries a successful write
    // to where it takes effect and then tells the sinks. `write` may return
    // a PvResult of its own: a failure there stops the write as it is.
    template <typename Write>
    PvResult WriteLocked(Write write) {
        PvResult result = CheckWritable();
        if (result.IsFailure()) {
            return result;
        }
        {
            std::lock_guard<std::mutex> guard(Lock());
            GError* error = nullptr;
            if constexpr (std::is_void<decltype(write(&error))>::value) {
                write(&error);
            } else {
                result = write(&error);
            }
            if (error != nullptr || result.IsOK()) {
                result = TakeError(error);
            }
            if (result.IsOK()) {
                result = AfterWriteLocked();
            }
        }
        if (result.IsOK()) {
            NotifyUpdate();
        }
        return result;
    }

private:
    // The owning array's lock, and platform::take_error for the templates
    // above (this header stays free of the Aravis and GLib headers).
    std::mutex& Lock() const;
    static PvResult TakeError(GError*& error);

    friend class PvGenParameterArray;

    PvGenParameterArray* owner_;
    PvGenType type_;
    uint32_t index_ = 0;  // position in the array (document order)
    PvGenVisibility visibility_ = PvGenVisibilityUndefined;
    PvString category_path_;
    std::vector<PvGenParameter*> selected_;
    std::vector<PvGenParameter*> selecting_;
    std::vector<PvGenEventSink*> sinks_;
    bool read_only_for_application_ = false;
};
