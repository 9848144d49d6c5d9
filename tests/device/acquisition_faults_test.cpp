// Acquisition when the network misbehaves: stream packet loss that
// resends repair (every frame still delivered), the lost tail of a single
// triggered frame asked for again, a refused resend failing its frame at
// once, triggered sensors under CPU load, and a sensor that goes silent
// (the disconnect callback fires once; parameter access fails,
// ORNCDisconnect returns in bounded time, and the sensor works again once
// it answers).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "acquisition_test_support.h"

namespace {

using namespace std::chrono_literals;
using Faults = acqtest::SensorTest;
using Clock = std::chrono::steady_clock;

// Frames of a MultiFrame acquisition: the device sends exactly these.
constexpr int kLossFrames = 30;

TEST_F(Faults, OnePercentPacketLossStillDeliversEveryFrameThroughResends) {
    // 320 x 240 multipart frames (about 370 KB, some 50 packets each).
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(31, "AQ000031", 320, 240, 15.0)));
    acqtest::Recorder recorder;
    recorder.attach(connection_->get());
    ASSERT_EQ(connection_->set_enum("AcquisitionMode", "MultiFrame"), ORNC_OK);
    ASSERT_EQ(connection_->set_int("AcquisitionFrameCount", kLossFrames), ORNC_OK);
    ornsim::FaultSwitches faults;
    faults.stream_loss_ratio = 0.01;
    sensor().set_faults(faults);

    ASSERT_EQ(acqtest::start(connection_->get(), -1, -1), ORNC_OK);  // the device's MultiFrame
    const bool all = recorder.wait_frames(kLossFrames, 30s);
    // A few more passes: nothing beyond what was sent may arrive.
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(acqtest::stop(connection_->get()), ORNC_OK);

    const ornsim::SensorCounters counters = sensor().counters();
    EXPECT_TRUE(all);
    EXPECT_EQ(counters.frames_sent, static_cast<uint64_t>(kLossFrames));
    EXPECT_EQ(recorder.frames(), kLossFrames);
    EXPECT_EQ(recorder.null_calls(), 0);
    EXPECT_GT(counters.packets_dropped, 0u) << "the loss switch dropped nothing: the test proves nothing";
    EXPECT_GE(counters.packets_resent, counters.packets_dropped);
    // Every delivered frame is whole: its contents match the scene.
    for (const auto& parts : recorder.vectors()) EXPECT_EQ(acqtest::whole_frame(parts, 320, 240), "");
}

// A software trigger that reached the device. Under load the frame can be
// delivered before the call marks the trigger pending, which then stays
// marked: the next call says busy, although its command went out too.
ornc_status_t trigger(ornc_t* ornc) {
    const ornc_status_t status = ORNCTriggerSoftware(ornc);
    return status == ORNC_ERR_ACQUI_BUSY ? ORNC_OK : status;
}

TEST_F(Faults, ATriggeredFrameGetsItsLostTailAgainAndARefusedResendFailsItAtOnce) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(34, "AQ000034", 160, 120)));
    acqtest::Recorder recorder;
    recorder.attach(connection_->get());
    ornsim::FaultSwitches faults;
    faults.hold_tail_every = 1;  // nothing follows the tail: only its time-out can reveal it
    sensor().set_faults(faults);
    ASSERT_EQ(acqtest::start(connection_->get(), 0, 1), ORNC_OK);
    for (int i = 1; i <= 3; ++i) {
        ASSERT_EQ(trigger(connection_->get()), ORNC_OK);
        ASSERT_TRUE(recorder.wait_frames(i, 5s)) << "trigger " << i << ", failed " << recorder.null_calls();
    }
    EXPECT_EQ(recorder.null_calls(), 0);
    const int held = static_cast<int>(sensor().counters().packets_dropped);
    int requested = 0;
    ORNCParamGetIntegerValue(ORNCParamsGetParamByName(ORNCGetStreamParams(connection_->get()), "ResendRequests"),
                             &requested);
    EXPECT_GT(held, 0);
    EXPECT_GE(requested, held);

    // A frame the sensor no longer holds: its resend is refused, and the
    // failure comes long before the frame retention (1 s) would end it.
    faults = {};
    faults.cut_frame_every = 1;
    sensor().set_faults(faults);
    const auto triggered = Clock::now();
    ASSERT_EQ(trigger(connection_->get()), ORNC_OK);
    ASSERT_TRUE(acqtest::wait_until([&] { return recorder.null_calls() > 0; }, 3s));
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - triggered).count(), 0.6);
    const int failed = recorder.null_calls();
    sensor().set_faults({});
    ASSERT_EQ(trigger(connection_->get()), ORNC_OK);
    EXPECT_TRUE(recorder.wait_frames(4, 5s));
    EXPECT_EQ(recorder.null_calls(), failed);
}

