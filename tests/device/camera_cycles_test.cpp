// 200 connect/disconnect cycles in one process leave no memory behind
// (LeakSanitizer checks in the address-sanitizer build; the plain build
// compares the heap in use). Threads and descriptors over connect cycles
// are counted by acquisition_cycles_test.
#include <gtest/gtest.h>
#include <malloc.h>

#include <string>

#include "ORNC.h"
#include "handles.h"
#include "sensor.h"
#include "temp_dir.h"
#include "test_genicam.h"

#if defined(__SANITIZE_ADDRESS__)
#define ORNC_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORNC_TEST_ASAN 1
#endif
#endif

namespace {

constexpr int kCycles = 200;
// One-time allocations of Aravis and GLib (type registrations, caches)
// and the allocator's own arenas settle within the first few dozen
// cycles (after 10 the heap still grew by some 70 kB over the next 190).
constexpr int kWarmUpCycles = 50;

size_t heap_in_use() { return mallinfo2().uordblks; }

TEST(ConnectCycles, LeaveNoMemoryBehind) {
    orntest::TempWorkDir workdir;
    orntest::SensorScope sensor(orntest::sensor_config(orntest::Block::camera, 40, "CY000040"));
    ASSERT_TRUE(sensor.ok()) << sensor.error();
    orntest::SystemScope system;
    ASSERT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);
    const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&system.sys, "CY000040");
    ASSERT_NE(device, nullptr);

    auto cycle = [&](int i) {
        orntest::Handle handle;  // destroyed at the end of the cycle
        ASSERT_EQ(ORNCConnectByDevice(handle.get(), device), ORNC_OK) << "cycle " << i;
        EXPECT_EQ(orntest::value_text(handle.param("Width")), "640");
        ASSERT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
    };
    for (int i = 0; i < kWarmUpCycles; ++i) {
        ASSERT_NO_FATAL_FAILURE(cycle(i));
    }
    [[maybe_unused]] const size_t heap = heap_in_use();  // unused under ASan, whose allocator this cannot see
    for (int i = kWarmUpCycles; i < kCycles; ++i) {
        ASSERT_NO_FATAL_FAILURE(cycle(i));
    }
#ifndef ORNC_TEST_ASAN
    // A leak of even one small block per cycle would show as 190 blocks.
    EXPECT_LT(heap_in_use(), heap + 64 * 1024) << "heap grew from " << heap << " to " << heap_in_use();
#endif
}

}  // namespace
