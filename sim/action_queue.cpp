#include "action_queue.h"

#include <algorithm>
#include <chrono>

namespace ornsim {
namespace {
// The longest sleep between two looks at the clock: the device clock may be
// switched (PTP on or off) while an entry waits.
constexpr uint64_t kLongestWaitNs = 100000000;
}  // namespace

ActionQueue::ActionQueue(size_t capacity, Clock clock, Fire fire)
    : capacity_(capacity), clock_(std::move(clock)), fire_(std::move(fire)), thread_(&ActionQueue::run, this) {}

ActionQueue::~ActionQueue() {
    std::unique_lock<std::mutex> lock(mutex_);
    quit_ = true;
    lock.unlock();
    wake_.notify_all();
    thread_.join();
}

bool ActionQueue::push(uint32_t signals, uint64_t time) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (pending_.size() >= capacity_) return false;
        pending_.emplace(time, signals);
    }
    wake_.notify_all();
    return true;
}

void ActionQueue::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.clear();
}

void ActionQueue::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!quit_) {
        uint64_t wait_ns = kLongestWaitNs;
        if (!pending_.empty()) {
            const auto first = pending_.begin();
            const uint64_t now = clock_();
            if (first->first <= now) {
                const uint64_t time = first->first;
                const uint32_t signals = first->second;
                pending_.erase(first);
                lock.unlock();
                fire_(signals, time);
                lock.lock();
                continue;
            }
            wait_ns = std::min(first->first - now, kLongestWaitNs);
        }
        wake_.wait_for(lock, std::chrono::nanoseconds(wait_ns));
    }
}

}  // namespace ornsim
