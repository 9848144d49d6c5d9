#include "platform/PvStream.h"

#include <arv.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/PvDevice.h"
#include "platform/PvDeviceInfoGEV.h"
#include "platform/PvStreamGEV.h"
#include "platform/aravis_stream_info.h"
#include "platform/close_on_end.h"
#include "platform/own_node_maps.h"

namespace {
// Rates are measured over at least this long, so two reads in a row do
// not report noise.
constexpr std::chrono::milliseconds kRateWindow{200};
// Aravis's pop cannot be woken by an abort, so a blocked retrieval waits
// on a condition of its own, which completed transfers (through the
// subclass), aborts and the close signal; it looks at the receiver (WhileRetrieving) after each
// slice (this long at most) that passed without a wake-up.
constexpr std::chrono::milliseconds kRetrieveSlice{20};
constexpr uint32_t kWaitForever = 0xFFFFFFFFu;
// After an abort the receiver is drained until the link has been quiet
// this long (far more than the gap between two packets of a frame), but
// never longer than the bound, for a device that keeps sending.
constexpr std::chrono::milliseconds kDrainQuiet{10};
constexpr std::chrono::milliseconds kDrainBound{250};
constexpr std::chrono::milliseconds kDrainPoll{2};

// Gives back the wrappers of buffers the stream still held: their buffers
// are no longer queued.
template <typename Wrappers>
void release_wrappers(Wrappers& wrappers) {
    for (ArvBuffer* wrapper : wrappers) {
        PvBuffer* buffer = PvBuffer::FromArvBuffer(wrapper);
        if (buffer != nullptr) {
            buffer->SetQueued(false);
        }
        g_object_unref(wrapper);
    }
    wrappers.clear();
}
}  // namespace

// Keeps the statistics of the stream node map current: counters are read
// from Aravis when they are read, rates from the change since the last
// measurement.
class PvStream::StatisticsHooks : public PvGenParameterArray::ValueHooks {
public:
    explicit StatisticsHooks(PvStream* stream) : stream_(stream), last_time_(std::chrono::steady_clock::now()) {}

    void BeforeRead(PvGenParameterArray& array, PvGenParameter& parameter) override {
        namespace feature = platform::stream_feature;
        ArvStream* stream = stream_->GetArvStream();
        if (stream == nullptr) {
            return;
        }
        const PvString name = parameter.GetName();
        guint64 completed = 0;
        guint64 failures = 0;
        guint64 underruns = 0;
        arv_stream_get_statistics(stream, &completed, &failures, &underruns);
        if (name == feature::kBlockCount) {
            array.SetIntegerUnlocked(feature::kBlockCount, static_cast<int64_t>(completed));
        } else if (name == feature::kBlocksDropped) {
            array.SetIntegerUnlocked(feature::kBlocksDropped, static_cast<int64_t>(failures));
        } else if (name == feature::kBlocksUnderrun) {
            array.SetIntegerUnlocked(feature::kBlocksUnderrun, static_cast<int64_t>(underruns));
        } else if (name == feature::kResendRequests || name == feature::kPacketsMissing) {
            guint64 missing = 0;
            guint64 requested = 0;
            if (ARV_IS_GV_STREAM(stream)) {
                arv_gv_stream_get_statistics(ARV_GV_STREAM(stream), nullptr, &missing);
                requested = arv_stream_get_info_uint64_by_name(stream, platform::aravis_stream_info::kResendRequests);
            }
            array.SetIntegerUnlocked(feature::kResendRequests, static_cast<int64_t>(requested));
            array.SetIntegerUnlocked(feature::kPacketsMissing, static_cast<int64_t>(missing));
        } else if (name == feature::kQueuedBufferCount) {
            array.SetIntegerUnlocked(feature::kQueuedBufferCount, stream_->GetQueuedBufferCount());
        } else if (name == feature::kAcquisitionRate || name == feature::kBandwidth) {
            UpdateRates(array, completed,
                        arv_stream_get_info_uint64_by_name(stream, platform::aravis_stream_info::kTransferredBytes));
        }
    }

    PvResult AfterWrite(PvGenParameterArray&, PvGenParameter&) override { return PvResult::OK; }

private:
    void UpdateRates(PvGenParameterArray& array, guint64 completed, guint64 bytes) {
        const auto now = std::chrono::steady_clock::now();
        const auto elapsed = now - last_time_;
        if (elapsed < kRateWindow) {
            return;
        }
        const double seconds = std::chrono::duration<double>(elapsed).count();
        array.SetFloatUnlocked(platform::stream_feature::kAcquisitionRate,
                               static_cast<double>(completed - last_completed_) / seconds);
        array.SetFloatUnlocked(platform::stream_feature::kBandwidth,
                               static_cast<double>(bytes - last_bytes_) * 8.0 / seconds);
        last_time_ = now;
        last_completed_ = completed;
        last_bytes_ = bytes;
    }

    PvStream* stream_;
    std::chrono::steady_clock::time_point last_time_;
    guint64 last_completed_ = 0;
    guint64 last_bytes_ = 0;
};

