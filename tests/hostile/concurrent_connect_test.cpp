// Several application threads connecting to several sensors at the same
// moment, over and over. Each connect parses the device's description;
// parses that overlap must not write into each other's node trees (they
// did: nodes of one device ended up in another's document and lookups
// crashed), so every handle sees its own complete parameter set.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "environment.h"
#include "handles.h"
#include "loopback.h"
#include "ornsim/virtual_sensor.h"
#include "sensor.h"

namespace {

constexpr int kSensors = 4;
constexpr int kRounds = 8;

TEST(ConcurrentConnect, EveryThreadGetsItsOwnWholeDevice) {
    orntest::SensorFleet sensors;
    for (int i = 0; i < kSensors; ++i) {
        // The width tells the devices apart.
        ASSERT_EQ(sensors.add(orntest::sensor_config(orntest::Block::hostile, 21 + i, "PARALLEL" + std::to_string(i),
                                                     320 + 16 * static_cast<uint32_t>(i))),
                  "");
    }
    orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", "127.0.70.21-127.0.70.24");
    orntest::SystemScope system;
    ASSERT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);

    // A reference handle tells how many parameters a whole device has.
    int whole = 0;
    {
        orntest::Handle reference;
        ASSERT_EQ(ORNCConnectBySerialNumber(reference.get(), &system.sys, "PARALLEL0"), ORNC_OK);
        whole = ORNCGetDeviceParamsCount(reference.get());
    }
    ASSERT_GT(whole, 50);

    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kSensors; ++i) {
        threads.emplace_back([&, i] {
            const std::string serial = "PARALLEL" + std::to_string(i);
            for (int round = 0; round < kRounds; ++round) {
                ornc_t ornc{nullptr};
                ORNCInit(&ornc);
                bool ok = ORNCConnectBySerialNumber(&ornc, &system.sys, serial.c_str()) == ORNC_OK;
                ok = ok && ORNCGetDeviceParamsCount(&ornc) == whole;
                int width = 0;
                ok = ok && ORNCParamGetIntegerValue(ORNCParamsGetParamByName(ORNCGetDeviceParams(&ornc), "SensorWidth"),
                                                    &width) == ORNC_OK;
                ok = ok && width == 320 + 16 * i;
                ok = ok && ORNCGetComponentCount(&ornc) == 4;
                ok = ok && ORNCDisconnect(&ornc) == ORNC_OK;
                ORNCDestroy(&ornc);
                if (!ok) {
                    std::fprintf(stderr, "%s round %d: incomplete or wrong device\n", serial.c_str(), round);
                    ++failures;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
}

}  // namespace
