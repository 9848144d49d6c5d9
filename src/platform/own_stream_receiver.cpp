#include "platform/own_stream_receiver.h"

#include <arv.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/log.h"
#include "platform/device_clock.h"
#include "platform/gvcp/request_id.h"
#include "platform/gvsp/batch_receiver.h"
#include "platform/resent_packet_ledger.h"
#include "wire/gvcp_packets.h"
#include "wire/gvsp_layout.h"

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

// How long DropAll waits for the receiving thread (which answers within
// one batch).
constexpr std::chrono::seconds kCommandWait{2};
// Moderation of the receiving thread's wake-ups while a frame streams in:
// it lets packets gather in the socket for at most this long, and not for
// less than the minimum (not worth a timer). The wait is also bounded by
// one batch of packets at the frame's pace and by the frame's last payload
// packet, so this bound only matters on slow links (a gigabit link brings one
// 9 KB packet every 72 us: a batch of them is 2.3 ms) and when the pace
// misleads; a 10 Gbit/s burst of that length is 3.1 MB.
constexpr std::chrono::microseconds kMaxGather{2500};
constexpr std::chrono::microseconds kMinGather{20};

PvResult frame_status(const gvsp::FrameReport& report) {
    switch (report.state) {
        case gvsp::FrameState::complete:
            return PvResult::OK;
        case gvsp::FrameState::incomplete:
        case gvsp::FrameState::receiving:
            return PvResult(PvResult::NETWORK_ERROR, "packets missing after resends");
        case gvsp::FrameState::buffer_too_small:
            return PvResult(PvResult::GENERIC_ERROR, "the frame does not fit the buffer");
        case gvsp::FrameState::unsupported:
            return PvResult(PvResult::NOT_SUPPORTED,
                            "payload type " + std::to_string(report.payload_type) + " is not supported");
        case gvsp::FrameState::idle:
            break;
    }
    return PvResult(PvResult::GENERIC_ERROR, "transfer not completed");
}

class OwnStreamReceiver : public StreamReceiver {
public:
    OwnStreamReceiver(const OwnReceiverSetup& setup, std::function<void()> wake_up)
        : setup_(setup), wake_up_(std::move(wake_up)), receiver_(setup.packet_size) {}

    ~OwnStreamReceiver() override {
        if (thread_.joinable()) {
            {
                std::lock_guard<std::mutex> guard(lock_);
                stop_ = true;
            }
            Signal();
            thread_.join();
        }
        // The thread is gone: its receiver and the finished frames are ours.
        std::vector<gvsp::FrameReport> held;
        receiver_.abort(&held);
        for (const gvsp::FrameReport& report : held) {
            g_object_unref(static_cast<ArvBuffer*>(report.cookie));
        }
        for (const Done& done : done_) {
            g_object_unref(done.wrapper);
        }
        if (wake_fd_ >= 0) {
            ::close(wake_fd_);
        }
    }

    bool Start(PvResult* result) {
        std::string error;
        if (!receiver_.open(setup_.local_address, 0, setup_.burst_bytes, &error)) {
            *result = PvResult(PvResult::GENERIC_ERROR, "the stream socket cannot be opened: " + error);
            return false;
        }
        wake_fd_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        if (wake_fd_ < 0) {
            *result = PvResult(PvResult::GENERIC_ERROR, "no event descriptor for the receiving thread");
            return false;
        }
        thread_ = std::thread([this] { Run(); });
        *result = PvResult::OK;
        return true;
    }

    uint16_t LocalPort() const override { return receiver_.port(); }

    void Push(ArvBuffer* wrapper, uint8_t* data, uint32_t capacity) override {
        g_object_ref(wrapper);  // the receiver's, until the buffer comes back
        free_buffers_.fetch_add(1);
        receiver_.queue_buffer(data, capacity, wrapper);
    }

    ArvBuffer* TryPop(TransferFacts* facts) override {
        std::lock_guard<std::mutex> guard(lock_);
        if (done_.empty()) {
            return nullptr;
        }
        Done done = std::move(done_.front());
        done_.pop_front();
        *facts = std::move(done.facts);
        return done.wrapper;
    }