PvStream* PvStream::CreateAndOpen(const PvDeviceInfo* device_info, PvResult* result) {
    const PvDeviceInfoGEV* gev = PvDeviceInfoGEV::From(device_info, result);
    if (gev == nullptr) {
        return nullptr;
    }
    return PvStreamGEV::Open(gev->GetIPAddress(), result);
}

PvStream* PvStream::CreateAndOpen(const PvString& ip, PvResult* result) { return PvStreamGEV::Open(ip, result); }

void PvStream::Free(PvStream* stream) { platform::close_and_delete(stream, &PvStream::IsOpen, &PvStream::Close); }

PvStream::PvStream() = default;

PvStream::~PvStream() { platform::close_if_open(this, &PvStream::IsOpen, &PvStream::Close); }

PvResult PvStream::Attach(ArvStream* stream, std::shared_ptr<std::mutex> device_lock) {
    stream_ = stream;
    device_lock_ = std::move(device_lock);
    statistics_hooks_.reset(new StatisticsHooks(this));
    PvResult result;
    parameters_ = platform::create_stream_node_map(statistics_hooks_.get(), &result);
    return parameters_ != nullptr ? PvResult::OK : result;
}

PvResult PvStream::Close() {
    if (stream_ == nullptr) {
        return PvResult(PvResult::NOT_CONNECTED, "the stream is not open");
    }
    if (parameters_ != nullptr) {
        parameters_->SetValueHooks(nullptr);
    }
    parameters_.reset();
    statistics_hooks_.reset();
    {
        // Stopping the receiver releases the wrappers it holds and tells
        // the device to stop sending through the device's node map.
        std::lock_guard<std::mutex> queue_guard(queue_lock_);
        // The stream may be the last holder of a disconnected device.
        PvDevice::ReleaseHere([this] {
            if (device_lock_ != nullptr) {
                std::lock_guard<std::mutex> device_guard(*device_lock_);
                g_object_unref(stream_);
            } else {
                g_object_unref(stream_);
            }
        });
        stream_ = nullptr;
        release_wrappers(queued_);
        release_wrappers(aborted_);
        WakeRetrievals();
    }
    device_lock_.reset();
    return PvResult::OK;
}

uint32_t PvStream::GetQueuedBufferCount() const {
    std::lock_guard<std::mutex> guard(queue_lock_);
    return static_cast<uint32_t>(queued_.size() + aborted_.size());
}

PvResult PvStream::QueueBuffer(PvBuffer* buffer) {
    if (buffer == nullptr || buffer->GetArvBuffer() == nullptr) {
        return PvResult(PvResult::INVALID_PARAMETER, buffer == nullptr ? "no buffer" : "the buffer has no memory");
    }
    std::unique_lock<std::mutex> guard(queue_lock_);
    drained_.wait_for(guard, kDrainBound, [this] { return !draining_; });
    if (stream_ == nullptr) {
        return PvResult(PvResult::NOT_CONNECTED, "the stream is not open");
    }
    if (buffer->IsQueued()) {
        return PvResult(PvResult::INVALID_PARAMETER, "the buffer is already queued");
    }
    if (queued_.size() + aborted_.size() >= kQueuedBufferMaximum) {
        return PvResult(PvResult::GENERIC_ERROR, "the queue is full");
    }
    // One reference goes to the stream, one to the record; the
    // PvBuffer keeps its own.
    ArvBuffer* wrapper = buffer->GetArvBuffer();
    buffer->ClearTransfer();
    g_object_ref(wrapper);
    queued_.push_back(wrapper);
    g_object_ref(wrapper);
    arv_stream_push_buffer(stream_, wrapper);
    buffer->SetQueued(true);
    return PvResult::OK;
}

PvBuffer* PvStream::ClaimCompletedLocked(ArvBuffer* wrapper) {
    auto found = std::find(queued_.begin(), queued_.end(), wrapper);
    if (found == queued_.end()) {
        // Popped just before an abort took the record's copy: the abort
        // hands the buffer back; only Aravis's reference is ours to drop.
        g_object_unref(wrapper);
        return nullptr;
    }
    queued_.erase(found);
    PvBuffer* buffer = PvBuffer::FromArvBuffer(wrapper);
    g_object_unref(wrapper);  // Aravis's
    g_object_unref(wrapper);  // the record's
    if (buffer != nullptr) {
        buffer->SetQueued(false);
    }
    return buffer;
}

PvBuffer* PvStream::ClaimAbortedLocked() {
    while (!aborted_.empty()) {
        ArvBuffer* wrapper = aborted_.front();
        aborted_.pop_front();
        PvBuffer* buffer = PvBuffer::FromArvBuffer(wrapper);
        g_object_unref(wrapper);  // the record's
        if (buffer != nullptr) {
            buffer->SetQueued(false);
            buffer->ClearTransfer();
            return buffer;
        }
    }
    return nullptr;
}

