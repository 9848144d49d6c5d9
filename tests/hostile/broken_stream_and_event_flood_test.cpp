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

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "environment.h"
#include "handles.h"
#include "hostile_support.h"
#include "log_capture.h"
#include "loopback.h"
#include "ornsim/virtual_sensor.h"
#include "process_probes.h"
#include "scene_check.h"
#include "sensor.h"
#include "temp_dir.h"
#include "wait.h"

namespace {

using namespace std::chrono_literals;

// This suite's own loopback block (lock ornc_loopback_93).
constexpr const char* kHosts = "127.0.93.11-127.0.93.12";

constexpr uint32_t kWidth = 64;
constexpr uint32_t kHeight = 48;
constexpr double kFramesPerSecond = 20.0;
constexpr int kParts = 3;  // Range, Intensity, Confidence
// An application waits this long for a call; a hang would not end.
constexpr double kCallBoundSeconds = 10.0;
// Long enough for the last frames, a cut one's retention included.
constexpr auto kSettleTimeout = 15s;

using orntest::wait_until;

// "" when the vector is one whole frame of the sensor's scene, byte for
// byte; its frame number modulo 256 in *frame.
std::string check_frame(const orn_image_vec_t& vec, unsigned* frame) {
    if (vec.used != kParts) return "parts: " + std::to_string(vec.used);
    const orn_pixel_t types[kParts] = {ORN_PIX_ABC32F, ORN_PIX_MONO8, ORN_PIX_CONF8};
    const uint64_t f = orntest::frame_from_intensity(orntest::copy_of(vec.image[1]));
    for (int i = 0; i < kParts; ++i) {
        const orntest::ImageCopy part = orntest::copy_of(vec.image[i]);
        const std::string problem =
            part.type != types[i] || part.width != static_cast<int>(kWidth) || part.height != static_cast<int>(kHeight)
                ? "not the sensor's"
                : orntest::check_part(part, f);
        if (!problem.empty()) return "part " + std::to_string(i) + ": " + problem;
    }
    *frame = static_cast<unsigned>(f);
    return "";
}

// What the image-vector callback received. The records live only during
// the callback, so each frame is checked there.
class FrameLedger {
public:
    struct Tally {
        std::vector<unsigned> frames;     // frame numbers of the whole frames, in delivery order
        std::vector<std::string> faults;  // vectors that were not a whole frame
        int failed = 0;                   // NULL deliveries
        int whole() const { return static_cast<int>(frames.size()); }
        uint64_t seen() const { return frames.size() + faults.size() + static_cast<uint64_t>(failed); }
        std::multiset<unsigned> frame_set() const { return {frames.begin(), frames.end()}; }
    };

    void attach(ornc_t* ornc) { ORNCSetImageVecCallback(ornc, &FrameLedger::On, this); }
    Tally tally() const {
        std::lock_guard<std::mutex> guard(lock_);
        return tally_;
    }
    void clear() {
        std::lock_guard<std::mutex> guard(lock_);
        tally_ = Tally{};
    }

private:
    static void On(orn_image_vec_t* vec, void* self) {
        FrameLedger* ledger = static_cast<FrameLedger*>(self);
        unsigned frame = 0;
        const std::string fault = vec != nullptr ? check_frame(*vec, &frame) : "";
        std::lock_guard<std::mutex> guard(ledger->lock_);
        if (vec == nullptr) {
            ++ledger->tally_.failed;
        } else if (!fault.empty()) {
            ledger->tally_.faults.push_back(fault);
        } else {
            ledger->tally_.frames.push_back(frame);
        }
    }

