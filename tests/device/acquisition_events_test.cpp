// Device events through the public API: FrameEnd events from the sensor's
// message channel reach the event callback with data parameters that read
// the frame's id and timestamp. (Parameter callbacks:
// ParamRules.CallbacksHearOfWhatTheirValueDependsOn.)
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "acquisition_test_support.h"
#include "log_capture.h"

namespace {

using namespace std::chrono_literals;
using Events = acqtest::SensorTest;

// The callback set before the sink exists is copied into it by ORNCStart;
// one set while running replaces it at once; null switches events off.
TEST_F(Events, FrameEndEventsCarryTheFramesIdAndTimestampToTheCallbackOfTheMoment) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(41, "AQ000041")));
    ASSERT_EQ(connection_->set_enum("EventSelector", "FrameEnd"), ORNC_OK);
    ASSERT_EQ(connection_->set_enum("EventNotification", "On"), ORNC_OK);
    acqtest::Recorder recorder;
    recorder.attach(connection_->get());
    acqtest::EventRecorder log;
    log.attach(connection_->get());
    ASSERT_EQ(ORNCStart(connection_->get()), ORNC_OK);

    constexpr int kTriggers = 4;
    ASSERT_EQ(ORNCAcquisitionStartMode(connection_->get(), 0, 1), ORNC_OK);
    for (int i = 0; i < kTriggers; ++i) {
        ASSERT_EQ(acqtest::trigger(connection_->get(), recorder), ORNC_OK) << i;
        ASSERT_TRUE(recorder.wait_frames(i + 1, 5s)) << i;
        std::this_thread::sleep_for(50ms);
    }
    ASSERT_TRUE(acqtest::wait_until([&] { return log.size() >= kTriggers; }, 5s)) << log.size() << " events";

    // The frame numbers the images show (modulo 256) are the events' frame ids.
    std::set<uint64_t> shown;
    for (const auto& parts : recorder.vectors()) {
        ASSERT_EQ(parts.size(), 3u);
        shown.insert(orntest::frame_from_intensity(parts[1]));
    }
    std::set<uint64_t> ids;
    uint64_t previous_timestamp = 0;
    for (const acqtest::Event& event : log.events()) {
        EXPECT_EQ(event.items, 2);
        ASSERT_EQ(event.frame_id_status, ORNC_OK);
        if (event.timestamp <= UINT32_MAX) {
            ASSERT_EQ(event.timestamp_status, ORNC_OK);
            EXPECT_EQ(event.timestamp_low, event.timestamp) << "the data parameter reads the event's own timestamp";
        } else {
            EXPECT_EQ(event.timestamp_status, ORNC_ERR_OUT_OF_RANGE);
        }
        EXPECT_GT(event.timestamp, previous_timestamp);
        previous_timestamp = event.timestamp;
        ids.insert(static_cast<uint64_t>(event.frame_id) % 256);
    }
    EXPECT_EQ(ids, shown);

    acqtest::EventRecorder later;
    later.attach(connection_->get());
    std::vector<std::string> lines;
    {
        orntest::LogCapture capture;
        ASSERT_EQ(acqtest::trigger(connection_->get(), recorder), ORNC_OK);
        ASSERT_TRUE(acqtest::wait_until([&] { return later.size() == 1; }, 5s));
        ASSERT_TRUE(recorder.wait_frames(kTriggers + 1, 5s));
        std::this_thread::sleep_for(50ms);
        lines = capture.lines();
    }
    EXPECT_EQ(log.size(), static_cast<size_t>(kTriggers));
    // The event line: id, channel and block id in hexadecimal without
    // leading zeros, the timestamp as two 8-digit halves, high half first.
    const std::regex event_line(
        "ORNC: Event 9001 time ([0-9a-f]{8}) ([0-9a-f]{8}) channel 0 blockid ([0-9a-f]+) data 0x");
    int matched = 0;
    for (const std::string& line : lines) {
        std::smatch m;
        if (!std::regex_search(line, m, event_line)) continue;
        ++matched;
        const uint64_t timestamp = (std::stoull(m[1].str(), nullptr, 16) << 32) | std::stoull(m[2].str(), nullptr, 16);
        EXPECT_EQ(timestamp, later.events().at(0).timestamp) << line;
        EXPECT_NE(m[3].str()[0], '0') << line;
    }
    EXPECT_EQ(matched, 1);

    ORNCSetEventCallback(connection_->get(), nullptr, nullptr);
    ASSERT_EQ(acqtest::trigger(connection_->get(), recorder), ORNC_OK);
    ASSERT_TRUE(recorder.wait_frames(kTriggers + 2, 5s));
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(later.size(), 1u);
    EXPECT_GE(sensor().counters().events_sent, static_cast<uint64_t>(kTriggers + 2));
    EXPECT_EQ(acqtest::stop(connection_->get()), ORNC_OK);
}

// A start before the connect makes the sink; the first start that has a
// device registers it, so that device's events are heard.
TEST_F(Events, AStartBeforeTheConnectStillHearsTheDeviceConnectedLater) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(44, "AQ000044"), false));
    orntest::Handle handle;
    ornc_t* h = handle.get();
    ASSERT_EQ(ORNCStart(h), ORNC_OK);
    ASSERT_EQ(ORNCConnectBySerialNumber(h, nullptr, "AQ000044"), ORNC_OK);
    ASSERT_EQ(ORNCParamSetEnumValueByName(handle.param("EventSelector"), "FrameEnd"), ORNC_OK);
    ASSERT_EQ(ORNCParamSetEnumValueByName(handle.param("EventNotification"), "On"), ORNC_OK);
    acqtest::EventRecorder log;
    log.attach(h);
    ASSERT_EQ(acqtest::start(h, 0, 1), ORNC_OK);
    ASSERT_EQ(ORNCTriggerSoftware(h), ORNC_OK);
    EXPECT_TRUE(acqtest::wait_until([&] { return log.size() == 1; }, 5s));
    EXPECT_EQ(acqtest::stop(h), ORNC_OK);
    EXPECT_EQ(ORNCDisconnect(h), ORNC_OK);
}

}  // namespace
