// 200 connect/disconnect cycles in one process leave nothing behind: no
// thread, no open file descriptor, no memory (LeakSanitizer checks the
// last in the address-sanitizer build; the plain build compares the heap
// in use).
#include <dirent.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <string>

#include "ORNC.h"
#include "camera_test_support.h"

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
// settle within the first cycles.
constexpr int kWarmUpCycles = 10;

int count_entries(const char* directory) {
    DIR* dir = ::opendir(directory);
    if (dir == nullptr) return -1;
    int count = 0;
    while (const dirent* entry = ::readdir(dir)) {
        if (entry->d_name[0] != '.') ++count;
    }
    ::closedir(dir);
    return count;
}

size_t heap_in_use() { return mallinfo2().uordblks; }

TEST(ConnectCycles, LeaveNoThreadFileDescriptorOrMemoryBehind) {
    orntest::TempWorkDir workdir;
    camtest::SensorScope sensor(camtest::sensor_config(40, "CY000040"));
    ASSERT_TRUE(sensor.ok()) << sensor.error();
    orntest::SystemScope system;
    ASSERT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);
    const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&system.sys, "CY000040");
    ASSERT_NE(device, nullptr);

    auto cycle = [&](int i) {
        ornc_t ornc{nullptr};
        ASSERT_EQ(ORNCInit(&ornc), ORNC_OK);
        ASSERT_EQ(ORNCConnectByDevice(&ornc, device), ORNC_OK) << "cycle " << i;
        int width = 0;
        ASSERT_EQ(ORNCParamGetIntegerValue(ORNCParamsGetParamByName(ORNCGetDeviceParams(&ornc), "Width"), &width),
                  ORNC_OK);
        EXPECT_EQ(width, 640);
        ASSERT_EQ(ORNCGetComponentCount(&ornc), 4);
        ASSERT_EQ(ORNCDisconnect(&ornc), ORNC_OK);
        ORNCDestroy(&ornc);
    };
    for (int i = 0; i < kWarmUpCycles; ++i) {
        ASSERT_NO_FATAL_FAILURE(cycle(i));
    }
    const int threads = count_entries("/proc/self/task");
    const int fds = count_entries("/proc/self/fd");
    [[maybe_unused]] const size_t heap = heap_in_use();  // unused under ASan, whose allocator this cannot see
    for (int i = kWarmUpCycles; i < kCycles; ++i) {
        ASSERT_NO_FATAL_FAILURE(cycle(i));
    }
    EXPECT_EQ(count_entries("/proc/self/task"), threads);
    EXPECT_EQ(count_entries("/proc/self/fd"), fds);
#ifndef ORNC_TEST_ASAN
    // A leak of even one small block per cycle would show as 190 blocks.
    EXPECT_LT(heap_in_use(), heap + 64 * 1024) << "heap grew from " << heap << " to " << heap_in_use();
#endif
}

}  // namespace
