// A sensor that breaks its stream and one that floods its message channel,
// through the public API over real UDP on loopback.
//
// - Frames cut mid-stream (leader and half the payload, no trailer, nothing
//   to resend) during a continuous multipart acquisition: each comes back
//   as one failed transfer (the vector callback gets NULL) with its log
//   line, every whole frame is delivered with all its parts and its own
//   content (a cut frame passed off as whole would show a stale or empty
//   part), nothing else is lost, and the same handle acquires cleanly
//   once the sensor stops cutting.
// - An event flood during an acquisition with FrameEnd events on: every
//   frame is still delivered, the event callback hears no event twice and
//   no more than was sent, stop and disconnect return in bounded time under
//   the flood, and the handle leaves no thread or descriptor behind.
//
// To count exactly, each run ends with the device's own AcquisitionStop
// command sent through its parameter while the library keeps delivering:
// then every frame the sensor sent is either delivered or failed, none is
// still on its way when the library stops.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "acquisition_test_support.h"
#include "environment.h"
#include "log_capture.h"
#include "ornsim/virtual_sensor.h"
#include "process_probes.h"
#include "temp_dir.h"

namespace {

using namespace std::chrono_literals;
using acqtest::Connection;
using acqtest::Recorder;
using acqtest::wait_until;

constexpr int kWidth = 64;
constexpr int kHeight = 48;
// An application waits this long for a call; a hang would not end.
constexpr double kCallBoundSeconds = 10.0;

// Frame numbers (modulo 256) of what the recorder got, each vector a whole
// frame of the scene.
std::multiset<unsigned> delivered_frames(const Recorder& recorder) {
    std::multiset<unsigned> frames;
    for (const auto& parts : recorder.vectors()) {
        uint64_t f = 0;
        EXPECT_EQ(acqtest::whole_frame(parts, kWidth, kHeight, &f), "") << "a vector that is not a whole frame";
        frames.insert(static_cast<unsigned>(f));
    }
    return frames;
}

// Block ids first..last that the sensor sent whole, modulo 256, when it
// cut every `cut_every`th frame (0: none) counted from block id 1.
std::multiset<unsigned> whole_frames(uint64_t first, uint64_t last, uint64_t cut_every) {
    std::multiset<unsigned> frames;
    for (uint64_t id = first; id <= last; ++id) {
        if (cut_every == 0 || id % cut_every != 0) frames.insert(static_cast<unsigned>(id % 256));
    }
    return frames;
}

// Returns how long `call` took; it must return ORNC_OK.
template <typename Call>
double timed(Call call) {
    orntest::Stopwatch watch;
    EXPECT_EQ(call(), ORNC_OK);
    return watch.seconds();
}

// Ends the device's stream through its AcquisitionStop command while the
// library keeps delivering, then waits until every frame the sensor sent
// since `frames_before` is accounted for (delivered, or failed: a failed
// transfer reaches both callbacks, each with NULL).
bool stop_device_and_settle(Connection& handle, const Recorder& recorder, const ornsim::VirtualSensor& sensor,
                            uint64_t frames_before) {
    EXPECT_EQ(ORNCParamSendCommand(handle.param("AcquisitionStop")), ORNC_OK);
    std::this_thread::sleep_for(200ms);  // a frame on its way when the command came is counted by then
    // Long enough for the last frames, a cut one's retention included.
    return wait_until(
        [&] {
            return static_cast<uint64_t>(recorder.frames() + recorder.null_calls() / 2) >=
                   sensor.counters().frames_sent - frames_before;
        },
        15s);
}

class BrokenPeer : public ::testing::Test {
protected:
    std::unique_ptr<ornsim::VirtualSensor> start_sensor(int host, const std::string& serial,
                                                        const ornsim::FaultSwitches& faults) {
        auto sensor = std::make_unique<ornsim::VirtualSensor>(
            orntest::sensor_config(orntest::Block::broken_stream, host, serial, kWidth, kHeight, 20.0));
        sensor->set_faults(faults);
        std::string error;
        EXPECT_TRUE(sensor->start(&error)) << error;
        return sensor;
    }

