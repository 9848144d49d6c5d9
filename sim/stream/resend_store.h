// The last N blocks sent, kept so that packet-resend requests can regenerate
// any of their packets. Thread-safe: the acquisition thread adds blocks while
// the control thread looks them up.
#ifndef ORNSIM_STREAM_RESEND_STORE_H
#define ORNSIM_STREAM_RESEND_STORE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "gvsp_block.h"

namespace ornsim {

class ResendStore {
public:
    // Keeps `block` (shared with whoever is still sending it) and forgets the
    // oldest blocks beyond `capacity`. A capacity of 0 keeps nothing.
    void add(std::shared_ptr<const GvspBlock> block, size_t capacity);

    // The newest stored block whose on-wire id is `wire_block_id`, or null.
    std::shared_ptr<const GvspBlock> find(uint64_t wire_block_id) const;

    void clear();
    size_t size() const;

private:
    mutable std::mutex mutex_;
    std::deque<std::shared_ptr<const GvspBlock>> blocks_;  // oldest first
};

}  // namespace ornsim

#endif  // ORNSIM_STREAM_RESEND_STORE_H
