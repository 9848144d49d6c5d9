// A GenICam node map: the device's (from its description file) or one of
// the platform's own (stream and communication statistics and settings).
//
// Ownership: the array owns every PvGenParameter, PvGenEnumEntry and
// PvGenCategory it hands out; they stay valid until the array is
// destroyed. The device (or stream) that built the array owns the array.
//
// Locking: Aravis's node map has no locking of its own, so one mutex per
// array serialises every access to it; platform code that touches the
// underlying ArvGc directly takes GetLock() first.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/PvGenCategory.h"
#include "platform/PvGenParameter.h"
#include "platform/PvResult.h"
#include "platform/PvString.h"

typedef struct _ArvGc ArvGc;
namespace platform {
class ChunkDataPorts;
}

class PvGenParameterArray {
public:
    // Platform-side observer of the platform's own node maps: refreshes
    // values before they are read and carries written settings to where
    // they take effect. Called with the array lock held; it may use the
    // Set*Unlocked helpers below but no PvGen* method of this array.
    class ValueHooks {
    public:
        virtual ~ValueHooks() = default;
        virtual void BeforeRead(PvGenParameterArray& array, PvGenParameter& parameter) = 0;
        virtual PvResult AfterWrite(PvGenParameterArray& array, PvGenParameter& parameter) = 0;
    };

    // Walks `genicam` (a reference is taken) and creates a parameter per
    // feature of its RegisterDescription, in document order. Null with
    // `result` set when the node map has no RegisterDescription.
    static std::unique_ptr<PvGenParameterArray> Create(ArvGc* genicam, PvResult* result);
    ~PvGenParameterArray();
    PvGenParameterArray(const PvGenParameterArray&) = delete;
    PvGenParameterArray& operator=(const PvGenParameterArray&) = delete;

    uint32_t GetCount() const { return static_cast<uint32_t>(parameters_.size()); }
    // Null past the end or for an unknown name.
    PvGenParameter* Get(uint32_t index) const;
    PvGenParameter* Get(const PvString& name) const;

    uint32_t GetCategoryCount() const { return static_cast<uint32_t>(categories_.size()); }
    PvGenCategory* GetCategory(uint32_t index) const;
    PvGenCategory* GetCategory(const PvString& name) const;

    // Binds the chunk features to the chunk data of a retrieved buffer:
    // `data` is the buffer's data pointer and `size` its payload size.
    // The features read that buffer's values until DetachDataChunks or a
    // new attach; detach before the buffer is queued again or deleted.
    // INVALID_PARAMETER when `data` is no retrieved buffer with chunks or
    // `size` exceeds its payload.
    PvResult AttachDataChunks(uint8_t* data, uint32_t size);
    PvResult DetachDataChunks();

    // --- platform side -------------------------------------------------
    std::mutex& GetLock() const { return *lock_; }
    // The same lock, for objects that may outlive the array but still
    // reach its node map (a stream's Aravis object touches the device's).
    std::shared_ptr<std::mutex> GetSharedLock() const { return lock_; }
    ArvGc* GetGenicam() const { return genicam_; }
    // Borrowed; must outlive the array or be reset to null first.
    void SetValueHooks(ValueHooks* hooks) { hooks_ = hooks; }
    ValueHooks* GetValueHooks() const { return hooks_; }
    // Told of every successful write through the PvGen* classes (commands
    // included), after the parameter's sinks, without the lock held. Set
    // before the array is handed out; `context` is borrowed.
    using WriteObserver = void (*)(void* context, PvGenParameter& parameter);
    void SetWriteObserver(WriteObserver observer, void* context) {
        observer_ = observer;
        observer_context_ = context;
    }
    void NotifyWritten(PvGenParameter& parameter) const {
        if (observer_ != nullptr) observer_(observer_context_, parameter);
    }
    // Writes through the PvGen* classes are refused (ACCESS_DENIED) for
    // this feature; the platform still changes it with the helpers below.
    void SetReadOnlyForApplication(const PvString& name);
    // Every write through the PvGen* classes is refused (NOT_CONTROLLER)
    // before anything is sent, and no feature reads as writable: the node
    // map of a connection that does not control its device.
    void SetReadOnly() { read_only_ = true; }
    bool IsReadOnly() const { return read_only_; }
    // Parameters whose value may change when `parameter`'s does (they read
    // it, are selected, bounded, addressed or invalidated by it, directly
    // or through other nodes), in document order, itself excluded. Lock
    // held by the caller; computed once per parameter.
    const std::vector<PvGenParameter*>& DependentsLocked(const PvGenParameter* parameter);
    // Value changes by the platform itself, lock held by the caller.
    PvResult SetIntegerUnlocked(const char* name, int64_t value);
    PvResult SetFloatUnlocked(const char* name, double value);

private:
    PvGenParameterArray(ArvGc* genicam);
    void AddFeature(void* feature_node);
    void BuildCategories();
    void BuildSelectorRelations();
    void BuildDependencyEdges();

    ArvGc* genicam_;
    std::shared_ptr<std::mutex> lock_;
    std::unique_ptr<platform::ChunkDataPorts> chunk_ports_;  // made at the first attach
    bool read_only_ = false;
    ValueHooks* hooks_ = nullptr;
    WriteObserver observer_ = nullptr;
    void* observer_context_ = nullptr;
    std::vector<std::unique_ptr<PvGenParameter>> parameters_;
    std::unordered_map<std::string, PvGenParameter*> by_name_;
    std::vector<std::unique_ptr<PvGenCategory>> categories_;
    std::unordered_map<std::string, PvGenCategory*> categories_by_name_;
    // Node name -> nodes that depend on it directly (any node of the
    // description, features or not).
    std::unordered_map<std::string, std::vector<std::string>> direct_dependents_;
    std::unordered_map<const PvGenParameter*, std::vector<PvGenParameter*>> dependents_;
};
