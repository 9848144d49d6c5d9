// The device's timestamp clock against the host's CLOCK_REALTIME.
//
// A device stamps each frame's leader in ticks of its own clock. The
// receiver turns the stamp into nanoseconds with the device's tick
// frequency (ticks_to_ns); the host learns where the device clock stands
// by latching it over the control channel between two readings of its own
// clock (PvDeviceGEV::MapClock).
#pragma once

#include <cstdint>

namespace platform {

struct DeviceClockMap {
    uint64_t tick_frequency = 0;  // ticks per second, 0 when the device gives none
    bool mapped = false;          // the fields below hold a latch's result
    int64_t offset_ns = 0;        // host CLOCK_REALTIME = device nanoseconds + offset_ns
    int64_t half_width_ns = 0;    // the offset is known to within this much
};

// `ticks` in nanoseconds, as the receiver converts a leader's stamp; 0
// for a frequency of 0.
uint64_t ticks_to_ns(uint64_t ticks, uint64_t tick_frequency);
// The ticks that ticks_to_ns turned into `ns` (exact for frequencies up to
// 1 GHz, where each tick is at least a nanosecond); 0 for a frequency of 0.
uint64_t ns_to_ticks(uint64_t ns, uint64_t tick_frequency);

// The host's CLOCK_REALTIME in nanoseconds.
int64_t host_realtime_ns();

}  // namespace platform