    mutable std::mutex lock_;
    Tally tally_;
};

// Block ids first..last that the sensor sent whole, modulo 256, when it
// cut every `cut_every`th frame (0: none) counted from block id 1.
std::multiset<unsigned> whole_frames(uint64_t first, uint64_t last, uint64_t cut_every) {
    std::multiset<unsigned> frames;
    for (uint64_t id = first; id <= last; ++id) {
        if (cut_every == 0 || id % cut_every != 0) frames.insert(static_cast<unsigned>(id % 256));
    }
    return frames;
}

// A library handle connected to the sensor with `serial`.
struct Handle : orntest::Handle {
    explicit Handle(const std::string& serial) : status(ORNCConnectBySerialNumber(get(), nullptr, serial.c_str())) {}
    const ornc_status_t status;
};

// Disconnects and returns how long it took.
double timed_disconnect(Handle& handle) {
    orntest::Stopwatch watch;
    EXPECT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
    return watch.seconds();
}

// Ends the device's stream through its AcquisitionStop command while the
// library keeps delivering, then waits until every frame the sensor sent is
// accounted for (delivered whole, failed, or not a frame). False when that
// does not happen in time.
bool stop_device_and_settle(Handle& handle, const FrameLedger& ledger, const ornsim::VirtualSensor& sensor,
                            uint64_t frames_before) {
    EXPECT_EQ(ORNCParamSendCommand(handle.param("AcquisitionStop")), ORNC_OK);
    std::this_thread::sleep_for(200ms);  // a frame on its way when the command came is counted by then
    return wait_until([&] { return ledger.tally().seen() >= sensor.counters().frames_sent - frames_before; },
                      kSettleTimeout);
}

class BrokenPeer : public ::testing::Test {
protected:
    std::unique_ptr<ornsim::VirtualSensor> start_sensor(int host, const std::string& serial,
                                                        const ornsim::FaultSwitches& faults) {
        auto sensor = std::make_unique<ornsim::VirtualSensor>(
            orntest::sensor_config(orntest::Block::broken_stream, host, serial, kWidth, kHeight, kFramesPerSecond));
        sensor->set_faults(faults);
        std::string error;
        EXPECT_TRUE(sensor->start(&error)) << error;
        return sensor;
    }

    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", kHosts};
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
    Handle handle("CUT09311");
    ASSERT_EQ(handle.status, ORNC_OK);
    FrameLedger ledger;
    ledger.attach(handle.get());
    ASSERT_EQ(ORNCStart(handle.get()), ORNC_OK);

    // Continuous, about three seconds.
    ASSERT_EQ(ORNCAcquisitionStart(handle.get()), ORNC_OK);
    std::this_thread::sleep_for(3s);
    const bool settled = stop_device_and_settle(handle, ledger, *sensor, 0);
    EXPECT_EQ(ORNCAcquisitionStop(handle.get()), ORNC_OK);
    const ornsim::SensorCounters cut_run = sensor->counters();
    const FrameLedger::Tally cut = ledger.tally();
    const int retrieve_failures = log.count_containing("ERROR: ORNC: Retrievebuffer operation");
    std::printf(
        "cut every %llu: frames sent %llu, cut %llu; delivered %d, failed %d, not whole %zu; "
        "%d retrieve-failure lines; resend requests %llu, packets resent %llu\n",
        static_cast<unsigned long long>(kCutEvery), static_cast<unsigned long long>(cut_run.frames_sent),
        static_cast<unsigned long long>(cut_run.frames_cut), cut.whole(), cut.failed, cut.faults.size(),
        retrieve_failures, static_cast<unsigned long long>(cut_run.resend_requests),
        static_cast<unsigned long long>(cut_run.packets_resent));
    EXPECT_TRUE(settled) << "frames the sensor sent were neither delivered nor failed";
    ASSERT_GE(cut_run.frames_sent, 2 * kCutEvery) << "too few frames to prove anything";
    EXPECT_EQ(cut_run.frames_cut, cut_run.frames_sent / kCutEvery);
    EXPECT_EQ(cut.faults, std::vector<std::string>{}) << "a vector that is not a whole frame was delivered";
    EXPECT_EQ(static_cast<uint64_t>(cut.failed), cut_run.frames_cut);
    EXPECT_EQ(cut.seen(), cut_run.frames_sent);
    EXPECT_EQ(cut.frame_set(), whole_frames(1, cut_run.frames_sent, kCutEvery))
        << "the whole frames, each once, and no cut one";
    EXPECT_EQ(retrieve_failures, cut.failed) << "each failed transfer is logged once";

