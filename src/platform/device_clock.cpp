#include "platform/device_clock.h"

#include <ctime>

namespace platform {

namespace {

constexpr uint64_t kNsPerSecond = 1000000000u;
// Products of a remainder and a frequency need more than 64 bits.
__extension__ typedef unsigned __int128 Wide;

// a * b / c without overflow for a < c (the remainders below).
uint64_t scale_remainder(uint64_t a, uint64_t b, uint64_t c) {
    return static_cast<uint64_t>(static_cast<Wide>(a) * b / c);
}

}  // namespace

uint64_t ticks_to_ns(uint64_t ticks, uint64_t tick_frequency) {
    if (tick_frequency == 0) {
        return 0;
    }
    return ticks / tick_frequency * kNsPerSecond +
           scale_remainder(ticks % tick_frequency, kNsPerSecond, tick_frequency);
}

// ticks_to_ns floors the fraction of a second, so the remainder in ticks
// is the smallest one whose nanoseconds reach the remainder in ns.
uint64_t ns_to_ticks(uint64_t ns, uint64_t tick_frequency) {
    if (tick_frequency == 0) {
        return 0;
    }
    const uint64_t remainder_ns = ns % kNsPerSecond;
    const Wide scaled = static_cast<Wide>(remainder_ns) * tick_frequency;
    const uint64_t remainder_ticks = static_cast<uint64_t>((scaled + kNsPerSecond - 1) / kNsPerSecond);
    return ns / kNsPerSecond * tick_frequency + remainder_ticks;
}

int64_t host_realtime_ns() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * static_cast<int64_t>(kNsPerSecond) + now.tv_nsec;
}

}  // namespace platform