// Two processes that keep both cores busy while it lives (and end by
// themselves after two minutes should the test die first).
struct BusyLoops {
    BusyLoops() {
        for (pid_t& child : children)
            if ((child = ::fork()) == 0)
                for (volatile unsigned spin = ::alarm(120);; spin = spin + 1) {
                }
    }
    ~BusyLoops() {
        for (pid_t child : children)
            if (child > 0 && ::kill(child, SIGKILL) == 0) ::waitpid(child, nullptr, 0);
    }
    pid_t children[2] = {-1, -1};
};

TEST(TriggeredLoad, ThreeSensorsDeliverEveryTriggeredFrameWhileBothCoresAreBusy) {
    constexpr int kSensors = 3;
    constexpr int kRounds = 34;  // 102 triggers
    orntest::SensorFleet fleet;
    for (int i = 0; i < kSensors; ++i)
        ASSERT_EQ(fleet.add(acqtest::sensor_config(35 + i, "AQ00003" + std::to_string(5 + i), 160, 120)), "");
    orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", "127.0.60.35-127.0.60.37");
    std::vector<std::unique_ptr<acqtest::Connection>> connections;
    std::vector<acqtest::Recorder> recorders(kSensors);
    for (int i = 0; i < kSensors; ++i) {
        connections.push_back(std::make_unique<acqtest::Connection>("AQ00003" + std::to_string(5 + i)));
        ASSERT_EQ(connections[i]->status(), ORNC_OK);
        recorders[i].attach(connections[i]->get());
        ASSERT_EQ(acqtest::start(connections[i]->get(), 0, 1), ORNC_OK);
    }
    BusyLoops load;
    for (int round = 1; round <= kRounds; ++round) {
        for (auto& connection : connections) ASSERT_EQ(trigger(connection->get()), ORNC_OK);
        for (int i = 0; i < kSensors; ++i) {
            ASSERT_TRUE(recorders[i].wait_frames(round, 5s) && recorders[i].null_calls() == 0)
                << "round " << round << ", sensor " << i << ", failed " << recorders[i].null_calls();
        }
    }
}

// Counts the disconnect callback's calls.
void count_call(void* calls) { ++*static_cast<std::atomic<int>*>(calls); }

TEST_F(Faults, ASilentSensorFiresTheDisconnectCallbackOnceAndDisconnectStaysBounded) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(32, "AQ000032"), false));
    ornc_t ornc{nullptr};
    ASSERT_EQ(ORNCInit(&ornc), ORNC_OK);
    ASSERT_EQ(ORNCConnectBySerialNumber(&ornc, nullptr, "AQ000032"), ORNC_OK);
    acqtest::Recorder recorder;
    recorder.attach(&ornc);
    std::atomic<int> calls{0};
    ORNCSetDisconnectCallback(&ornc, &count_call, &calls);
    ASSERT_EQ(acqtest::start(&ornc, 0, 0), ORNC_OK);
    ASSERT_TRUE(recorder.wait_frames(3, 10s));

    ornsim::FaultSwitches faults;
    faults.silent_after_s = 0.0;
    sensor().set_faults(faults);
    EXPECT_TRUE(acqtest::wait_until([&] { return calls.load() > 0; }, 30s)) << "no disconnect notification";
    // Give a second notification the chance to show.
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(calls.load(), 1);

    // Parameters fail in bounded time: the read, and the write, which needs
    // the range first (Width's maximum is another node).
    ornc_param_t* width = ORNCParamsGetParamByName(ORNCGetDeviceParams(&ornc), "Width");
    const auto access_begin = Clock::now();
    int value = 0;
    EXPECT_EQ(ORNCParamGetIntegerValue(width, &value), ORNC_ERR_PARAM_READ_FAILED);
    EXPECT_EQ(ORNCParamSetIntegerValue(width, 64), ORNC_ERR_INTERNAL);
    EXPECT_LT(Clock::now() - access_begin, 20s);

    const auto begin = Clock::now();
    EXPECT_EQ(ORNCDisconnect(&ornc), ORNC_OK);
    // An application can wait this long; a hang would not end.
    EXPECT_LT(Clock::now() - begin, 15s);
    EXPECT_EQ(calls.load(), 1) << "ORNCDisconnect itself is not reported";
    ORNCDestroy(&ornc);
    // The library works with the sensor again once it answers.
    sensor().set_faults({});
    acqtest::Connection again("AQ000032");
    EXPECT_EQ(again.status(), ORNC_OK);
    EXPECT_EQ(again.set_int("Width", 64), ORNC_OK);
}

TEST_F(Faults, DisconnectIsNotReportedAsLinkLoss) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(33, "AQ000033")));
    std::atomic<int> calls{0};
    ASSERT_EQ(ORNCStart(connection_->get()), ORNC_OK);
    // Set after the sink exists: copied into it at once.
    ORNCSetDisconnectCallback(connection_->get(), &count_call, &calls);
    ASSERT_EQ(ORNCAcquisitionStartMode(connection_->get(), 0, 0), ORNC_OK);
    std::this_thread::sleep_for(300ms);
    ASSERT_EQ(ORNCDisconnect(connection_->get()), ORNC_OK);
    connection_.reset();
    // The sensor stops hearing the heartbeat; the library must stay quiet.
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(calls.load(), 0);
}

}  // namespace