PvResult PvStream::RetrieveBuffer(PvBuffer** buffer, PvResult* operation_result, uint32_t timeout_ms) {
    if (buffer == nullptr) {
        return PvResult(PvResult::INVALID_PARAMETER, "no place for the buffer");
    }
    *buffer = nullptr;
    const auto start = std::chrono::steady_clock::now();
    const auto limit = std::chrono::milliseconds(timeout_ms);
    for (;;) {
        ArvStream* stream = nullptr;
        uint64_t seen = 0;
        {
            std::lock_guard<std::mutex> guard(queue_lock_);
            if (stream_ == nullptr) {
                return PvResult(PvResult::NOT_CONNECTED, "the stream is not open");
            }
            PvBuffer* aborted = ClaimAbortedLocked();
            if (aborted != nullptr) {
                *buffer = aborted;
                if (operation_result != nullptr) {
                    *operation_result = PvResult(PvResult::ABORTED, "the buffer was aborted");
                }
                return PvResult::OK;
            }
            // Kept alive across the wait even if another thread closes.
            stream = ARV_STREAM(g_object_ref(stream_));
            // Read before the pop: a transfer completed after it is seen
            // as a change.
            std::lock_guard<std::mutex> ready_guard(ready_lock_);
            seen = ready_events_;
        }
        ArvBuffer* wrapper = arv_stream_try_pop_buffer(stream);
        if (wrapper == nullptr) {
            auto slice = std::chrono::duration_cast<std::chrono::microseconds>(kRetrieveSlice);
            if (timeout_ms != kWaitForever) {
                const auto elapsed = std::chrono::steady_clock::now() - start;
                const auto remaining = std::chrono::duration_cast<std::chrono::microseconds>(limit - elapsed);
                slice = std::max(std::chrono::microseconds(0), std::min(slice, remaining));
            }
            if (slice.count() > 0) {
                std::unique_lock<std::mutex> ready_guard(ready_lock_);
                if (!ready_.wait_for(ready_guard, slice, [&] { return ready_events_ != seen; })) {
                    ready_guard.unlock();
                    WhileRetrieving(stream);
                }
            }
        }
        g_object_unref(stream);
        if (wrapper != nullptr) {
            std::lock_guard<std::mutex> guard(queue_lock_);
            PvBuffer* completed = ClaimCompletedLocked(wrapper);
            if (completed != nullptr) {
                PvResult transfer = completed->TakeTransfer();
                if (operation_result != nullptr) {
                    *operation_result = transfer;
                }
                *buffer = completed;
                return PvResult::OK;
            }
            continue;
        }
        if (timeout_ms != kWaitForever && std::chrono::steady_clock::now() - start >= limit) {
            return PvResult(PvResult::TIMEOUT, "no buffer within " + std::to_string(timeout_ms) + " ms");
        }
    }
}

PvResult PvStream::AbortQueuedBuffers() {
    ArvStream* stream = nullptr;
    {
        std::lock_guard<std::mutex> guard(queue_lock_);
        if (stream_ == nullptr) {
            return PvResult(PvResult::NOT_CONNECTED, "the stream is not open");
        }
        if (queued_.empty()) {
            AfterAbort();
            return PvResult::OK;
        }
        // Aravis hands nothing back on its own: stopping its receiver with
        // buffer deletion drops its references to every queued and
        // completed wrapper (the one being filled included); the record
        // still holds one on each, and they go back as aborted.
        arv_stream_stop_thread(stream_, TRUE);
        for (ArvBuffer* wrapper : queued_) {
            aborted_.push_back(wrapper);
        }
        queued_.clear();
        WakeRetrievals();
        arv_stream_start_thread(stream_);
        draining_ = true;
        stream = ARV_STREAM(g_object_ref(stream_));
    }
    DrainReceiver(stream);
    g_object_unref(stream);
    {
        std::lock_guard<std::mutex> guard(queue_lock_);
        draining_ = false;
    }
    drained_.notify_all();
    AfterAbort();
    return PvResult::OK;
}

void PvStream::WakeRetrievals() {
    {
        std::lock_guard<std::mutex> guard(ready_lock_);
        ++ready_events_;
    }
    ready_.notify_all();
}

// The restarted receiver forgets the frames it knew, while its socket
// still holds the rest of the frame that was on the wire when the device
// stopped. With no buffer queued those packets are counted and dropped;
// had a buffer been queued, they would start a frame without its
// beginning, which fails only after the frame retention and holds every
// later frame back until then.
void PvStream::DrainReceiver(ArvStream* stream) {
    const auto start = std::chrono::steady_clock::now();
    auto quiet_since = start;
    guint64 received = arv_stream_get_info_uint64_by_name(stream, platform::aravis_stream_info::kReceivedPackets);
    for (;;) {
        std::this_thread::sleep_for(kDrainPoll);
        const auto now = std::chrono::steady_clock::now();
        const guint64 count =
            arv_stream_get_info_uint64_by_name(stream, platform::aravis_stream_info::kReceivedPackets);
        if (count != received) {
            received = count;
            quiet_since = now;
        } else if (now - quiet_since >= kDrainQuiet) {
            return;
        }
        if (now - start >= kDrainBound) {
            return;
        }
    }
}
