// How many packets the receiver asked for again for each recently closed
// frame, so that a delivered frame can say how many of its packets came by
// resend.
//
// Aravis counts the packets it asks for again over the whole stream, and
// tells of a closed frame only after it has handed the frame over. The
// ledger therefore takes the count each time a frame closes (on the
// receiving thread) and keeps the growth since the previous close under
// the frame's block id; a reader that is quicker than that thread waits
// for the entry, briefly. Frames close in the order they started, and a
// frame asks for its packets before it closes, so the growth belongs to
// the closing frame, except for a request a later, overlapping frame made
// meanwhile.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace platform {

class ResentPacketLedger {
public:
    // Frame `block_id` has closed; `requested` is the receiver's running
    // count of packets asked for again.
    void FrameClosed(uint64_t block_id, uint64_t requested);
    // The packets asked for again for frame `block_id`, waiting up to
    // `wait` for it to be recorded. False when it is not (an old frame, or
    // a receiving thread that did not come in time).
    bool Find(uint64_t block_id, std::chrono::milliseconds wait, uint32_t* packets);
    // Forgets every frame: after an abort the device may count its block
    // ids from the start again.
    void Forget();

private:
    struct Entry {
        uint64_t block_id = 0;
        uint32_t packets = 0;
        bool used = false;
    };
    // More than the buffers a stream may hold, so a delivered frame's
    // entry is still there.
    static constexpr size_t kFrames = 128;

    bool FindLocked(uint64_t block_id, uint32_t* packets) const;

    std::mutex lock_;
    std::condition_variable recorded_;
    std::array<Entry, kFrames> entries_{};
    size_t next_ = 0;
    uint64_t requested_at_last_close_ = 0;
};

}  // namespace platform