    // The same handle, the sensor no longer cutting: every frame whole.
    sensor->set_faults(ornsim::FaultSwitches{});
    ledger.clear();
    ASSERT_EQ(ORNCAcquisitionStart(handle.get()), ORNC_OK);
    EXPECT_TRUE(wait_until([&] { return ledger.tally().whole() >= 20; }, 10s)) << ledger.tally().whole() << " frames";
    const bool settled_again = stop_device_and_settle(handle, ledger, *sensor, cut_run.frames_sent);
    EXPECT_EQ(ORNCAcquisitionStop(handle.get()), ORNC_OK);
    orntest::Stopwatch stop_watch;
    EXPECT_EQ(ORNCStop(handle.get()), ORNC_OK);
    const double stop_s = stop_watch.seconds();
    const double disconnect_s = timed_disconnect(handle);
    const ornsim::SensorCounters clean_run = sensor->counters();
    const FrameLedger::Tally again = ledger.tally();
    std::printf("again: frames sent %llu, delivered %d, failed %d; ORNCStop %.2f s, ORNCDisconnect %.2f s\n",
                static_cast<unsigned long long>(clean_run.frames_sent - cut_run.frames_sent), again.whole(),
                again.failed, stop_s, disconnect_s);
    EXPECT_TRUE(settled_again);
    EXPECT_EQ(clean_run.frames_cut, cut_run.frames_cut);
    EXPECT_EQ(again.failed, 0);
    EXPECT_EQ(again.faults, std::vector<std::string>{});
    EXPECT_EQ(again.frame_set(), whole_frames(cut_run.frames_sent + 1, clean_run.frames_sent, 0));
    EXPECT_EQ(log.count_containing("ERROR: ORNC: Retrievebuffer operation"), retrieve_failures);
    EXPECT_LT(stop_s, kCallBoundSeconds);
    EXPECT_LT(disconnect_s, kCallBoundSeconds);
}

// The event callback's view: every call, with its timestamp and the frame
// id its data carries (0 for the flood's events, which belong to no frame).
class EventTally {
public:
    struct Heard {
        std::vector<uint64_t> timestamps;  // of every call
        std::vector<int> frame_ids;        // of the FrameEnd events
        size_t flood = 0;                  // events with frame id 0
        size_t unreadable = 0;             // events without a frame id
    };

    static void On(orn_uint64_t timestamp, ornc_param_list_t* list, void* self) {
        int frame_id = -1;
        for (int i = 0; i < ORNCGetParameterListCount(list); ++i) {
            ornc_param_t* item = ORNCGetParameterListIndex(list, i);
            char name[64] = {0};
            ORNCParamGetName(item, name, static_cast<int>(sizeof name));
            if (std::string(name) == "EventFrameEndFrameID") ORNCParamGetIntegerValue(item, &frame_id);
        }
        EventTally* tally = static_cast<EventTally*>(self);
        std::lock_guard<std::mutex> guard(tally->lock_);
        tally->heard_.timestamps.push_back(timestamp);
        if (frame_id == 0) {
            ++tally->heard_.flood;
        } else if (frame_id > 0) {
            tally->heard_.frame_ids.push_back(frame_id);
        } else {
            ++tally->heard_.unreadable;
        }
    }

