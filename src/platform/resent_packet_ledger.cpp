#include "platform/resent_packet_ledger.h"

#include <limits>

namespace platform {

void ResentPacketLedger::FrameClosed(uint64_t block_id, uint64_t requested) {
    {
        std::lock_guard<std::mutex> guard(lock_);
        const uint64_t growth = requested >= requested_at_last_close_ ? requested - requested_at_last_close_ : 0;
        requested_at_last_close_ = requested;
        Entry& entry = entries_[next_];
        next_ = (next_ + 1) % kFrames;
        entry.block_id = block_id;
        entry.packets = growth > std::numeric_limits<uint32_t>::max() ? std::numeric_limits<uint32_t>::max()
                                                                      : static_cast<uint32_t>(growth);
        entry.used = true;
    }
    recorded_.notify_all();
}

bool ResentPacketLedger::FindLocked(uint64_t block_id, uint32_t* packets) const {
    for (size_t age = 1; age <= kFrames; ++age) {  // the newest first
        const Entry& entry = entries_[(next_ + kFrames - age) % kFrames];
        if (entry.used && entry.block_id == block_id) {
            *packets = entry.packets;
            return true;
        }
    }
    return false;
}

bool ResentPacketLedger::Find(uint64_t block_id, std::chrono::milliseconds wait, uint32_t* packets) {
    std::unique_lock<std::mutex> guard(lock_);
    return recorded_.wait_for(guard, wait, [&] { return FindLocked(block_id, packets); });
}

void ResentPacketLedger::Forget() {
    std::lock_guard<std::mutex> guard(lock_);
    entries_.fill(Entry{});
}

}  // namespace platform
