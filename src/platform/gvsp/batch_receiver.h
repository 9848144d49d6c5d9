// The receiving end of one stream channel: one UDP socket, datagrams taken
// in batches (recvmmsg), each payload packet's bytes scattered by the
// kernel straight into their place in the frame buffer.
//
// Per datagram, the header goes into a small scratch area and the payload
// into the slot of the packet expected next (FrameAssembler::slot). A
// datagram that turns out to belong elsewhere (a leader, a trailer, another
// block, a resend out of order) is gathered once into a staging copy and
// placed from there; the counters tell the fast path from that slow one.
//
// Ownership: buffers passed to queue_buffer stay the caller's; the receiver
// writes into a buffer from the moment it is queued until it comes back in
// a FrameReport (finished, failed or aborted). Threading: queue_buffer may be
// called from any thread; everything else belongs to the one receiving
// thread.
#pragma once

#include <sys/socket.h>
#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/gvsp/frame_assembler.h"
#include "wire/gvsp_layout.h"
#include "wire/udp_socket.h"

namespace gvsp {

struct FrameReport {
    void* cookie = nullptr;  // as passed to queue_buffer
    uint8_t* buffer = nullptr;
    size_t capacity = 0;
    bool aborted = false;                 // handed back unused by abort()
    FrameState state = FrameState::idle;  // complete, or why the frame failed
    uint64_t block_id = 0, timestamp = 0;
    uint16_t payload_type = 0;
    uint64_t payload_size = 0;  // bytes placed in the buffer
    std::vector<PartLayout> parts;
    uint32_t packets_missing = 0, packets_resent = 0;
};

struct ReceiverCounters {
    uint64_t datagrams = 0;
    uint64_t batches = 0;
    uint64_t in_place = 0;   // payload packets the kernel wrote into their slot
    uint64_t moved = 0;      // datagrams placed from a staging copy (slow path)
    uint64_t truncated = 0;  // larger than a datagram of this stream can be: dropped
    uint64_t no_buffer = 0;  // leaders that found no queued buffer
    uint64_t frames_complete = 0, frames_failed = 0;
};

class BatchReceiver {
public:
    static constexpr size_t kBatch = 32;

    // `packet_size`: the stream's packet size as the device is told it.
    explicit BatchReceiver(uint32_t packet_size);
    BatchReceiver(const BatchReceiver&) = delete;
    BatchReceiver& operator=(const BatchReceiver&) = delete;

    // Binds the socket (port 0: ephemeral) and raises its receive buffer as
    // far as the system allows; logs once when that is below `burst_bytes`.
    bool open(uint32_t local_address, uint16_t local_port, size_t burst_bytes, std::string* error);
    uint16_t port() const { return port_; }
    int receive_buffer_bytes() const { return rcvbuf_; }

    void queue_buffer(uint8_t* data, size_t capacity, void* cookie);

    // What one receive() saw: whether `wake_fd` was readable, and how many
    // datagrams it took.
    struct Wake {
        bool woken = false;
        size_t datagrams = 0;
    };
    // Waits at most `timeout_ms` for the socket (or for `wake_fd` to become
    // readable, which returns at once), then drains it (a bounded number of
    // batches) and appends the frames that finished. False on a socket
    // error.
    bool receive(int timeout_ms, std::vector<FrameReport>* finished, int wake_fd = -1, Wake* wake = nullptr);
    // Sends `datagram` from the stream's socket (resend requests).
    bool send_to(uint32_t address, uint16_t port, const std::vector<uint8_t>& datagram) {
        return socket_.send_to(address, port, datagram.data(), datagram.size());
    }

    // The frame in progress: its block id and the packets it still lacks.
    bool receiving() const { return in_frame_; }
    uint64_t current_block_id() const { return assembler_.block_id(); }
    std::vector<std::pair<uint32_t, uint32_t>> missing_ranges() const { return assembler_.missing_ranges(); }
    // Its assembler (meaningful while receiving()).
    const FrameAssembler& frame() const { return assembler_; }
    // Gives up the frame in progress (a time-out): reported as it stands.
    void fail_current(std::vector<FrameReport>* finished);
    // Hands back the frame in progress and every queued buffer, aborted.
    void abort(std::vector<FrameReport>* finished);

    ReceiverCounters counters() const { return counters_; }
    const AssemblerCounters& assembler_counters() const { return assembler_.counters(); }

private:
    struct Pending {
        uint8_t* data = nullptr;
        size_t capacity = 0;
        void* cookie = nullptr;
    };
    void aim(size_t i, uint32_t next_id);
    void route(const uint8_t* datagram, size_t size, std::vector<FrameReport>* finished);
    void finish(std::vector<FrameReport>* finished);
    void raise_receive_buffer(size_t burst_bytes);

    uint32_t packet_size_;
    wire::UdpSocket socket_;
    uint16_t port_ = 0;
    int rcvbuf_ = 0;
    std::mutex queue_mutex_;
    std::deque<Pending> queue_;
    Pending current_;
    bool in_frame_ = false;
    uint64_t last_block_ = UINT64_MAX;  // of the frame reported last
    FrameAssembler assembler_;
    ReceiverCounters counters_;
    // Per datagram of a batch: header scratch, spill area, and what iov[1] pointed at.
    static constexpr size_t kHeaderScratch = kExtHeaderSize + kMultipartDataHeaderSize;
    std::vector<uint8_t> headers_;
    std::vector<uint8_t> spill_;
    size_t spill_size_ = 0;
    std::vector<uint8_t> stage_;  // a whole copy of each misplaced datagram of a batch
    size_t stage_stride_ = 0;
    struct Aim {
        uint32_t packet_id;
        uint8_t* slot;
        size_t slot_length;
        size_t header_length;
    };
    Aim aims_[kBatch];
    struct iovec iov_[kBatch][3];
    struct mmsghdr msgs_[kBatch];
};

}  // namespace gvsp
