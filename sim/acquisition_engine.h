// Acquisition control: the thread that produces frames while acquisition
// runs, free-running at AcquisitionFrameRate or one frame per trigger,
// and ends by itself after one frame (SingleFrame) or AcquisitionFrameCount
// frames (MultiFrame).
//
// Thread-safe. The engine owns its thread (start_thread/stop_thread); it
// hands every frame to the SendFrame callback and reports it to FrameDone,
// both called on the engine thread.
#ifndef ORNSIM_ACQUISITION_ENGINE_H
#define ORNSIM_ACQUISITION_ENGINE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "device_model.h"
#include "stream/gvsp_sender.h"

namespace ornsim {

class AcquisitionEngine {
public:
    using SendFrame = std::function<bool(GvspFrame&&)>;
    using FrameDone = std::function<void(const AcquisitionSnapshot&, uint64_t block_id, uint64_t timestamp)>;

    AcquisitionEngine(DeviceModel& model, SendFrame send, FrameDone done);
    ~AcquisitionEngine();
    AcquisitionEngine(const AcquisitionEngine&) = delete;
    AcquisitionEngine& operator=(const AcquisitionEngine&) = delete;

    void start_thread();
    void stop_thread();

    void start();  // AcquisitionStart; ignored while acquiring
    void stop();   // AcquisitionStop
    // A trigger (software or action): one frame, stamped `timestamp` (device
    // time) or, by default, when it is built. Ignored unless acquiring with
    // TriggerMode On.
    static constexpr uint64_t kStampWhenBuilt = ~uint64_t{0};
    void trigger(uint64_t timestamp = kStampWhenBuilt);
    void power_up();  // stops; block ids start at 1 again
    void set_silenced(bool silenced) { silenced_ = silenced; }
    uint64_t frames_built() const { return frames_built_; }

private:
    void run();
    void finish_locked();

    DeviceModel& model_;
    SendFrame send_;
    FrameDone done_;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool quit_ = false;
    bool acquiring_ = false;
    std::deque<uint64_t> pending_triggers_;  // their timestamps
    uint64_t frames_this_run_ = 0;
    uint64_t generation_ = 0;  // bumps at every start/stop so a sleeping loop notices
    std::chrono::steady_clock::time_point next_due_{};
    uint64_t next_block_id_ = 1;
    std::atomic<bool> silenced_{false};
    std::atomic<uint64_t> frames_built_{0};
};

}  // namespace ornsim

#endif  // ORNSIM_ACQUISITION_ENGINE_H
