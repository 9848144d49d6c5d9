#include "resend_store.h"

#include <utility>

namespace ornsim {

void ResendStore::add(std::shared_ptr<const GvspBlock> block, size_t capacity) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (capacity == 0) {
        blocks_.clear();
        return;
    }
    blocks_.push_back(std::move(block));
    while (blocks_.size() > capacity) blocks_.pop_front();
}

std::shared_ptr<const GvspBlock> ResendStore::find(uint64_t wire_block_id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = blocks_.rbegin(); it != blocks_.rend(); ++it)
        if ((*it)->wire_block_id() == wire_block_id) return *it;
    return nullptr;
}

void ResendStore::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    blocks_.clear();
}

size_t ResendStore::size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return blocks_.size();
}

}  // namespace ornsim
