// Repetition: 100 acquisition start/stop cycles on one connection and 100
// connect/acquire/disconnect cycles leave no thread and no descriptor
// behind, and every cycle still delivers. Built with ThreadSanitizer
// (-DORNC_SANITIZE=thread) this also runs the delivery path under the
// race detector.
#include <gtest/gtest.h>

#include <chrono>

#include "ORNC.h"
#include "acquisition_test_support.h"
#include "process_probes.h"

namespace {

using namespace std::chrono_literals;

constexpr int kCycles = 100;
constexpr int kWarmUpCycles = 5;

TEST(Cycles, StartAndStopOnOneConnection) {
    camtest::SensorScope sensor(acqtest::sensor_config(51, "AQ000051", 128, 96, 50.0));
    ASSERT_TRUE(sensor.ok()) << sensor.error();
    acqtest::Connection connection("AQ000051");
    ASSERT_EQ(connection.status(), ORNC_OK);
    acqtest::Recorder recorder;
    recorder.attach(connection.get());
    int threads = 0;
    int fds = 0;
    for (int i = 0; i < kCycles; ++i) {
        if (i == kWarmUpCycles) {
            threads = orntest::thread_count();
            fds = orntest::descriptor_count();
        }
        const int before = recorder.frames();
        ASSERT_EQ(ORNCStart(connection.get()), ORNC_OK) << "cycle " << i;
        ASSERT_EQ(ORNCAcquisitionStartMode(connection.get(), 0, 0), ORNC_OK) << "cycle " << i;
        ASSERT_TRUE(recorder.wait_frames(before + 1, 5s)) << "cycle " << i;
        ASSERT_EQ(ORNCAcquisitionStop(connection.get()), ORNC_OK) << "cycle " << i;
        ASSERT_EQ(ORNCStop(connection.get()), ORNC_OK) << "cycle " << i;
    }
    // The last worker ends within one pass of its stop.
    EXPECT_TRUE(acqtest::wait_until([&] { return orntest::thread_count() <= threads; }, 2s))
        << orntest::thread_count() << " threads, " << threads << " before";
    EXPECT_EQ(orntest::descriptor_count(), fds);
    EXPECT_EQ(recorder.null_calls(), 0);
}

TEST(Cycles, ConnectAcquireDisconnect) {
    camtest::SensorScope sensor(acqtest::sensor_config(52, "AQ000052", 128, 96, 50.0));
    ASSERT_TRUE(sensor.ok()) << sensor.error();
    int threads = 0;
    int fds = 0;
    for (int i = 0; i < kCycles; ++i) {
        if (i == kWarmUpCycles) {
            threads = orntest::thread_count();
            fds = orntest::descriptor_count();
        }
        acqtest::Recorder recorder;
        ornc_t ornc{nullptr};
        ASSERT_EQ(ORNCInit(&ornc), ORNC_OK);
        ASSERT_EQ(ORNCConnectBySerialNumber(&ornc, nullptr, "AQ000052"), ORNC_OK) << "cycle " << i;
        recorder.attach(&ornc);
        ASSERT_EQ(ORNCStart(&ornc), ORNC_OK);
        ASSERT_EQ(ORNCAcquisitionStartMode(&ornc, 0, 0), ORNC_OK) << "cycle " << i;
        ASSERT_TRUE(recorder.wait_frames(1, 5s)) << "cycle " << i;
        // Disconnect while acquiring: it stops the worker before the
        // stream and its buffers go.
        ASSERT_EQ(ORNCDisconnect(&ornc), ORNC_OK);
        ORNCDestroy(&ornc);
    }
    EXPECT_TRUE(acqtest::wait_until([&] { return orntest::thread_count() <= threads; }, 2s))
        << orntest::thread_count() << " threads, " << threads << " before";
    EXPECT_EQ(orntest::descriptor_count(), fds);
}

}  // namespace