    void DropAll() override {
        std::unique_lock<std::mutex> guard(lock_);
        const uint64_t ticket = ++drops_asked_;
        Signal();
        if (!dropped_.wait_for(guard, kCommandWait, [&] { return drops_done_ >= ticket; })) {
            ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER, "ORNC: The stream's receiving thread did not answer");
        }
    }

    void Drain() override {
        wait_until_quiet([this] {
            std::lock_guard<std::mutex> guard(lock_);
            return statistics_.datagrams;
        });
    }

    ReceiverStatistics Statistics() override {
        std::lock_guard<std::mutex> guard(lock_);
        return statistics_;
    }

    bool FindResentPackets(uint64_t block_id, uint32_t* packets) override {
        return packets != nullptr && resent_.Find(block_id, receiver_policy::kResentAccountingWait, packets);
    }

    void AfterAbort() override { resent_.Forget(); }

private:
    struct Done {
        ArvBuffer* wrapper;
        TransferFacts facts;
    };

    // What the receiving thread follows of each open frame.
    struct Watch {
        bool active = false;
        uint64_t block_id = 0;
        uint64_t packets = 0;             // the frame's datagrams when they last moved in number
        Clock::time_point last_progress;  // a packet of the frame arrived
        Clock::time_point last_request;   // missing packets were asked for
        uint32_t requested_up_to = 0;     // highest packet id asked for
    };

    // Where the pace of the newest frame is measured from: its highest
    // packet id at its first drain, and when the last datagram of that
    // drain arrived.
    struct PaceAnchor {
        bool set = false;
        uint64_t block_id = 0;
        uint32_t packet = 0;
        uint32_t total = 0;  // the frame's payload packets (0: not known)
        std::chrono::nanoseconds arrival{0};
    };

    void Signal() {
        const uint64_t one = 1;
        if (::write(wake_fd_, &one, sizeof one) < 0) {
            // The counter is full: the thread is woken anyway.
        }
    }

    void Run() {
        std::vector<gvsp::FrameReport> finished;
        for (;;) {
            uint64_t drops_asked = 0;
            {
                std::lock_guard<std::mutex> guard(lock_);
                if (stop_) {
                    return;
                }
                drops_asked = drops_asked_;
            }
            if (drops_asked != drops_done_seen_) {
                DropHeld(&finished);
                std::lock_guard<std::mutex> guard(lock_);
                drops_done_ = drops_done_seen_ = drops_asked;
                dropped_.notify_all();
                continue;
            }
            gvsp::BatchReceiver::Wake wake;
            const size_t finished_before = finished.size();
            if (!receiver_.receive(NextWakeMs(), &finished, wake_fd_, &wake)) {
                ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER, "ORNC: The stream socket failed: %s",
                         std::strerror(errno));
                std::this_thread::sleep_for(receiver_policy::kPacketTimeout);  // not a loop: the socket broke
            }
            uint64_t wakes = 0;
            if (wake.woken && ::read(wake_fd_, &wakes, sizeof wakes) < 0) {
                // Drained by an earlier read: nothing is lost.
            }
            if (wake.datagrams > 0) {
                TrackPace(finished, finished_before);
            }
            const Clock::time_point now = Clock::now();
            Supervise(now, &finished);
            Deliver(&finished);
            if (wake.datagrams > 0 && !wake.woken) {
                Gather();
            }
        }
    }

    // Measures the pace of the newest frame's packets from the kernel's
    // receive stamps after a drain: the first drain of a frame anchors it,
    // every later one (up to the one that ends the frame, whose last
    // datagram is its trailer) measures from that anchor. Arrival stamps,
    // unlike the times of the drains, keep a frame that ended inside a
    // wait from looking slower than it came.
    void TrackPace(const std::vector<gvsp::FrameReport>& finished, size_t finished_before) {
        std::chrono::nanoseconds arrival;
        if (!receiver_.last_arrival(&arrival)) {
            return;
        }
        const gvsp::FrameAssembler* frame = receiver_.newest();
        uint32_t packet = 0;
        if (frame != nullptr && anchor_.set && frame->block_id() == anchor_.block_id) {
            packet = frame->highest_seen();
            anchor_.total = frame->payload_packet_count();
        } else if (frame == nullptr && anchor_.set && anchor_.total != 0) {
            for (size_t i = finished_before; i < finished.size(); ++i) {
                if (finished[i].block_id == anchor_.block_id && finished[i].state == gvsp::FrameState::complete) {
                    packet = anchor_.total;
                }
            }
        } else if (frame != nullptr) {
            anchor_ =
                PaceAnchor{true, frame->block_id(), frame->highest_seen(), frame->payload_packet_count(), arrival};
            return;
        }
        if (packet > anchor_.packet + 1 && arrival > anchor_.arrival) {
            // A pace beyond the longest gather is of no use (and a step of
            // the clock between two stamps can make one).
            last_pace_ =
                std::min<std::chrono::nanoseconds>(kMaxGather, (arrival - anchor_.arrival) / (packet - anchor_.packet));
        }
    }

    // While packets of a frame keep coming, the thread waits for more
    // before it drains the socket again, rather than waking once per
    // packet: until the frame's last payload packet is due at the pace
    // measured last (by the anchor of this frame, so later waits of a frame
    // that came slower than the one before end on time), for at most
    // kMaxGather and no longer than the socket's buffer holds packets at
    // that pace. The trailer follows the last payload packet: the drain
    // either takes it too or its arrival wakes the thread. Only a command
    // (the event descriptor) ends the wait early; a frame that fell silent
    // is back to waits that only the socket ends, since no packet came to
    // call this.
    void Gather() {
        const gvsp::FrameAssembler* frame = receiver_.newest();
        if (frame == nullptr || FindWatch(frame->block_id()) == nullptr || !anchor_.set ||
            anchor_.block_id != frame->block_id() || last_pace_.count() <= 0) {
            return;
        }
        const uint32_t total = frame->payload_packet_count();
        if (total != 0 && total <= frame->highest_seen()) {
            return;  // only the trailer is left: its arrival wakes the thread
        }
        using std::chrono::nanoseconds;
        nanoseconds wait = std::min<nanoseconds>(kMaxGather, last_pace_ * GatherPackets());
        if (total != 0) {
            const nanoseconds now = std::chrono::system_clock::now().time_since_epoch();
            wait = std::min(wait, anchor_.arrival + last_pace_ * (total - anchor_.packet) - now);
        }
        if (wait < kMinGather) {
            return;
        }
        struct pollfd wake = {wake_fd_, POLLIN, 0};
        const struct timespec span = {0, static_cast<long>(wait.count())};
        ::ppoll(&wake, 1, &span, nullptr);
    }

    // How many packets a gather may leave in the socket: one batch, or half
    // of what the socket's buffer holds, whichever is less (the buffer is
    // charged up to about twice a datagram's size).
    int64_t GatherPackets() const {
        const size_t charge = 2 * static_cast<size_t>(std::max<uint32_t>(setup_.packet_size, 1));
        const size_t fit = static_cast<size_t>(receiver_.receive_buffer_bytes()) / charge / 2;
        return static_cast<int64_t>(std::max<size_t>(1, std::min(gvsp::BatchReceiver::kBatch, fit)));
    }

    Watch* FindWatch(uint64_t block_id) {
        for (Watch& watch : watches_) {
            if (watch.active && watch.block_id == block_id) {
                return &watch;
            }
        }
        return nullptr;
    }

    // While a frame is open the thread wakes to ask for its missing
    // packets and to give it up; otherwise only the socket wakes it.
    int NextWakeMs() const {
        if (!receiver_.receiving()) {
            return -1;
        }
        return static_cast<int>(receiver_policy::kPacketTimeout.count());
    }

    // Resend requests and retention for every open frame, each with a
    // watch of its own (a frame's watch is found by its block id).
    void Supervise(Clock::time_point now, std::vector<gvsp::FrameReport>* finished) {
        const gvsp::BatchReceiver::Frame* frame_of[kWatchSlots] = {};  // by watch
        std::vector<const gvsp::BatchReceiver::Frame*> unwatched;
        for (const auto& open : receiver_.frames()) {
            if (open->ended) {
                continue;
            }
            size_t i = 0;
            while (i < kWatchSlots && !(watches_[i].active && watches_[i].block_id == open->block_id)) {
                ++i;
            }
            if (i < kWatchSlots) {
                frame_of[i] = open.get();
            } else {
                unwatched.push_back(open.get());
            }
        }
        // No more frames are open than there are watches.
        for (size_t i = 0; i < kWatchSlots; ++i) {
            if (frame_of[i] == nullptr && !unwatched.empty()) {
                frame_of[i] = unwatched.back();
                unwatched.pop_back();
                watches_[i] = Watch{true, frame_of[i]->block_id, Progress(*frame_of[i]), now, {}, 0};
            }
            watches_[i].active = frame_of[i] != nullptr;
        }
        std::vector<uint64_t> give_up;
        for (size_t i = 0; i < kWatchSlots; ++i) {
            if (frame_of[i] != nullptr && !SuperviseFrame(*frame_of[i], &watches_[i], now)) {
                give_up.push_back(frame_of[i]->block_id);
            }
        }
        for (const uint64_t block_id : give_up) {
            receiver_.fail(block_id, finished);
        }
    }

    static uint64_t Progress(const gvsp::BatchReceiver::Frame& open) {
        return open.assembler.counters().packets + open.before_leader;
    }

    // False when the frame is given up.
    bool SuperviseFrame(const gvsp::BatchReceiver::Frame& open, Watch* watch, Clock::time_point now) {
        const gvsp::FrameAssembler& frame = open.assembler;
        if (Progress(open) != watch->packets) {
            watch->packets = Progress(open);
            watch->last_progress = now;
        }
        // PACKET_UNAVAILABLE: the device no longer holds the frame.
        const bool short_retention = free_buffers_.load() < receiver_policy::kReserveBuffers;
        const auto retention =
            short_retention ? receiver_policy::kShortFrameRetention : receiver_policy::kFrameRetention;
        if (frame.refused() || open.refused || now - watch->last_progress >= retention) {
            return false;
        }
        std::vector<std::pair<uint32_t, uint32_t>> ranges;
        if (!open.leader || open.highest_before_leader > watch->requested_up_to) {
            // Its leader was lost: asked for once, with the packets that came
            // before it (they had no place yet) and any that came since.
            if (!open.leader && watch->requested_up_to == 0 && watch->last_request == Clock::time_point{}) {
                ranges.emplace_back(0, open.highest_before_leader);
            } else if (open.leader) {
                ranges.emplace_back(watch->requested_up_to + 1, open.highest_before_leader);
            }
            Request(open.block_id, open.extended_ids, ranges, watch, now);
            return true;
        }
        // A gap is asked for as soon as a later packet (or the trailer)
        // shows it; what has not come yet after the highest packet seen
        // only once the frame fell silent. Between two rounds only what is
        // new is asked for.
        const bool silent = now - watch->last_progress >= receiver_policy::kPacketTimeout ||
                            frame.state() == gvsp::FrameState::incomplete;
        if (!silent && frame.missing_below_highest() == 0) {
            return true;  // no gap known: nothing to ask for yet
        }
        const bool overdue = now - watch->last_request >= receiver_policy::kPacketTimeout;
        for (std::pair<uint32_t, uint32_t> range : frame.missing_ranges()) {
            if (!silent && range.first > frame.highest_seen()) {
                continue;
            }
            if (!overdue) {
                if (range.second <= watch->requested_up_to) {
                    continue;
                }
                range.first = std::max(range.first, watch->requested_up_to + 1);
            }
            ranges.push_back(range);
        }
        if (ranges.empty() && silent && overdue && frame.missing_count() == 0) {
            // Nothing missing that is known of: the frame's end (the next
            // packet, or the trailer) is.
            const uint32_t known =
                frame.payload_packet_count() != 0 ? frame.payload_packet_count() : frame.highest_seen();
            ranges.emplace_back(known + 1, known + 1);
        }
        Request(open.block_id, open.extended_ids, ranges, watch, now);
        return true;
    }

    void Request(uint64_t block_id, bool extended_ids, const std::vector<std::pair<uint32_t, uint32_t>>& ranges,
                 Watch* watch, Clock::time_point now) {
        if (ranges.empty()) {
            return;
        }
        uint64_t packets = 0;
        for (const auto& range : ranges) {
            gvcp::ResendRequest request;
            request.block_id = block_id;
            request.first_packet = range.first;
            request.last_packet = range.second;
            receiver_.send_to(setup_.device_address, setup_.device_control_port,
                              gvcp::build_resend_request(extended_ids, gvcp::next_request_id(), request));
            packets += range.second - range.first + 1;
            watch->requested_up_to = std::max(watch->requested_up_to, range.second);
        }
        watch->last_request = now;
        std::lock_guard<std::mutex> guard(lock_);
        statistics_.resend_requests += packets;
    }

    // Hands the finished frames over and publishes the counters.
    void Deliver(std::vector<gvsp::FrameReport>* finished) {
        const gvsp::ReceiverCounters counters = receiver_.counters();
        std::unique_lock<std::mutex> guard(lock_);
        statistics_.datagrams = counters.datagrams;
        statistics_.underruns = counters.no_buffer;
        if (finished->empty()) {
            return;
        }
        for (gvsp::FrameReport& report : *finished) {
            ArvBuffer* wrapper = static_cast<ArvBuffer*>(report.cookie);
            free_buffers_.fetch_sub(1);
            Done done{wrapper, Facts(report)};
            if (done.facts.status.IsOK()) {
                ++statistics_.completed;
                statistics_.transferred_bytes += report.payload_size;
            } else {
                ++statistics_.failures;
                statistics_.packets_missing += report.packets_missing;
            }
            // The wrapper carries the frame's identity on both receivers.
            arv_buffer_set_frame_id(wrapper, done.facts.block_id);
            arv_buffer_set_timestamp(wrapper, done.facts.timestamp_ns);
            resent_.FrameClosed(report.block_id, statistics_.resend_requests);
            done_.push_back(std::move(done));
        }
        finished->clear();
        guard.unlock();
        wake_up_();
    }

    // What a report tells, in the terms the buffers read.
    TransferFacts Facts(const gvsp::FrameReport& report) const {
        TransferFacts facts;
        facts.status = frame_status(report);
        facts.payload_type = report.payload_type & gvsp::kPayloadTypeMask;
        facts.has_chunks = (report.payload_type & gvsp::kPayloadExtendedChunkFlag) != 0;
        facts.received_size = report.payload_size;
        facts.block_id = report.block_id;
        facts.timestamp_ns = setup_.tick_frequency != 0 ? ticks_to_ns(report.timestamp, setup_.tick_frequency)
                                                        : static_cast<uint64_t>(host_realtime_ns());
        for (const gvsp::PartLayout& layout : report.parts) {
            // The block starts at the buffer's start: its offsets are the
            // buffer's.
            facts.parts.push_back(TransferPart{layout.data_type, layout.offset, layout.size, layout.width,
                                               layout.height, layout.pixel_format, layout.x_offset, layout.y_offset,
                                               layout.data_purpose_id});
        }
        return facts;
    }

    // Every buffer the receiver holds goes back to nobody: the frame in
    // progress, those queued and those finished but not popped.
    void DropHeld(std::vector<gvsp::FrameReport>* finished) {
        Deliver(finished);
        std::vector<gvsp::FrameReport> held;
        receiver_.abort(&held);
        // The frame cut short by the abort is no failure of the link: it
        // is not counted.
        std::deque<Done> undelivered;
        {
            std::lock_guard<std::mutex> guard(lock_);
            undelivered.swap(done_);
        }
        for (const gvsp::FrameReport& report : held) {
            free_buffers_.fetch_sub(1);
            g_object_unref(static_cast<ArvBuffer*>(report.cookie));
        }
        for (const Done& done : undelivered) {
            g_object_unref(done.wrapper);
        }
    }

    const OwnReceiverSetup setup_;
    const std::function<void()> wake_up_;
    gvsp::BatchReceiver receiver_;  // the receiving thread's (queue_buffer: any thread)
    int wake_fd_ = -1;
    std::thread thread_;
    // The receiving thread's: one watch per open frame.
    static constexpr size_t kWatchSlots = gvsp::BatchReceiver::kMaxOpen;
    Watch watches_[kWatchSlots];
    PaceAnchor anchor_;
    std::chrono::nanoseconds last_pace_{0};  // per payload packet, as TrackPace found it last
    uint64_t drops_done_seen_ = 0;           // the receiving thread's
    std::atomic<int> free_buffers_{0};
    ResentPacketLedger resent_;

    std::mutex lock_;  // guards what follows
    std::condition_variable dropped_;
    bool stop_ = false;
    uint64_t drops_asked_ = 0;
    uint64_t drops_done_ = 0;
    std::deque<Done> done_;
    ReceiverStatistics statistics_;
};

}  // namespace

std::unique_ptr<StreamReceiver> open_own_receiver(const OwnReceiverSetup& setup, std::function<void()> wake_up,
                                                  PvResult* result) {
    std::unique_ptr<OwnStreamReceiver> receiver(new OwnStreamReceiver(setup, std::move(wake_up)));
    if (!receiver->Start(result)) {
        return nullptr;
    }
    return receiver;
}

}  // namespace platform
