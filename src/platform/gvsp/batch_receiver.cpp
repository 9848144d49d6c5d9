#include "platform/gvsp/batch_receiver.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/log.h"
#include "wire/gvcp_packets.h"

namespace gvsp {

namespace {
constexpr int kMaxBatchesPerWake = 64;  // then the caller gets its finished frames
constexpr int kMinReceiveBuffer = 4 << 20;

int system_receive_ceiling() {
    FILE* f = std::fopen("/proc/sys/net/core/rmem_max", "r");
    long value = 0;
    if (f != nullptr) {
        if (std::fscanf(f, "%ld", &value) != 1) value = 0;
        std::fclose(f);
    }
    return static_cast<int>(std::min<long>(value, 1L << 30));
}
}  // namespace

BatchReceiver::BatchReceiver(uint32_t packet_size) : packet_size_(std::max<uint32_t>(packet_size, 576)) {
    spill_size_ = std::min<size_t>(packet_size_, kMaxUdpPayload);
    headers_.assign(kBatch * kHeaderScratch, 0);
    spill_.assign(kBatch * spill_size_, 0);
    stage_stride_ = kHeaderScratch + packet_size_ + spill_size_;
    stage_.assign(kBatch * stage_stride_, 0);
    std::memset(msgs_, 0, sizeof msgs_);
}

bool BatchReceiver::open(uint32_t local_address, uint16_t local_port, size_t burst_bytes, std::string* error) {
    if (!socket_.open(local_address, local_port, error)) return false;
    port_ = socket_.local_port();
    raise_receive_buffer(burst_bytes);
    // The first ask turns the kernel's receive stamps on for this socket.
    std::chrono::nanoseconds unused;
    last_arrival(&unused);
    return true;
}

bool BatchReceiver::last_arrival(std::chrono::nanoseconds* since_epoch) const {
    struct timespec stamp = {};
    if (::ioctl(socket_.fd(), SIOCGSTAMPNS, &stamp) != 0) return false;
    *since_epoch = std::chrono::seconds(stamp.tv_sec) + std::chrono::nanoseconds(stamp.tv_nsec);
    return true;
}

void BatchReceiver::raise_receive_buffer(size_t burst_bytes) {
    const int fd = socket_.fd();
    const int wanted =
        static_cast<int>(std::min<size_t>(std::max<size_t>(2 * burst_bytes, kMinReceiveBuffer), 1 << 30));
    if (::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof wanted) != 0) {
        const int allowed = std::min(wanted, system_receive_ceiling());
        if (allowed > 0) ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &allowed, sizeof allowed);
    }
    socklen_t len = sizeof rcvbuf_;
    if (::getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &rcvbuf_, &len) != 0) rcvbuf_ = 0;
    // The kernel reports twice the usable size (bookkeeping included).
    if (static_cast<size_t>(rcvbuf_ / 2) < burst_bytes) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER,
                 "ORNC: Stream receive buffer %d bytes is below one frame's burst of %zu bytes "
                 "(raise net.core.rmem_max)",
                 rcvbuf_ / 2, burst_bytes);
    }
}

void BatchReceiver::queue_buffer(uint8_t* data, size_t capacity, void* cookie) {
    std::lock_guard<std::mutex> lock(queue_mutex_);
    queue_.push_back(Pending{data, capacity, cookie});
}

bool BatchReceiver::receiving() const {
    for (const auto& f : open_) {
        if (!f->ended) return true;
    }
    return false;
}

BatchReceiver::Frame* BatchReceiver::find(uint64_t block_id) {
    for (const auto& f : open_) {
        if (f->block_id == block_id) return f.get();
    }
    return nullptr;
}

// Standard ids count 16 bits and wrap: newer is up to half the range ahead.
// Before any block, every block is: the stream's first frame may have lost
// its leader too.
bool BatchReceiver::newer_than_seen(const PacketHeader& h) const {
    if (!seen_block_) return true;
    if (h.extended_ids) return h.block_id > newest_block_;
    return static_cast<int16_t>(static_cast<uint16_t>(h.block_id - newest_block_)) > 0;
}

void BatchReceiver::update_newest() {
    newest_ = nullptr;
    for (const auto& f : open_) {
        if (!f->ended && f->leader) newest_ = f.get();
    }
}

void BatchReceiver::aim(size_t i, uint32_t next_id) {
    Aim& a = aims_[i];
    uint8_t* spill = &spill_[i * spill_size_];
    size_t offset = 0, length = 0;
    a.packet_id = next_id;
    if (newest_ != nullptr && newest_->assembler.slot(next_id, &offset, &length)) {
        a.header_length = newest_->assembler.payload_header_size();
        a.slot = newest_->buffer.data + offset;
        a.slot_length = length;
    } else {
        a.header_length = kHeaderScratch;
        a.slot = spill;
        a.slot_length = spill_size_;
    }
    iov_[i][0] = {&headers_[i * kHeaderScratch], a.header_length};
    iov_[i][1] = {a.slot, a.slot_length};
    iov_[i][2] = {spill, a.slot == spill ? 0 : spill_size_};
    std::memset(&msgs_[i], 0, sizeof msgs_[i]);
    msgs_[i].msg_hdr.msg_iov = iov_[i];
    msgs_[i].msg_hdr.msg_iovlen = a.slot == spill ? 2 : 3;
}

