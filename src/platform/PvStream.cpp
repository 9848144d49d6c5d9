#include "platform/PvStream.h"

#include <arv.h>

#include <algorithm>
#include <chrono>

#include "platform/PvDevice.h"
#include "platform/PvDeviceInfoGEV.h"
#include "platform/PvStreamGEV.h"
#include "platform/close_on_end.h"
#include "platform/own_node_maps.h"
#include "platform/stream_receiver.h"

namespace {
// Rates are measured over at least this long, so two reads in a row do
// not report noise.
constexpr std::chrono::milliseconds kRateWindow{200};
// A blocked retrieval waits on a condition of its own, which completed
// transfers (through the receiver's wake-up), aborts and the close signal;
// it looks at the receiver (WhileRetrieving) after each slice (this long
// at most) that passed without a wake-up.
constexpr std::chrono::milliseconds kRetrieveSlice{20};
constexpr uint32_t kWaitForever = 0xFFFFFFFFu;
// How long QueueBuffer and Close wait for an abort's drain (the receivers
// bound it well below this).
constexpr std::chrono::milliseconds kDrainWait{500};

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
        std::shared_ptr<platform::StreamReceiver> receiver = stream_->receiver_;
        if (receiver == nullptr) {
            return;
        }
        const PvString name = parameter.GetName();
        const platform::ReceiverStatistics statistics = receiver->Statistics();
        if (name == feature::kBlockCount) {
            array.SetIntegerUnlocked(feature::kBlockCount, static_cast<int64_t>(statistics.completed));
        } else if (name == feature::kBlocksDropped) {
            array.SetIntegerUnlocked(feature::kBlocksDropped, static_cast<int64_t>(statistics.failures));
        } else if (name == feature::kBlocksUnderrun) {
            array.SetIntegerUnlocked(feature::kBlocksUnderrun, static_cast<int64_t>(statistics.underruns));
        } else if (name == feature::kResendRequests || name == feature::kPacketsMissing) {
            array.SetIntegerUnlocked(feature::kResendRequests, static_cast<int64_t>(statistics.resend_requests));
            array.SetIntegerUnlocked(feature::kPacketsMissing, static_cast<int64_t>(statistics.packets_missing));
        } else if (name == feature::kQueuedBufferCount) {
            array.SetIntegerUnlocked(feature::kQueuedBufferCount, stream_->GetQueuedBufferCount());
        } else if (name == feature::kAcquisitionRate || name == feature::kBandwidth) {
            UpdateRates(array, statistics.completed, statistics.transferred_bytes);
        }
    }

    PvResult AfterWrite(PvGenParameterArray&, PvGenParameter&) override { return PvResult::OK; }

