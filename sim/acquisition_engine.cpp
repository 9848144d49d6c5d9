#include "acquisition_engine.h"

#include "device_registers.h"
#include "frame_builder.h"

namespace ornsim {
namespace {
constexpr uint32_t kMaxPendingTriggers = 16;
constexpr auto kIdleWait = std::chrono::milliseconds(100);
}  // namespace

AcquisitionEngine::AcquisitionEngine(DeviceModel& model, SendFrame send, FrameDone done)
    : model_(model), send_(std::move(send)), done_(std::move(done)) {}

AcquisitionEngine::~AcquisitionEngine() { stop_thread(); }

void AcquisitionEngine::start_thread() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (thread_.joinable()) return;
    quit_ = false;
    thread_ = std::thread(&AcquisitionEngine::run, this);
}

void AcquisitionEngine::stop_thread() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        quit_ = true;
        finish_locked();
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void AcquisitionEngine::start() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (acquiring_ || quit_) return;
        acquiring_ = true;
        pending_triggers_.clear();
        frames_this_run_ = 0;
        ++generation_;
        next_due_ = std::chrono::steady_clock::now();
        model_.set_acquiring(true);
    }
    wake_.notify_all();
}

void AcquisitionEngine::finish_locked() {
    if (acquiring_) ++generation_;
    acquiring_ = false;
    pending_triggers_.clear();
    model_.set_acquiring(false);
}

void AcquisitionEngine::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        finish_locked();
    }
    wake_.notify_all();
}

void AcquisitionEngine::power_up() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        finish_locked();
        next_block_id_ = 1;
    }
    wake_.notify_all();
}

void AcquisitionEngine::trigger(uint64_t timestamp) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!acquiring_) return;
        if (pending_triggers_.size() < kMaxPendingTriggers) pending_triggers_.push_back(timestamp);
    }
    wake_.notify_all();
}

void AcquisitionEngine::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!quit_) {
        if (!acquiring_) {
            wake_.wait(lock, [this] { return quit_ || acquiring_; });
            continue;
        }
        const uint64_t generation = generation_;
        AcquisitionSnapshot settings = model_.acquisition();
        uint64_t stamp = kStampWhenBuilt;
        if (settings.trigger_on) {
            if (pending_triggers_.empty()) {
                wake_.wait_for(lock, kIdleWait);
                continue;
            }
            stamp = pending_triggers_.front();
            pending_triggers_.pop_front();
        } else {
            auto now = std::chrono::steady_clock::now();
            if (now < next_due_) {
                wake_.wait_until(lock, std::min(next_due_, now + kIdleWait));
                continue;
            }
            auto period = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                std::chrono::duration<double>(1.0 / settings.frame_rate));
            next_due_ += period;
            if (next_due_ < now) next_due_ = now + period;  // fell behind: no burst to catch up
        }
        const uint64_t block_id = next_block_id_;
        bool extended = model_.stream().extended_ids;
        next_block_id_ = next_block_id_ + 1;
        if (!extended && (next_block_id_ & 0xFFFF) == 0) next_block_id_ += 1;  // 16-bit ids skip 0
        ++frames_this_run_;
        const bool last =
            (settings.mode == reg::kAcquisitionModeSingleFrame) ||
            (settings.mode == reg::kAcquisitionModeMultiFrame && frames_this_run_ >= settings.frame_count);
        // The acquisition ends with its last exposure, before that frame is on
        // the wire: a host that has the frame finds the device idle.
        if (last && generation == generation_) finish_locked();
        lock.unlock();

        const uint64_t timestamp = stamp != kStampWhenBuilt ? stamp : model_.timestamp_now();
        const uint64_t wire_id = extended ? block_id : (block_id & 0xFFFF);
        GvspFrame frame;
        if (build_frame(settings, wire_id, timestamp, &frame)) {
            ++frames_built_;
            if (!silenced_) {
                send_(std::move(frame));
                if (done_) done_(settings, wire_id, timestamp);
            }
        }

        lock.lock();
    }
}

}  // namespace ornsim
