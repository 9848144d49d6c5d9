#include "platform/gvsp/batch_receiver.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/log.h"

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

BatchReceiver::BatchReceiver(uint32_t packet_size)
    : packet_size_(std::max<uint32_t>(packet_size, 576)), assembler_(packet_size) {
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

void BatchReceiver::aim(size_t i, uint32_t next_id) {
    Aim& a = aims_[i];
    uint8_t* spill = &spill_[i * spill_size_];
    size_t offset = 0, length = 0;
    a.packet_id = next_id;
    if (receiving() && assembler_.slot(next_id, &offset, &length)) {
        a.header_length = assembler_.payload_header_size();
        a.slot = current_.data + offset;
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
    for (int round = 0; round < kMaxBatchesPerWake; ++round) {
        // Slots for the packets expected next: after the highest in place.
        const uint32_t next = receiving() ? assembler_.highest_seen() + 1 : 1;
        // Without a frame in progress the next datagram should be a leader:
        // take it alone, so that the packets after it find their slots.
        const size_t batch = receiving() ? kBatch : 1;
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
                assembler_.accept_in_place(&headers_[i * kHeaderScratch], a.packet_id, size - a.header_length)) {
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
        for (const auto& [i, size] : staged) {
            ++counters_.moved;
            route(&stage_[i * stage_stride_], size, finished);
        }
        if (receiving() && assembler_.state() == FrameState::complete) finish(finished);
        if (static_cast<size_t>(got) < batch) break;
    }
    return true;
}

void BatchReceiver::route(const uint8_t* d, size_t size, std::vector<FrameReport>* finished) {
    PacketHeader h;
    if (!parse_packet_header(d, size, &h)) return;
    if (h.format == FORMAT_LEADER && h.status == 0 && !(receiving() && h.block_id == assembler_.block_id())) {
        if (!receiving() && h.block_id == last_block_) return;  // a resent leader of a finished frame
        if (receiving()) finish(finished);
        {
            std::lock_guard<std::mutex> lock(queue_mutex_);
            if (queue_.empty()) {
                ++counters_.no_buffer;
                assembler_.reset();
                return;
            }
            current_ = queue_.front();
            queue_.pop_front();
            in_frame_ = true;
        }
        const FrameState s = assembler_.begin(d, size, current_.data, current_.capacity);
        if (s != FrameState::receiving) finish(finished);
        return;
    }
    if (receiving()) assembler_.accept(d, size);
    if (receiving() && assembler_.state() == FrameState::complete) finish(finished);
}

void BatchReceiver::finish(std::vector<FrameReport>* finished) {
    FrameReport r;
    r.cookie = current_.cookie;
    r.buffer = current_.data;
    r.capacity = current_.capacity;
    r.state = assembler_.state() == FrameState::receiving ? FrameState::incomplete : assembler_.state();
    r.block_id = assembler_.block_id();
    r.timestamp = assembler_.timestamp();
    r.payload_type = assembler_.payload_type();
    r.payload_size = assembler_.received_bytes();
    r.parts = assembler_.parts();
    if (r.parts.size() == 1 && r.parts[0].size == 0) r.parts[0].size = r.payload_size;
    r.packets_missing = assembler_.missing_count();
    r.packets_resent = assembler_.resent_in_frame();
    (r.state == FrameState::complete ? counters_.frames_complete : counters_.frames_failed)++;
    finished->push_back(std::move(r));
    current_ = Pending{};
    in_frame_ = false;
    last_block_ = assembler_.block_id();
    assembler_.reset();
}

void BatchReceiver::fail_current(std::vector<FrameReport>* finished) {
    if (receiving()) finish(finished);
}

void BatchReceiver::abort(std::vector<FrameReport>* finished) {
    fail_current(finished);
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

}  // namespace gvsp
