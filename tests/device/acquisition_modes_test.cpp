// Acquisition and trigger modes against the virtual sensor: the start and
// stop rules and the steps they log, continuous, single-frame and
// multi-frame acquisition, the software-trigger states (not started, wrong
// mode, armed, pending), the worker's pace of one buffer per 10 ms pass,
// and a stop that waits for a callback in progress.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "acquisition_test_support.h"
#include "log_capture.h"
#include "temp_dir.h"
#include "test_genicam.h"

namespace {

using namespace std::chrono_literals;

class Modes : public acqtest::SensorTest {
protected:
    void start(int host, const char* serial, double fps = 20.0, const std::string& genicam_file = "") {
        ornsim::SensorConfig config = acqtest::sensor_config(host, serial, 128, 96, fps);
        config.genicam_file = genicam_file;
        ASSERT_NO_FATAL_FAILURE(start_sensor(config));
        recorder_.attach(ornc());
    }
    ornc_t* ornc() { return connection_->get(); }
    uint64_t frames_sent() { return sensor().counters().frames_sent; }
    // True when no more frames arrive for `quiet`.
    bool stays_at(int frames, std::chrono::milliseconds quiet) {
        std::this_thread::sleep_for(quiet);
        return recorder_.frames() == frames;
    }

    acqtest::Recorder recorder_;
};

TEST_F(Modes, StartAndStopFollowTheAcquisitionState) {
    ASSERT_NO_FATAL_FAILURE(start(21, "AQ000021"));
    // No server yet: there is no worker to deliver.
    EXPECT_EQ(ORNCAcquisitionStart(ornc()), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCAcquisitionStop(ornc()), ORNC_ERR_ACQUI_NOT_STARTED);
    ASSERT_EQ(ORNCStart(ornc()), ORNC_OK);
    EXPECT_EQ(ORNCAcquisitionStop(ornc()), ORNC_ERR_ACQUI_NOT_STARTED);
    ASSERT_EQ(ORNCAcquisitionStartMode(ornc(), 0, 0), ORNC_OK);
    EXPECT_EQ(ORNCAcquisitionStartMode(ornc(), 0, 0), ORNC_ERR_ACQUI_ALREADY_STARTED);
    EXPECT_TRUE(recorder_.wait_frames(3, 10s));
    // ORNCStop leaves the acquisition counted as started.
    EXPECT_EQ(ORNCStop(ornc()), ORNC_OK);
    EXPECT_EQ(ORNCAcquisitionStart(ornc()), ORNC_ERR_ACQUI_ALREADY_STARTED);
    EXPECT_EQ(ORNCAcquisitionStop(ornc()), ORNC_OK);

    EXPECT_EQ(ORNCAcquisitionStart(nullptr), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCAcquisitionStop(nullptr), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCStart(nullptr), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(recorder_.null_calls(), 0);
}

TEST_F(Modes, ModeSettersCheckTheirRangeAndATriggeredStartAndStopLogTheirSteps) {
    ASSERT_NO_FATAL_FAILURE(start(22, "AQ000022"));
    EXPECT_EQ(ORNCSetTriggerMode(ornc(), 2), ORNC_ERR_ILLEGAL_RANGE);
    EXPECT_EQ(ORNCSetTriggerMode(ornc(), -1), ORNC_ERR_ILLEGAL_RANGE);
    EXPECT_EQ(ORNCSetTriggerSource(ornc(), -1), ORNC_ERR_ILLEGAL_RANGE);
    EXPECT_EQ(ORNCSetAcquisitionMode(ornc(), 2), ORNC_ERR_ILLEGAL_RANGE);
    EXPECT_EQ(ORNCSetTriggerMode(nullptr, 0), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCTriggerSoftware(nullptr), ORNC_ERR_UNINITIALIZED);

    for (int mode : {1, 0}) {
        ASSERT_EQ(ORNCSetTriggerMode(ornc(), mode), ORNC_OK);
        ASSERT_EQ(ORNCSetAcquisitionMode(ornc(), mode), ORNC_OK);
        EXPECT_EQ(connection_->value("TriggerMode") + connection_->value("AcquisitionMode"),
                  std::string(2, '0' + mode));
    }
    // The sensor offers only Software (0) as trigger source.
    EXPECT_EQ(ORNCSetTriggerSource(ornc(), 0), ORNC_OK);
    EXPECT_EQ(ORNCSetTriggerSource(ornc(), 7), ORNC_ERR_PARAM_WRITE_FAILED);

    // A triggered start and stop without triggers log their steps in order.
    orntest::LogCapture log;
    ASSERT_EQ(acqtest::start(ornc(), 0, 1), ORNC_OK);
    ASSERT_EQ(acqtest::stop(ornc()), ORNC_OK);
    const std::vector<std::string> steps = {"ORNC: Starting server",
                                            "ORNC: Acquisition thread initialized",
                                            "ORNC: Acquisition thread started",
                                            "ORNC: EventSink newly allocated",
                                            "ORNC: Server started",
                                            "ORNC: TriggerMode set to 1",
                                            "ORNC: AcquisitionMode set to 0 (Continuous)",
                                            "ORNC: Enabling streaming and sending AcquisitionStart command",
                                            "ORNC: Streaming: queued",
                                            "ORNC: Realloc Buffer",
                                            "ORNC: Buffer ",
                                            "ORNC: Acquisition starting",
                                            "ORNC: Aborting",
                                            "ORNC: After aborting",
                                            "Acquisition stopped",
                                            "ORNC: Sending AcquisitionStop command to the device",
                                            "ORNC: Disable streaming on the controller"};
    size_t found = 0;  // steps seen so far, each in a line after the previous one's
    for (const std::string& line : log.lines()) {
        if (found < steps.size() && line.find(steps[found]) != std::string::npos) ++found;
    }
    EXPECT_EQ(found, steps.size()) << "missing or out of order: " << steps[std::min(found, steps.size() - 1)];
    // A triggered acquisition without triggers retrieves nothing, and a
    // retrieval time-out is never logged.
    EXPECT_EQ(log.count_containing("RetrieveBuffer"), 0);
    // The one stop message without the prefix.
    EXPECT_EQ(log.count_containing("ORNC: Acquisition stopped"), 0);
    // A second server start reuses the event sink.
    log.clear();
    ASSERT_EQ(ORNCStart(ornc()), ORNC_OK);
    EXPECT_EQ(log.count_containing("ORNC: EventSink already allocated"), 1);
    // Trigger mode 2 selects FrameStart first, then is refused.
    EXPECT_EQ(ORNCAcquisitionStartMode(ornc(), 0, 2), ORNC_ERR_ILLEGAL_RANGE);
    EXPECT_EQ(ORNCAcquisitionStartMode(ornc(), 3, 0), ORNC_ERR_ILLEGAL_RANGE);
    EXPECT_EQ(ORNCAcquisitionStop(ornc()), ORNC_ERR_ACQUI_NOT_STARTED);
    EXPECT_EQ(ORNCStop(ornc()), ORNC_OK);
    EXPECT_EQ(frames_sent(), 0u);
}

// The sensor's own file with some features renamed away.
std::string file_without(orntest::TempWorkDir& workdir, const ornsim::SensorConfig& config,
                         std::initializer_list<const char*> features) {
    std::string xml = orntest::builtin_xml(config);
    for (const char* feature : features) xml = orntest::rename_feature(xml, feature, std::string("Renamed") + feature);
    const std::string file = workdir.path() + "/reduced.xml";
    orntest::write_file(file, xml);
    return file;
}

TEST_F(Modes, ADeviceWithoutTriggerAndAcquisitionModeIsAlwaysUntriggeredAndContinuous) {
    orntest::TempWorkDir workdir;
    const std::string file = file_without(workdir, acqtest::sensor_config(23, "AQ000023"),
                                          {"TriggerMode", "TriggerSource", "AcquisitionMode"});
    ASSERT_NO_FATAL_FAILURE(start(23, "AQ000023", 20.0, file));

    EXPECT_EQ(ORNCSetTriggerMode(ornc(), 0), ORNC_OK);
    EXPECT_EQ(ORNCSetTriggerMode(ornc(), 1), ORNC_ERR_PARAM_UNDEFINED);
    EXPECT_EQ(ORNCSetTriggerSource(ornc(), 0), ORNC_OK);
    EXPECT_EQ(ORNCSetTriggerSource(ornc(), 1), ORNC_ERR_PARAM_UNDEFINED);
    EXPECT_EQ(ORNCSetAcquisitionMode(ornc(), 0), ORNC_OK);
    EXPECT_EQ(ORNCSetAcquisitionMode(ornc(), 1), ORNC_ERR_PARAM_UNDEFINED);

    ASSERT_EQ(ORNCStart(ornc()), ORNC_OK);
    EXPECT_EQ(ORNCAcquisitionStartMode(ornc(), 0, 1), ORNC_ERR_PARAM_UNDEFINED);
    ASSERT_EQ(ORNCAcquisitionStart(ornc()), ORNC_OK);  // nothing to keep: untriggered, continuous
    EXPECT_TRUE(recorder_.wait_frames(3, 10s));
    EXPECT_EQ(ORNCTriggerSoftware(ornc()), ORNC_ERR_ACQUI_WRONG_MODE);
    EXPECT_EQ(acqtest::stop(ornc()), ORNC_OK);
}

TEST_F(Modes, WithoutATriggerSelectorATriggeredStartOnlyWarns) {
    orntest::TempWorkDir workdir;
    const std::string file = file_without(workdir, acqtest::sensor_config(28, "AQ000028"), {"TriggerSelector"});
    ASSERT_NO_FATAL_FAILURE(start(28, "AQ000028", 20.0, file));
    ASSERT_EQ(ORNCStart(ornc()), ORNC_OK);
    {
        orntest::LogCapture log;
        ASSERT_EQ(ORNCAcquisitionStartMode(ornc(), 0, 1), ORNC_OK);
        EXPECT_EQ(log.count_containing("ORNC: No TriggerSelector present"), 1);
    }
    EXPECT_EQ(connection_->value("TriggerMode"), "1");
    EXPECT_EQ(ORNCTriggerSoftware(ornc()), ORNC_OK);
    EXPECT_TRUE(recorder_.wait_frames(1, 5s));
    EXPECT_EQ(acqtest::stop(ornc()), ORNC_OK);
}

TEST_F(Modes, SoftwareTriggerStatesAndOneImagePerTrigger) {
    ASSERT_NO_FATAL_FAILURE(start(24, "AQ000024"));
    ASSERT_EQ(ORNCStart(ornc()), ORNC_OK);

    // Not started: the command still reaches the device (which ignores it).
    EXPECT_EQ(ORNCTriggerSoftware(ornc()), ORNC_ERR_ACQUI_NOT_STARTED);

    // Continuous without trigger: wrong mode.
    ASSERT_EQ(ORNCAcquisitionStartMode(ornc(), 0, 0), ORNC_OK);
    EXPECT_EQ(ORNCTriggerSoftware(ornc()), ORNC_ERR_ACQUI_WRONG_MODE);
    ASSERT_EQ(ORNCAcquisitionStop(ornc()), ORNC_OK);
    EXPECT_EQ(connection_->value("TriggerMode"), "0");

    // Triggered: armed -> pending -> armed again once its image arrived.
    ASSERT_EQ(ORNCAcquisitionStartMode(ornc(), 0, 1), ORNC_OK);
    EXPECT_EQ(connection_->value("TriggerMode"), "1");
    EXPECT_EQ(connection_->value("TriggerSelector"), "0");
    ASSERT_TRUE(stays_at(recorder_.frames(), 300ms)) << "a triggered acquisition sends nothing by itself";
    int delivered = recorder_.frames();
    const uint64_t sent_before = frames_sent();
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(acqtest::trigger(ornc(), recorder_), ORNC_OK) << "trigger " << i;
        ASSERT_TRUE(recorder_.wait_frames(delivered + 1, 5s))
            << "trigger " << i << ", failed " << recorder_.null_calls();
        ++delivered;
        // The pending state ends right after the callback has returned.
        std::this_thread::sleep_for(50ms);
    }
    EXPECT_EQ(frames_sent() - sent_before, 5u);
    EXPECT_TRUE(stays_at(delivered, 200ms));

    // Two triggers before the image: the second is busy, both reach the device.
    const uint64_t sent = frames_sent();
    const int frames = recorder_.frames();
    // Pending until delivered: trigger and probe before the image is taken.
    recorder_.hold(true);
    ASSERT_EQ(ORNCTriggerSoftware(ornc()), ORNC_OK);
    EXPECT_EQ(ORNCTriggerSoftware(ornc()), ORNC_ERR_ACQUI_BUSY);
    recorder_.hold(false);
    EXPECT_TRUE(acqtest::wait_until([&] { return frames_sent() == sent + 2; }, 5s)) << frames_sent() - sent;
    EXPECT_TRUE(recorder_.wait_frames(frames + 2, 5s));

    // Stop clears the pending trigger; a new start with trigger on is armed.
    ASSERT_EQ(acqtest::trigger(ornc(), recorder_), ORNC_OK);
    ASSERT_EQ(ORNCAcquisitionStop(ornc()), ORNC_OK);
    ASSERT_EQ(ORNCAcquisitionStartMode(ornc(), 0, 1), ORNC_OK);
    EXPECT_EQ(acqtest::trigger(ornc(), recorder_), ORNC_OK);
    EXPECT_EQ(acqtest::stop(ornc()), ORNC_OK);
    EXPECT_EQ(recorder_.null_calls(), 0);
}

TEST_F(Modes, SingleFrameAndTheDevicesOwnModes) {
    ASSERT_NO_FATAL_FAILURE(start(25, "AQ000025"));
    ASSERT_EQ(connection_->set_int("AcquisitionFrameCount", 4), ORNC_OK);  // single frame, whatever the count says
    ASSERT_EQ(acqtest::start(ornc(), 1, 0), ORNC_OK);
    EXPECT_EQ(connection_->value("AcquisitionMode"), "1");
    ASSERT_TRUE(recorder_.wait_frames(1, 5s));
    EXPECT_TRUE(stays_at(1, 500ms)) << "single frame delivered " << recorder_.frames();
    // The library still counts it as started until stopped.
    EXPECT_EQ(ORNCAcquisitionStartMode(ornc(), 1, 0), ORNC_ERR_ACQUI_ALREADY_STARTED);
    ASSERT_EQ(ORNCAcquisitionStop(ornc()), ORNC_OK);

    // -1/-1 keeps the device's modes: MultiFrame of 4 written directly.
    ASSERT_EQ(connection_->set_enum("AcquisitionMode", "MultiFrame"), ORNC_OK);
    ASSERT_EQ(ORNCAcquisitionStart(ornc()), ORNC_OK);
    ASSERT_TRUE(recorder_.wait_frames(5, 5s));
    EXPECT_TRUE(stays_at(5, 500ms)) << recorder_.frames();
    ASSERT_EQ(acqtest::stop(ornc()), ORNC_OK);
    EXPECT_EQ(frames_sent(), 5u);
}

// Each pass of the worker takes at most one buffer and sleeps 10 ms, so
// frames sent faster than that are delivered one per pass: never two
// within a pass, and never lost while the stream's buffers hold them.
TEST_F(Modes, TheWorkerDeliversOneBufferPerPass) {
    ASSERT_NO_FATAL_FAILURE(start(26, "AQ000026", 400.0));
    ASSERT_EQ(connection_->set_enum("AcquisitionMode", "MultiFrame"), ORNC_OK);
    ASSERT_EQ(connection_->set_int("AcquisitionFrameCount", 12), ORNC_OK);
    ASSERT_EQ(acqtest::start(ornc(), -1, 0), ORNC_OK);
    ASSERT_TRUE(recorder_.wait_frames(12, 10s)) << recorder_.frames();
    EXPECT_EQ(acqtest::stop(ornc()), ORNC_OK);
    const auto times = recorder_.times();
    ASSERT_EQ(times.size(), 12u);
    auto min_gap = std::chrono::duration<double, std::milli>(1e9);
    for (size_t i = 1; i < times.size(); ++i) {
        min_gap = std::min(min_gap, std::chrono::duration<double, std::milli>(times[i] - times[i - 1]));
    }
    // 12 frames at 400 fps arrive within 30 ms; the worker spreads them.
    EXPECT_GE(min_gap.count(), 9.5) << "two deliveries within one 10 ms pass";
}

TEST_F(Modes, StopWaitsForTheCallbackInProgress) {
    ASSERT_NO_FATAL_FAILURE(start(27, "AQ000027"));
    std::atomic<int> entered{0};
    std::atomic<int> finished{0};
    recorder_.on_delivery = [&] {
        if (entered.fetch_add(1) == 0) {
            std::this_thread::sleep_for(400ms);
            finished.store(1);
        }
    };
    ASSERT_EQ(acqtest::start(ornc(), 0, 0), ORNC_OK);
    ASSERT_TRUE(acqtest::wait_until([&] { return entered.load() > 0; }, 10s));
    EXPECT_EQ(ORNCStop(ornc()), ORNC_OK);
    EXPECT_EQ(finished.load(), 1) << "ORNCStop returned while the callback still ran";
    // Nothing is delivered after the stop.
    const int frames = recorder_.frames();
    EXPECT_TRUE(stays_at(frames, 200ms));
    EXPECT_EQ(ORNCAcquisitionStop(ornc()), ORNC_OK);
}

}  // namespace
