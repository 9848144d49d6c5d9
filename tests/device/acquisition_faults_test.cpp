// Acquisition when the network misbehaves: stream packet loss that
// resends repair (every frame still delivered), and a sensor that goes
// silent (the disconnect callback fires once; parameter access fails and
// ORNCDisconnect returns in bounded time, measured and printed).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

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

    ASSERT_EQ(ORNCStart(connection_->get()), ORNC_OK);
    ASSERT_EQ(ORNCAcquisitionStart(connection_->get()), ORNC_OK);
    const bool all = recorder.wait_frames(kLossFrames, 30s);
    // A few more passes: nothing beyond what was sent may arrive.
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(ORNCAcquisitionStop(connection_->get()), ORNC_OK);
    EXPECT_EQ(ORNCStop(connection_->get()), ORNC_OK);

    const ornsim::SensorCounters counters = sensor().counters();
    std::printf(
        "loss 1%%: frames sent %llu, delivered %d, failed %d, packets dropped %llu, resend requests %llu, "
        "packets resent %llu\n",
        static_cast<unsigned long long>(counters.frames_sent), recorder.frames(), recorder.null_calls(),
        static_cast<unsigned long long>(counters.packets_dropped),
        static_cast<unsigned long long>(counters.resend_requests),
        static_cast<unsigned long long>(counters.packets_resent));
    EXPECT_TRUE(all);
    EXPECT_EQ(counters.frames_sent, static_cast<uint64_t>(kLossFrames));
    EXPECT_EQ(recorder.frames(), kLossFrames);
    EXPECT_EQ(recorder.null_calls(), 0);
    EXPECT_GT(counters.packets_dropped, 0u) << "the loss switch dropped nothing: the test proves nothing";
    EXPECT_GE(counters.packets_resent, counters.packets_dropped);
    // Every delivered frame is whole: its contents match the scene.
    for (const auto& parts : recorder.vectors()) {
        ASSERT_EQ(parts.size(), 3u);
        const uint64_t f = orntest::frame_from_intensity(parts[1]);
        const orn_pixel_t types[] = {ORN_PIX_ABC32F, ORN_PIX_MONO8, ORN_PIX_CONF8};
        for (size_t p = 0; p < 3; ++p) {
            EXPECT_EQ(parts[p].type, types[p]);
            EXPECT_EQ(orntest::check_part(parts[p], f), "");
        }
    }
}

struct DisconnectCounter {
    std::atomic<int> calls{0};
    std::atomic<int64_t> first_call_ns{0};
    static void On(void* self) {
        DisconnectCounter* counter = static_cast<DisconnectCounter*>(self);
        if (counter->calls.fetch_add(1) == 0) {
            counter->first_call_ns.store(Clock::now().time_since_epoch().count());
        }
    }
};

TEST_F(Faults, ASilentSensorFiresTheDisconnectCallbackOnceAndDisconnectStaysBounded) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(32, "AQ000032"), false));
    ornc_t ornc{nullptr};
    ASSERT_EQ(ORNCInit(&ornc), ORNC_OK);
    ASSERT_EQ(ORNCConnectBySerialNumber(&ornc, nullptr, "AQ000032"), ORNC_OK);
    acqtest::Recorder recorder;
    recorder.attach(&ornc);
    DisconnectCounter counter;
    ORNCSetDisconnectCallback(&ornc, &DisconnectCounter::On, &counter);
    ASSERT_EQ(ORNCStart(&ornc), ORNC_OK);
    ASSERT_EQ(ORNCAcquisitionStartMode(&ornc, 0, 0), ORNC_OK);
    ASSERT_TRUE(recorder.wait_frames(3, 10s));

    ornsim::FaultSwitches faults;
    faults.silent_after_s = 0.0;
    const auto silent_at = Clock::now();
    sensor().set_faults(faults);
    const bool fired = acqtest::wait_until([&] { return counter.calls.load() > 0; }, 30s);
    const double notice_s = fired ? std::chrono::duration<double>(Clock::duration(counter.first_call_ns.load()) -
                                                                  silent_at.time_since_epoch())
                                        .count()
                                  : -1.0;
    // Give a second notification the chance to show.
    std::this_thread::sleep_for(1500ms);
    EXPECT_TRUE(fired) << "no disconnect notification within 30 s";
    EXPECT_EQ(counter.calls.load(), 1);

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
    const double disconnect_s = std::chrono::duration<double>(Clock::now() - begin).count();
    std::printf("link loss: notified %.2f s after the sensor fell silent; ORNCDisconnect took %.2f s\n", notice_s,
                disconnect_s);
    // An application can wait this long; a hang would not end.
    EXPECT_LT(disconnect_s, 15.0);
    EXPECT_EQ(counter.calls.load(), 1) << "ORNCDisconnect itself is not reported";
    ORNCDestroy(&ornc);
}

TEST_F(Faults, DisconnectIsNotReportedAsLinkLoss) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(33, "AQ000033")));
    DisconnectCounter counter;
    ASSERT_EQ(ORNCStart(connection_->get()), ORNC_OK);
    // Set after the sink exists: copied into it at once.
    ORNCSetDisconnectCallback(connection_->get(), &DisconnectCounter::On, &counter);
    ASSERT_EQ(ORNCAcquisitionStartMode(connection_->get(), 0, 0), ORNC_OK);
    std::this_thread::sleep_for(300ms);
    ASSERT_EQ(ORNCDisconnect(connection_->get()), ORNC_OK);
    connection_.reset();
    // The sensor stops hearing the heartbeat; the library must stay quiet.
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(counter.calls.load(), 0);
}

}  // namespace
