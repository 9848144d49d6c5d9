// Mapping a GigE Vision device's timestamp clock onto the host's clock
// through the bootstrap timestamp registers, which every device has
// whatever its description file says.
#include <arv.h>

#include <mutex>

#include "platform/PvDeviceGEV.h"
#include "platform/PvGenParameterArray.h"
#include "platform/aravis_result.h"
#include "wire/gvcp_layout.h"

namespace {

// Latches taken; the one with the shortest round trip is kept.
constexpr int kLatchRounds = 3;

bool read_register_pair(ArvDevice* device, uint32_t high_address, uint32_t low_address, uint64_t* value,
                        GError** error) {
    guint32 high = 0;
    guint32 low = 0;
    if (!arv_device_read_register(device, high_address, &high, error) ||
        !arv_device_read_register(device, low_address, &low, error)) {
        return false;
    }
    *value = (static_cast<uint64_t>(high) << 32) | low;
    return true;
}

}  // namespace

PvResult PvDeviceGEV::ReadTickFrequencyLocked(uint64_t* frequency) {
    *frequency = 0;
    GError* error = nullptr;
    if (!read_register_pair(GetArvDevice(), gvcp::REG_TIMESTAMP_TICK_FREQUENCY_HIGH,
                            gvcp::REG_TIMESTAMP_TICK_FREQUENCY_LOW, frequency, &error)) {
        return platform::take_error(error);
    }
    return PvResult::OK;
}

PvResult PvDeviceGEV::MapClock(platform::DeviceClockMap* map) {
    if (map == nullptr) {
        return PvResult(PvResult::INVALID_PARAMETER, "no clock map to fill");
    }
    *map = platform::DeviceClockMap{};
    if (!IsConnected()) {
        return PvResult(PvResult::NOT_CONNECTED, "the device is not connected");
    }
    std::lock_guard<std::mutex> guard(GetParameters()->GetLock());
    ArvDevice* device = GetArvDevice();
    GError* error = nullptr;
    uint64_t frequency = 0;
    const PvResult read = ReadTickFrequencyLocked(&frequency);
    if (read.IsFailure()) {
        return read;
    }
    if (frequency == 0) {
        return PvResult(PvResult::NOT_SUPPORTED, "the device gives no timestamp tick frequency");
    }
    map->tick_frequency = frequency;
    int64_t best_round_trip = INT64_MAX;
    uint64_t first_latch = 0;
    uint64_t last_latch = 0;
    for (int round = 0; round < kLatchRounds; ++round) {
        const int64_t before = platform::host_realtime_ns();
        if (!arv_device_write_register(device, gvcp::REG_TIMESTAMP_CONTROL, gvcp::TIMESTAMP_CONTROL_LATCH, &error)) {
            return platform::take_error(error);
        }
        const int64_t after = platform::host_realtime_ns();
        uint64_t latched = 0;
        if (!read_register_pair(device, gvcp::REG_TIMESTAMP_VALUE_HIGH, gvcp::REG_TIMESTAMP_VALUE_LOW, &latched,
                                &error)) {
            return platform::take_error(error);
        }
        first_latch = round == 0 ? latched : first_latch;
        last_latch = latched;
        // The device latched while it handled the write: between the two
        // readings of the host clock.
        if (after - before < best_round_trip) {
            best_round_trip = after - before;
            map->offset_ns =
                before + (after - before) / 2 - static_cast<int64_t>(platform::ticks_to_ns(latched, frequency));
            map->half_width_ns = (after - before + 1) / 2;
        }
    }
    // A device that accepts the write but keeps no latched value reads the
    // same (usually 0) every time, although its clock runs.
    if (last_latch == first_latch) {
        map->offset_ns = 0;
        map->half_width_ns = 0;
        return PvResult(PvResult::NOT_SUPPORTED, "the device's timestamp latch does not move");
    }
    map->mapped = true;
    return PvResult::OK;
}