private:
    void UpdateRates(PvGenParameterArray& array, uint64_t completed, uint64_t bytes) {
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
    uint64_t last_completed_ = 0;
    uint64_t last_bytes_ = 0;
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

PvResult PvStream::Attach(std::unique_ptr<platform::StreamReceiver> receiver, std::shared_ptr<std::mutex> device_lock) {
    receiver_ = std::move(receiver);
    device_lock_ = std::move(device_lock);
    statistics_hooks_.reset(new StatisticsHooks(this));
    PvResult result;
    parameters_ = platform::create_stream_node_map(statistics_hooks_.get(), &result);
    return parameters_ != nullptr ? PvResult::OK : result;
}

PvResult PvStream::Close() {
    if (receiver_ == nullptr) {
        return PvResult(PvResult::NOT_CONNECTED, "the stream is not open");
    }
    if (parameters_ != nullptr) {
        parameters_->SetValueHooks(nullptr);
    }
    parameters_.reset();
    statistics_hooks_.reset();
    {
        // Stopping the receiver releases the wrappers it holds.
        std::unique_lock<std::mutex> queue_guard(queue_lock_);
        drained_.wait_for(queue_guard, kDrainWait, [this] { return !draining_; });
        // The stream may be the last holder of a disconnected device.
        PvDevice::ReleaseHere([this] {
            std::unique_lock<std::mutex> device_guard;
            if (device_lock_ != nullptr) {
                device_guard = std::unique_lock<std::mutex>(*device_lock_);
            }
            receiver_.reset();
            AfterReceiverClosedLocked();
        });
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
    drained_.wait_for(guard, kDrainWait, [this] { return !draining_; });
    if (receiver_ == nullptr) {
        return PvResult(PvResult::NOT_CONNECTED, "the stream is not open");
    }
    if (buffer->IsQueued()) {
        return PvResult(PvResult::INVALID_PARAMETER, "the buffer is already queued");
    }
    if (queued_.size() + aborted_.size() >= kQueuedBufferMaximum) {
        return PvResult(PvResult::GENERIC_ERROR, "the queue is full");
    }
    // One reference goes to the receiver, one to the record; the
    // PvBuffer keeps its own.
    ArvBuffer* wrapper = buffer->GetArvBuffer();
    buffer->ClearTransfer();
    g_object_ref(wrapper);
    queued_.push_back(wrapper);
    receiver_->Push(wrapper, buffer->GetDataPointer(), buffer->GetSize());
    buffer->SetQueued(true);
    return PvResult::OK;
}

PvBuffer* PvStream::ClaimCompletedLocked(ArvBuffer* wrapper) {
    auto found = std::find(queued_.begin(), queued_.end(), wrapper);
    if (found == queued_.end()) {
        // Not in the record (an abort took it): the abort hands the
        // buffer back; only the receiver's reference is ours to drop.
        g_object_unref(wrapper);
        return nullptr;
    }
    queued_.erase(found);
    PvBuffer* buffer = PvBuffer::FromArvBuffer(wrapper);
    g_object_unref(wrapper);  // the receiver's
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
    platform::TransferFacts facts;
    for (;;) {
        uint64_t seen = 0;
        {
            std::lock_guard<std::mutex> guard(queue_lock_);
            if (receiver_ == nullptr) {
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
            {
                // Read before the pop: a transfer completed after it is
                // seen as a change.
                std::lock_guard<std::mutex> ready_guard(ready_lock_);
                seen = ready_events_;
            }
            ArvBuffer* wrapper = receiver_->TryPop(&facts);
            if (wrapper != nullptr) {
                PvBuffer* completed = ClaimCompletedLocked(wrapper);
                if (completed != nullptr) {
                    PvResult transfer = completed->TakeTransfer(facts);
                    if (operation_result != nullptr) {
                        *operation_result = transfer;
                    }
                    *buffer = completed;
                    return PvResult::OK;
                }
                continue;
            }
        }
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
                // The receiver's state can be looked at while somebody
                // waits for a frame (it takes none of the stream's locks).
                std::lock_guard<std::mutex> guard(queue_lock_);
                if (receiver_ != nullptr) {
                    receiver_->WhileRetrieving();
                }
            }
        }
        if (timeout_ms != kWaitForever && std::chrono::steady_clock::now() - start >= limit) {
            return PvResult(PvResult::TIMEOUT, "no buffer within " + std::to_string(timeout_ms) + " ms");
        }
    }
}

PvResult PvStream::AbortQueuedBuffers() {
    std::shared_ptr<platform::StreamReceiver> receiver;
    {
        std::lock_guard<std::mutex> guard(queue_lock_);
        if (receiver_ == nullptr) {
            return PvResult(PvResult::NOT_CONNECTED, "the stream is not open");
        }
        if (queued_.empty()) {
            receiver_->AfterAbort();
            return PvResult::OK;
        }
        // The receiver drops its references to every wrapper (the one
        // being filled included); the record still holds one on each, and
        // they go back as aborted.
        receiver_->DropAll();
        for (ArvBuffer* wrapper : queued_) {
            aborted_.push_back(wrapper);
        }
        queued_.clear();
        WakeRetrievals();
        draining_ = true;
        receiver = receiver_;
    }
    receiver->Drain();
    receiver->AfterAbort();
    receiver.reset();
    {
        std::lock_guard<std::mutex> guard(queue_lock_);
        draining_ = false;
    }
    drained_.notify_all();
    return PvResult::OK;
}

bool PvStream::FindResentPackets(uint64_t block_id, uint32_t* packets) {
    std::shared_ptr<platform::StreamReceiver> receiver;
    {
        std::lock_guard<std::mutex> guard(queue_lock_);
        receiver = receiver_;
    }
    return receiver != nullptr && receiver->FindResentPackets(block_id, packets);
}

void PvStream::WakeRetrievals() {
    {
        std::lock_guard<std::mutex> guard(ready_lock_);
        ++ready_events_;
    }
    ready_.notify_all();
}