bool BatchReceiver::receive(int timeout_ms, std::vector<FrameReport>* finished, int wake_fd, Wake* wake) {
    Wake ignored;
    Wake& seen = wake != nullptr ? *wake : ignored;
    seen = Wake{};
    struct pollfd pfd[2] = {{socket_.fd(), POLLIN, 0}, {wake_fd, POLLIN, 0}};
    const int ready = ::poll(pfd, wake_fd >= 0 ? 2 : 1, timeout_ms);
    if (ready < 0) return errno == EINTR;
    seen.woken = wake_fd >= 0 && pfd[1].revents != 0;
    if (ready == 0 || pfd[0].revents == 0) return true;
    const size_t handed_before = finished->size();
    for (int round = 0; round < kMaxBatchesPerWake; ++round) {
        // Slots for the packets expected next: after the highest in place
        // in the newest frame.
        Frame* const target = newest_;
        const uint32_t next = target != nullptr ? target->assembler.highest_seen() + 1 : 1;
        // Without a frame in progress the next datagram should be a leader:
        // take it alone, so that the packets after it find their slots.
        const size_t batch = target != nullptr ? kBatch : 1;
        for (size_t i = 0; i < batch; ++i) aim(i, next + static_cast<uint32_t>(i));
        const int got = ::recvmmsg(socket_.fd(), msgs_, static_cast<unsigned>(batch), MSG_DONTWAIT, nullptr);
        if (got < 0) return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        ++counters_.batches;
        counters_.datagrams += static_cast<uint64_t>(got);
        seen.datagrams += static_cast<size_t>(got);
        // First every datagram that landed in its slot, and a staging copy of
        // each one that did not, before any slot is written again.
        std::vector<std::pair<size_t, size_t>> staged;  // (message, bytes)
        for (size_t i = 0; i < static_cast<size_t>(got); ++i) {
            const Aim& a = aims_[i];
            const size_t size = msgs_[i].msg_len;
            if ((msgs_[i].msg_hdr.msg_flags & MSG_TRUNC) != 0 || size > a.header_length + a.slot_length + spill_size_) {
                ++counters_.truncated;
                continue;
            }
            if (a.slot != &spill_[i * spill_size_] && size > a.header_length &&
                size - a.header_length <= a.slot_length &&
                target->assembler.accept_in_place(&headers_[i * kHeaderScratch], a.packet_id, size - a.header_length)) {
                ++counters_.in_place;
                continue;
            }
            staged.emplace_back(i, size);
        }
        for (const auto& [i, size] : staged) {
            const Aim& a = aims_[i];
            uint8_t* out = &stage_[i * stage_stride_];
            const size_t head = std::min(size, a.header_length);
            std::memcpy(out, &headers_[i * kHeaderScratch], head);
            const size_t in_slot = std::min(size - head, a.slot_length);
            std::memmove(out + head, a.slot, in_slot);
            std::memcpy(out + head + in_slot, &spill_[i * spill_size_], size - head - in_slot);
        }
        // The target stays open through the staged datagrams unless one
        // ends it (then it is not newest_ any more).
        if (target != nullptr && target->assembler.state() == FrameState::complete) end(target, finished);
        for (const auto& [i, size] : staged) {
            ++counters_.moved;
            route(&stage_[i * stage_stride_], size, finished);
        }
        // A frame handed over goes to the caller before the next batch: its
        // buffer may be what the frames queued in the socket behind it need.
        if (static_cast<size_t>(got) < batch || finished->size() > handed_before) break;
    }
    return true;
}