    // This suite's own loopback block (lock ornc_loopback_93).
    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", "127.0.93.11-127.0.93.12"};
    orntest::TempWorkDir workdir_;
};

TEST_F(BrokenPeer, FramesCutMidStreamFailAloneAndTheHandleAcquiresAgain) {
    // About 20 cut frames in the run: more than the handle has buffers, so
    // a failed transfer whose buffer is not queued again stops the stream.
    constexpr uint64_t kCutEvery = 3;
    ornsim::FaultSwitches cutting;
    cutting.cut_frame_every = kCutEvery;
    auto sensor = start_sensor(11, "CUT09311", cutting);
    ASSERT_TRUE(sensor);
    orntest::LogCapture log;
    Connection handle("CUT09311");
    ASSERT_EQ(handle.status(), ORNC_OK);
    Recorder cut;
    cut.attach(handle.get());
    ASSERT_EQ(ORNCStart(handle.get()), ORNC_OK);

    // Continuous, about three seconds.
    ASSERT_EQ(ORNCAcquisitionStart(handle.get()), ORNC_OK);
    std::this_thread::sleep_for(3s);
    EXPECT_TRUE(stop_device_and_settle(handle, cut, *sensor, 0)) << "frames neither delivered nor failed";
    EXPECT_EQ(ORNCAcquisitionStop(handle.get()), ORNC_OK);
    const ornsim::SensorCounters cut_run = sensor->counters();
    const int retrieve_failures = log.count_containing("ERROR: ORNC: Retrievebuffer operation");
    ASSERT_GE(cut_run.frames_sent, 2 * kCutEvery) << "too few frames to prove anything";
    EXPECT_EQ(cut_run.frames_cut, cut_run.frames_sent / kCutEvery);
    EXPECT_EQ(static_cast<uint64_t>(cut.null_calls()), 2 * cut_run.frames_cut) << "NULL to both callbacks";
    EXPECT_EQ(delivered_frames(cut), whole_frames(1, cut_run.frames_sent, kCutEvery))
        << "the whole frames, each once, and no cut one";
    EXPECT_EQ(2 * retrieve_failures, cut.null_calls()) << "each failed transfer is logged once";

    // The same handle, the sensor no longer cutting: every frame whole.
    sensor->set_faults(ornsim::FaultSwitches{});
    Recorder again;
    again.attach(handle.get());
    ASSERT_EQ(ORNCAcquisitionStart(handle.get()), ORNC_OK);
    EXPECT_TRUE(again.wait_frames(20, 10s)) << again.frames() << " frames";
    EXPECT_TRUE(stop_device_and_settle(handle, again, *sensor, cut_run.frames_sent));
    EXPECT_EQ(ORNCAcquisitionStop(handle.get()), ORNC_OK);
    EXPECT_LT(timed([&] { return ORNCStop(handle.get()); }), kCallBoundSeconds);
    EXPECT_LT(timed([&] { return ORNCDisconnect(handle.get()); }), kCallBoundSeconds);
    EXPECT_EQ(again.null_calls(), 0);
    EXPECT_EQ(delivered_frames(again), whole_frames(cut_run.frames_sent + 1, sensor->counters().frames_sent, 0));
    EXPECT_EQ(log.count_containing("ERROR: ORNC: Retrievebuffer operation"), retrieve_failures);
}

// Turns the FrameEnd events on, hands both callbacks to the library and
// starts a continuous acquisition.
void start_with_events(Connection& handle, Recorder& recorder, acqtest::EventRecorder& events) {
    ASSERT_EQ(handle.status(), ORNC_OK);
    ASSERT_EQ(handle.set_enum("EventSelector", "FrameEnd"), ORNC_OK);
    ASSERT_EQ(handle.set_enum("EventNotification", "On"), ORNC_OK);
    recorder.attach(handle.get());
    events.attach(handle.get());
    ASSERT_EQ(ORNCStart(handle.get()), ORNC_OK);
    ASSERT_EQ(ORNCAcquisitionStart(handle.get()), ORNC_OK);
}

TEST_F(BrokenPeer, EventFloodKeepsEveryFrameAndLeavesNoThreadOrDescriptor) {
    constexpr double kFloodPerSecond = 1000.0;
    auto sensor = start_sensor(12, "FLOOD09312", ornsim::FaultSwitches{});
    ASSERT_TRUE(sensor);

    // One plain acquisition with events first: whatever the process keeps
    // after its first connection (Aravis's and GLib's own threads) is then
    // part of the baseline.
    {
        Connection warm("FLOOD09312");
        Recorder recorder;
        acqtest::EventRecorder events;
        ASSERT_NO_FATAL_FAILURE(start_with_events(warm, recorder, events));
        EXPECT_TRUE(wait_until([&] { return recorder.frames() >= 3 && events.size() > 0; }, 10s));
        EXPECT_EQ(ORNCAcquisitionStop(warm.get()), ORNC_OK);
        EXPECT_EQ(ORNCStop(warm.get()), ORNC_OK);
    }
    const int threads = orntest::thread_count();
    const int descriptors = orntest::descriptor_count();
    const ornsim::SensorCounters before = sensor->counters();

    // Flooding from before the connection: the events start as soon as the
    // library points the message channel at itself.
    ornsim::FaultSwitches flood;
    flood.event_flood_per_s = kFloodPerSecond;
    sensor->set_faults(flood);
    Recorder recorder;
    acqtest::EventRecorder events;
    {
        Connection handle("FLOOD09312");
        ASSERT_NO_FATAL_FAILURE(start_with_events(handle, recorder, events));
        std::this_thread::sleep_for(3s);
        EXPECT_TRUE(stop_device_and_settle(handle, recorder, *sensor, before.frames_sent));
        // The flood goes on through the stop and the disconnect: each bounded.
        EXPECT_LT(timed([&] {
                      EXPECT_EQ(ORNCAcquisitionStop(handle.get()), ORNC_OK);
                      return ORNCStop(handle.get());
                  }),
                  kCallBoundSeconds);
        EXPECT_LT(timed([&] { return ORNCDisconnect(handle.get()); }), kCallBoundSeconds);
    }
    EXPECT_TRUE(wait_until(
        [&] { return orntest::thread_count() == threads && orntest::descriptor_count() == descriptors; }, 5s))
        << "threads " << threads << " -> " << orntest::thread_count() << ", descriptors " << descriptors << " -> "
        << orntest::descriptor_count();
    const ornsim::SensorCounters after = sensor->counters();
    sensor->set_faults(ornsim::FaultSwitches{});

    // The acquisition under the flood: every frame, whole, none twice.
    const uint64_t frames_sent = after.frames_sent - before.frames_sent;
    EXPECT_GE(frames_sent, 40u);
    EXPECT_EQ(recorder.null_calls(), 0);
    EXPECT_EQ(delivered_frames(recorder), whole_frames(before.frames_sent + 1, after.frames_sent, 0));

    // The flood was real, and the callback heard it without inventing or
    // repeating anything. A loaded machine answers more slowly and so is
    // sent fewer; a quarter of the rate over three seconds is still a flood.
    const uint64_t flooded = after.events_flooded - before.events_flooded;
    EXPECT_GE(flooded, static_cast<uint64_t>(kFloodPerSecond / 4)) << "the flood hardly happened: proves nothing";
    uint64_t flood_heard = 0;
    std::set<int> frame_ids;
    std::set<uint64_t> timestamps;
    const std::vector<acqtest::Event> heard = events.events();
    for (const acqtest::Event& event : heard) {
        ASSERT_EQ(event.frame_id_status, ORNC_OK) << "an event without a frame id";
        flood_heard += event.frame_id == 0 ? 1 : 0;
        EXPECT_TRUE(event.frame_id == 0 || frame_ids.insert(event.frame_id).second) << "FrameEnd told twice";
        timestamps.insert(event.timestamp);
    }
    EXPECT_GT(flood_heard, 0u);
    EXPECT_LE(flood_heard, flooded);
    // Distinct ids, each one of this run's frames.
    ASSERT_GT(frame_ids.size(), 0u);
    EXPECT_GT(*frame_ids.begin(), static_cast<int>(before.frames_sent));
    EXPECT_LE(*frame_ids.rbegin(), static_cast<int>(after.frames_sent));
    EXPECT_EQ(timestamps.size(), heard.size()) << "an event was told twice";
}

}  // namespace
