#include "message_channel.h"

#include <algorithm>
#include <chrono>

#include "device_registers.h"
#include "wire/gvcp_packets.h"

namespace ornsim {
namespace {
constexpr size_t kQueueLimit = 64;
// Above this the flood would only measure how fast acknowledges come back.
constexpr double kMaxFloodPerS = 100000.0;
}  // namespace

MessageChannel::MessageChannel(DeviceModel& model) : model_(model) {}

MessageChannel::~MessageChannel() { close(); }

bool MessageChannel::open(uint32_t source_ip, std::string* error) {
    close();
    if (!socket_.open(source_ip, 0, error)) return false;
    socket_.enable_broadcast();
    port_ = socket_.local_port();
    model_.set_message_source_port(port_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = false;
    }
    thread_ = std::thread(&MessageChannel::run, this);
    return true;
}

void MessageChannel::close() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        queue_.clear();
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
    socket_.close();
}

void MessageChannel::post(DeviceEvent event) {
    if (event.data.size() > gvcp::kEventDataMaxSize) event.data.resize(gvcp::kEventDataMaxSize);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_) return;
        if (queue_.size() >= kQueueLimit) queue_.pop_front();
        queue_.push_back(std::move(event));
    }
    wake_.notify_one();
}

void MessageChannel::set_flood_rate(double events_per_s) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const double rate = events_per_s > 0.0 ? std::min(events_per_s, kMaxFloodPerS) : 0.0;
        if (rate > 0.0 && !(flood_per_s_ > 0.0)) next_flood_ = std::chrono::steady_clock::now();
        flood_per_s_ = rate;
    }
    wake_.notify_all();
}

bool MessageChannel::next_event(DeviceEvent* event, bool* flood) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        if (stopping_) return false;
        if (!queue_.empty()) {
            *event = std::move(queue_.front());
            queue_.pop_front();
            *flood = false;
            return true;
        }
        if (!(flood_per_s_ > 0.0)) {
            wake_.wait(lock);
            continue;
        }
        const auto now = std::chrono::steady_clock::now();
        if (now < next_flood_) {
            wake_.wait_until(lock, next_flood_);
            continue;
        }
        // Behind schedule (slow acknowledges), the next one is simply due now:
        // missed events are not sent later in a burst.
        const auto period = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(1.0 / flood_per_s_));
        next_flood_ = std::max(next_flood_ + period, now);
        *flood = true;
        return true;
    }
}

// Shaped like the FrameEnd event of a frame, so that a host decodes it the
// same way, but for block 0: no frame has that id.
DeviceEvent MessageChannel::flood_event() const {
    DeviceEvent event;
    event.entry.event_id = reg::kEventIdFrameEnd;
    event.entry.block_id = 0;
    event.entry.timestamp = model_.timestamp_now();
    event.data.resize(reg::kEventFrameEndDataSize);
    wire::store_be64(event.data.data() + reg::kEventFrameEndFrameIdOffset, event.entry.block_id);
    wire::store_be64(event.data.data() + reg::kEventFrameEndTimestampOffset, event.entry.timestamp);
    return event;
}

void MessageChannel::run() {
    for (;;) {
        DeviceEvent event;
        bool flood = false;
        if (!next_event(&event, &flood)) return;
        MessageRegisters target = model_.message_channel();
        if (target.dest_port == 0 || target.dest_ip == 0 || silenced_) continue;
        if (flood) event = flood_event();
        bool went_out = false;
        deliver(event, target, model_.stream().extended_ids, &went_out);
        if (flood && went_out) ++events_flooded_;
    }
}

bool MessageChannel::deliver(const DeviceEvent& event, const MessageRegisters& target, bool extended_ids,
                             bool* went_out) {
    uint16_t req_id = next_req_id_;
    next_req_id_ = static_cast<uint16_t>(next_req_id_ == 0xFFFF ? 1 : next_req_id_ + 1);
    const uint8_t flags = static_cast<uint8_t>(gvcp::kFlagAckRequired | (extended_ids ? gvcp::kFlagExtendedIds : 0));
    const std::vector<uint8_t> packet = gvcp::build_event_data(flags, req_id, {event});

    const int timeout_ms = static_cast<int>(std::min<uint32_t>(target.timeout_ms == 0 ? 1 : target.timeout_ms, 10000));
    const uint32_t attempts = std::min<uint32_t>(target.retry_count, 100) + 1;
    for (uint32_t attempt = 0; attempt < attempts; ++attempt) {
        if (silenced_) return false;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_) return false;
        }
        if (!socket_.send_to(target.dest_ip, target.dest_port, packet.data(), packet.size())) return false;
        ++events_sent_;
        *went_out = true;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        for (;;) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) break;
            uint8_t reply[64];
            uint32_t ip = 0;
            uint16_t port = 0;
            long n = socket_.receive_within(reply, sizeof reply,
                                            static_cast<int>(std::min<long long>(left.count(), 50)), &ip, &port);
            {
                std::lock_guard<std::mutex> lock(mutex_);
                if (stopping_) return false;
            }
            if (n < static_cast<long>(gvcp::kHeaderSize)) continue;
            const gvcp::AckHeader ack = gvcp::read_ack_header(reply, static_cast<size_t>(n));
            if (ack.answer == gvcp::EVENTDATA_ACK && ack.ack_id == req_id) {
                ++events_acked_;
                return true;
            }
        }
    }
    return false;
}

}  // namespace ornsim
