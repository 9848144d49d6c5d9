#include "platform/stream_receiver.h"

#include <thread>

namespace platform {

namespace {
constexpr std::chrono::milliseconds kDrainQuiet{10};
constexpr std::chrono::milliseconds kDrainBound{250};
constexpr std::chrono::milliseconds kDrainPoll{2};
}  // namespace

void wait_until_quiet(const std::function<uint64_t()>& datagrams) {
    const auto start = std::chrono::steady_clock::now();
    auto quiet_since = start;
    uint64_t received = datagrams();
    for (;;) {
        std::this_thread::sleep_for(kDrainPoll);
        const auto now = std::chrono::steady_clock::now();
        const uint64_t count = datagrams();
        if (count != received) {
            received = count;
            quiet_since = now;
        } else if (now - quiet_since >= kDrainQuiet) {
            return;
        }
        if (now - start >= kDrainBound) {
            return;
        }
    }
}

}  // namespace platform
