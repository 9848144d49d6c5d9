// Repetition: 100 acquisition start/stop cycles on one connection and 100
// connect/acquire/disconnect cycles leave no thread and no descriptor
// behind, and every cycle still delivers. Built with ThreadSanitizer
// (-DORNC_SANITIZE=thread) this also runs the delivery path under the
// race detector.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "ORNC.h"
#include "acquisition_test_support.h"
#include "process_probes.h"

namespace {

using namespace std::chrono_literals;
using Cycles = acqtest::SensorTest;

constexpr int kCycles = 100;
constexpr int kWarmUpCycles = 5;

// Runs `cycle` kCycles times; the threads and descriptors counted after
// the warm-up are all that is left once the last worker has ended (within
// one pass of its stop).
void expect_cycles_leave_nothing_behind(const std::function<void(int)>& cycle) {
    int threads = 0;
    int fds = 0;
    for (int i = 0; i < kCycles; ++i) {
        if (i == kWarmUpCycles) {
            threads = orntest::thread_count();
            fds = orntest::descriptor_count();
        }
        ASSERT_NO_FATAL_FAILURE(cycle(i)) << "cycle " << i;
    }
    EXPECT_TRUE(acqtest::wait_until([&] { return orntest::thread_count() <= threads; }, 2s))
        << orntest::thread_count() << " threads, " << threads << " before";
    EXPECT_EQ(orntest::descriptor_count(), fds);
}

TEST_F(Cycles, StartAndStopOnOneConnection) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(51, "AQ000051", 128, 96, 50.0)));
    acqtest::Recorder recorder;
    recorder.attach(connection_->get());
    expect_cycles_leave_nothing_behind([&](int) {
        const int before = recorder.frames();
        ASSERT_EQ(acqtest::start(connection_->get(), 0, 0), ORNC_OK);
        ASSERT_TRUE(recorder.wait_frames(before + 1, 5s));
        ASSERT_EQ(acqtest::stop(connection_->get()), ORNC_OK);
    });
    EXPECT_EQ(recorder.null_calls(), 0);
}

TEST_F(Cycles, ConnectAcquireDisconnect) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(52, "AQ000052", 128, 96, 50.0), false));
    expect_cycles_leave_nothing_behind([&](int) {
        acqtest::Recorder recorder;  // outlives the handle's callbacks
        orntest::Handle handle;      // destroyed at the end of the cycle
        ASSERT_EQ(ORNCConnectBySerialNumber(handle.get(), nullptr, "AQ000052"), ORNC_OK);
        recorder.attach(handle.get());
        ASSERT_EQ(acqtest::start(handle.get(), 0, 0), ORNC_OK);
        ASSERT_TRUE(recorder.wait_frames(1, 5s)) << recorder.null_calls() << " failed transfers";
        // Disconnect while acquiring: it stops the worker before the
        // stream and its buffers go.
        ASSERT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
    });
}

}  // namespace
