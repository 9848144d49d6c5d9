// The device's queue of scheduled actions: each entry holds the action
// signals to fire and the device time to fire them at. Its own thread fires
// every entry when the device clock reaches its time, earliest first.
//
// Thread-safe. The queue owns its thread from construction to destruction;
// Fire is called on that thread, without the queue's lock held.
#ifndef ORNSIM_ACTION_QUEUE_H
#define ORNSIM_ACTION_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace ornsim {

class ActionQueue {
public:
    using Clock = std::function<uint64_t()>;  // device time, ns
    using Fire = std::function<void(uint32_t signals, uint64_t time)>;

    ActionQueue(size_t capacity, Clock clock, Fire fire);
    ~ActionQueue();
    ActionQueue(const ActionQueue&) = delete;
    ActionQueue& operator=(const ActionQueue&) = delete;

    // False, with nothing queued, when `capacity` entries wait already.
    bool push(uint32_t signals, uint64_t time);
    void clear();

private:
    void run();

    const size_t capacity_;
    Clock clock_;
    Fire fire_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool quit_ = false;
    std::multimap<uint64_t, uint32_t> pending_;  // time -> signals
    std::thread thread_;                         // last: starts once the rest is built
};

}  // namespace ornsim

#endif  // ORNSIM_ACTION_QUEUE_H
