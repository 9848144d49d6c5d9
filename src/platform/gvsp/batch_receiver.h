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

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
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
    uint32_t packets_missing = 0;
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
    struct Pending {
        uint8_t* data = nullptr;
        size_t capacity = 0;
        void* cookie = nullptr;
    };

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
    // When the last datagram taken from the socket arrived, as the kernel
    // stamped it (CLOCK_REALTIME); false before the first, or where the
    // system keeps no such stamp.
    bool last_arrival(std::chrono::nanoseconds* since_epoch) const;

    void queue_buffer(uint8_t* data, size_t capacity, void* cookie);

    // What one receive() saw: whether `wake_fd` was readable, and how many
    // datagrams it took.
    struct Wake {
        bool woken = false;
        size_t datagrams = 0;
    };
    // Waits at most `timeout_ms` for the socket (or for `wake_fd` to become
    // readable, which returns at once), then drains it (a bounded number of
    // batches, none after the one that handed a frame over) and appends the
    // frames that finished. False on a socket error.
    bool receive(int timeout_ms, std::vector<FrameReport>* finished, int wake_fd = -1, Wake* wake = nullptr);
    // Sends `datagram` from the stream's socket (resend requests).
    bool send_to(uint32_t address, uint16_t port, const std::vector<uint8_t>& datagram) {
        return socket_.send_to(address, port, datagram.data(), datagram.size());
    }

    // The frames open, in the order they opened (the order they are handed
    // over in): each has its buffer and assembler, or (leader not yet
    // come) only the block id its packets carry. A leader of a newer block
    // opens a frame beside those open; a payload packet or trailer of a
    // block newer than any seen opens one without a leader, whose leader
    // the caller asks the device for. A frame ends when complete, when the
    // caller gives it up, or as the oldest when more than kMaxOpen would be
    // open; an ended frame is handed over once every older one has ended.
    static constexpr size_t kMaxOpen = 4;
    struct Frame {
        Pending buffer;
        FrameAssembler assembler;
        uint64_t block_id = 0;
        bool extended_ids = false;
        bool leader = false;                 // the assembler began on the leader
        uint32_t before_leader = 0;          // datagrams of the block that came before its leader
        uint32_t highest_before_leader = 0;  // their highest packet id
        bool refused = false;                // PACKET_UNAVAILABLE before the leader
        bool ended = false;
        FrameReport report;  // once ended
        explicit Frame(uint32_t packet_size) : assembler(packet_size) {}
    };
    const std::deque<std::unique_ptr<Frame>>& frames() const { return open_; }
    // Whether a frame is open (not yet ended).
    bool receiving() const;
    // The newest open frame with its leader (the fast path's), or null.
    const FrameAssembler* newest() const { return newest_ != nullptr ? &newest_->assembler : nullptr; }
    // What that frame lacks.
    std::vector<std::pair<uint32_t, uint32_t>> missing_ranges() const {
        return newest_ != nullptr ? newest_->assembler.missing_ranges() : std::vector<std::pair<uint32_t, uint32_t>>{};
    }
    // Gives up the open frame of `block_id`: reported as it stands.
    void fail(uint64_t block_id, std::vector<FrameReport>* finished);
    // Hands back every open frame and every queued buffer, aborted.
    void abort(std::vector<FrameReport>* finished);

    ReceiverCounters counters() const { return counters_; }
    // Of every frame's assembler, with the datagrams no open frame took as dropped.
    AssemblerCounters assembler_counters() const;

private:
    void aim(size_t i, uint32_t next_id);
    void route(const uint8_t* datagram, size_t size, std::vector<FrameReport>* finished);
    // Opens a frame for `h`'s block on the next queued buffer (the oldest
    // open frame ends first when kMaxOpen are); null when no buffer is queued.
    Frame* open_frame(const PacketHeader& h, std::vector<FrameReport>* finished);
    Frame* find(uint64_t block_id);
    bool newer_than_seen(const PacketHeader& h) const;
    void end(Frame* frame, std::vector<FrameReport>* finished);
    void hand_over(std::vector<FrameReport>* finished);
    void update_newest();
    void raise_receive_buffer(size_t burst_bytes);

    uint32_t packet_size_;
    wire::UdpSocket socket_;
    uint16_t port_ = 0;
    int rcvbuf_ = 0;
    std::mutex queue_mutex_;
    std::deque<Pending> queue_;
    std::deque<std::unique_ptr<Frame>> open_;
    std::vector<std::unique_ptr<Frame>> spare_;  // ended and handed over, for reuse
    Frame* newest_ = nullptr;                    // the newest open frame with its leader: the fast path's
    uint64_t last_ended_ = UINT64_MAX;           // the block of the frame that ended last
    bool seen_block_ = false;
    uint64_t newest_block_ = 0;  // of the newest leader or frame opened
    uint64_t unplaced_ = 0;      // datagrams of no open frame
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