void BatchReceiver::route(const uint8_t* d, size_t size, std::vector<FrameReport>* finished) {
    PacketHeader h;
    if (!parse_packet_header(d, size, &h)) return;
    // Block 0 is no block (devices count from 1 and skip 0 when ids wrap):
    // a test packet (fire-test-packet) carries it, with no block's format.
    if (h.block_id == 0) {
        ++unplaced_;
        return;
    }
    Frame* f = find(h.block_id);
    if (f != nullptr && f->ended) {
        ++unplaced_;
        return;
    }
    if (h.format == FORMAT_LEADER && h.status == 0 && (f == nullptr || !f->leader)) {
        if (f == nullptr && h.block_id == last_ended_) return;  // a resent leader of an ended frame
        if (f == nullptr) {
            // A leader opens its frame even of an older block (the device
            // counts again from the start).
            seen_block_ = true;
            newest_block_ = h.block_id;
            if ((f = open_frame(h, finished)) == nullptr) return;
        }
        f->leader = true;
        const FrameState s = f->assembler.begin(d, size, f->buffer.data, f->buffer.capacity);
        if (s != FrameState::receiving) {
            end(f, finished);
        } else {
            update_newest();
        }
        return;
    }
    const bool block_data = h.format == FORMAT_PAYLOAD || h.format == FORMAT_MULTIPART || h.format == FORMAT_TRAILER;
    if (f == nullptr && block_data && h.status == 0 && newer_than_seen(h)) {
        // Its leader was lost: the frame opens without it, and the caller asks for it.
        seen_block_ = true;
        newest_block_ = h.block_id;
        f = open_frame(h, finished);
    }
    if (f == nullptr) {
        ++unplaced_;
        return;
    }
    if (!f->leader) {
        ++f->before_leader;
        f->refused = f->refused || h.status == gvcp::STATUS_PACKET_UNAVAILABLE;
        if (h.status == 0) f->highest_before_leader = std::max(f->highest_before_leader, h.packet_id);
        return;
    }
    if (f->assembler.accept(d, size) == FrameState::complete) end(f, finished);
}

BatchReceiver::Frame* BatchReceiver::open_frame(const PacketHeader& h, std::vector<FrameReport>* finished) {
    Pending buffer;
    {
        std::lock_guard<std::mutex> lock(queue_mutex_);
        if (queue_.empty()) {
            ++counters_.no_buffer;
            return nullptr;
        }
        buffer = queue_.front();
        queue_.pop_front();
    }
    while (open_.size() >= kMaxOpen) {
        Frame* oldest = open_.front().get();
        if (!oldest->ended) end(oldest, finished);
        hand_over(finished);
    }
    std::unique_ptr<Frame> f;
    if (spare_.empty()) {
        f = std::make_unique<Frame>(packet_size_);
    } else {
        f = std::move(spare_.back());
        spare_.pop_back();
    }
    f->buffer = buffer;
    f->block_id = h.block_id;
    f->extended_ids = h.extended_ids;
    f->leader = f->refused = f->ended = false;
    f->before_leader = f->highest_before_leader = 0;
    open_.push_back(std::move(f));
    return open_.back().get();
}

void BatchReceiver::end(Frame* f, std::vector<FrameReport>* finished) {
    const FrameAssembler& a = f->assembler;
    FrameReport& r = f->report;
    r = FrameReport{};
    r.cookie = f->buffer.cookie;
    r.buffer = f->buffer.data;
    r.capacity = f->buffer.capacity;
    r.block_id = f->block_id;
    if (f->leader) {
        r.state = a.state() == FrameState::receiving ? FrameState::incomplete : a.state();
        r.timestamp = a.timestamp();
        r.payload_type = a.payload_type();
        r.payload_size = a.received_bytes();
        r.parts = a.parts();
        if (r.parts.size() == 1 && r.parts[0].size == 0) r.parts[0].size = r.payload_size;
        r.packets_missing = a.missing_count();
    } else {
        r.state = FrameState::incomplete;  // its leader never came
        r.packets_missing = 1;
    }
    (r.state == FrameState::complete ? counters_.frames_complete : counters_.frames_failed)++;
    f->ended = true;
    last_ended_ = f->block_id;
    f->assembler.reset();
    update_newest();
    hand_over(finished);
}

// Ended frames go out in the order they opened.
void BatchReceiver::hand_over(std::vector<FrameReport>* finished) {
    while (!open_.empty() && open_.front()->ended) {
        finished->push_back(std::move(open_.front()->report));
        open_.front()->buffer = Pending{};
        spare_.push_back(std::move(open_.front()));
        open_.pop_front();
    }
}

void BatchReceiver::fail(uint64_t block_id, std::vector<FrameReport>* finished) {
    Frame* f = find(block_id);
    if (f != nullptr && !f->ended) end(f, finished);
}

void BatchReceiver::abort(std::vector<FrameReport>* finished) {
    while (!open_.empty()) {
        if (!open_.front()->ended) end(open_.front().get(), finished);
        hand_over(finished);
    }
    std::lock_guard<std::mutex> lock(queue_mutex_);
    for (const Pending& p : queue_) {
        FrameReport r;
        r.cookie = p.cookie;
        r.buffer = p.data;
        r.capacity = p.capacity;
        r.aborted = true;
        finished->push_back(std::move(r));
    }
    queue_.clear();
}

AssemblerCounters BatchReceiver::assembler_counters() const {
    AssemblerCounters sum;
    sum.dropped = unplaced_;
    auto add = [&sum](const Frame& f) {
        const AssemblerCounters& c = f.assembler.counters();
        sum.packets += c.packets;
        sum.resent += c.resent;
        sum.duplicates += c.duplicates;
        sum.dropped += c.dropped;
        sum.error_status += c.error_status;
    };
    for (const auto& f : open_) add(*f);
    for (const auto& f : spare_) add(*f);
    return sum;
}

}  // namespace gvsp