    Heard heard() const {
        std::lock_guard<std::mutex> guard(lock_);
        return heard_;
    }

private:
    mutable std::mutex lock_;
    Heard heard_;
};

// Turns the FrameEnd events on, hands both callbacks to the library and
// starts a continuous acquisition.
void start_with_events(Handle& handle, FrameLedger& ledger, EventTally& tally) {
    ASSERT_EQ(handle.status, ORNC_OK);
    ASSERT_EQ(ORNCParamSetEnumValueByName(handle.param("EventSelector"), "FrameEnd"), ORNC_OK);
    ASSERT_EQ(ORNCParamSetEnumValueByName(handle.param("EventNotification"), "On"), ORNC_OK);
    ledger.attach(handle.get());
    ORNCSetEventCallback(handle.get(), &EventTally::On, &tally);
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
        Handle warm("FLOOD09312");
        FrameLedger ledger;
        EventTally tally;
        ASSERT_NO_FATAL_FAILURE(start_with_events(warm, ledger, tally));
        EXPECT_TRUE(wait_until([&] { return ledger.tally().whole() >= 3 && !tally.heard().timestamps.empty(); }, 10s));
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
    FrameLedger ledger;
    EventTally tally;
    double stop_s = 0.0;
    double disconnect_s = 0.0;
    bool settled = false;
    {
        Handle handle("FLOOD09312");
        ASSERT_NO_FATAL_FAILURE(start_with_events(handle, ledger, tally));
        std::this_thread::sleep_for(3s);
        settled = stop_device_and_settle(handle, ledger, *sensor, before.frames_sent);
        // The flood goes on through the stop and the disconnect.
        orntest::Stopwatch stop_watch;
        EXPECT_EQ(ORNCAcquisitionStop(handle.get()), ORNC_OK);
        EXPECT_EQ(ORNCStop(handle.get()), ORNC_OK);
        stop_s = stop_watch.seconds();
        disconnect_s = timed_disconnect(handle);
    }
    const bool released = wait_until(
        [&] { return orntest::thread_count() == threads && orntest::descriptor_count() == descriptors; }, 5s);
    const ornsim::SensorCounters after = sensor->counters();
    sensor->set_faults(ornsim::FaultSwitches{});

    const uint64_t frames_sent = after.frames_sent - before.frames_sent;
    const uint64_t flooded = after.events_flooded - before.events_flooded;
    const FrameLedger::Tally delivered = ledger.tally();
    const EventTally::Heard heard = tally.heard();
    const std::vector<int>& frame_ids = heard.frame_ids;
    std::printf(
        "flood %.0f/s: frames sent %llu, delivered %d, failed %d; flood events sent %llu, "
        "event callbacks %zu (flood %zu, FrameEnd %zu); stop %.2f s, disconnect %.2f s; "
        "threads %d -> %d, descriptors %d -> %d\n",
        kFloodPerSecond, static_cast<unsigned long long>(frames_sent), delivered.whole(), delivered.failed,
        static_cast<unsigned long long>(flooded), heard.timestamps.size(), heard.flood, frame_ids.size(), stop_s,
        disconnect_s, threads, orntest::thread_count(), descriptors, orntest::descriptor_count());

    // The acquisition under the flood: every frame, whole, none twice.
    EXPECT_TRUE(settled);
    EXPECT_GE(frames_sent, 40u);
    EXPECT_EQ(static_cast<uint64_t>(delivered.whole()), frames_sent);
    EXPECT_EQ(delivered.failed, 0);
    EXPECT_EQ(delivered.faults, std::vector<std::string>{});
    EXPECT_EQ(delivered.frame_set(), whole_frames(before.frames_sent + 1, after.frames_sent, 0));

    // The flood was real, and the callback heard it without inventing or
    // repeating anything.
    // A loaded machine answers more slowly and so is sent fewer; a quarter
    // of the rate over three seconds is still a flood.
    EXPECT_GE(flooded, static_cast<uint64_t>(kFloodPerSecond / 4)) << "the flood hardly happened: proves nothing";
    EXPECT_GT(heard.flood, 0u);
    EXPECT_LE(heard.flood, flooded);
    EXPECT_GT(frame_ids.size(), 0u);
    EXPECT_LE(frame_ids.size(), frames_sent);
    EXPECT_EQ(std::set<int>(frame_ids.begin(), frame_ids.end()).size(), frame_ids.size());
    for (int id : frame_ids) {
        EXPECT_GT(static_cast<uint64_t>(id), before.frames_sent);
        EXPECT_LE(static_cast<uint64_t>(id), after.frames_sent);
    }
    EXPECT_EQ(heard.unreadable, 0u);
    EXPECT_EQ(std::set<uint64_t>(heard.timestamps.begin(), heard.timestamps.end()).size(), heard.timestamps.size())
        << "an event was told twice";

    // Bounded, and nothing left behind.
    EXPECT_LT(stop_s, kCallBoundSeconds);
    EXPECT_LT(disconnect_s, kCallBoundSeconds);
    EXPECT_TRUE(released) << "threads " << threads << " -> " << orntest::thread_count() << ", descriptors "
                          << descriptors << " -> " << orntest::descriptor_count();
}

}  // namespace
