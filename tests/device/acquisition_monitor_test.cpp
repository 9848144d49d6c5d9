// A monitor beside a controller that acquires with callbacks: it reads
// what the controller reads, its writes are refused before they leave the
// host, it cannot acquire, and neither connection's end disturbs the other.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>
#include <vector>

#include "ORNCExt.h"
#include "acquisition_test_support.h"
#include "temp_dir.h"

namespace {

using namespace std::chrono_literals;
using orntest::device_param;
using orntest::value_text;

// Values, list and category counts, an enumeration's entries, a range and the XML.
std::string reads(ornc_t* h) {
    int entries = 0;
    int64_t range[3] = {};
    ORNCParamGetEnumEntryCount(device_param(h, "PixelFormat"), &entries);
    ORNCParamGetInteger64Range(device_param(h, "Width"), &range[0], &range[1], &range[2]);
    std::string text = std::to_string(ORNCGetDeviceParamsCount(h)) + " " +
                       std::to_string(ORNCParamsGetCategoryCount(ORNCGetDeviceParams(h))) + " " +
                       std::to_string(entries) + " " + std::to_string(range[1]);
    for (const char* name : {"Width", "PixelFormat", "TriggerMode", "Gain", "DeviceUserID", "AcquisitionFrameCount"})
        text += " " + value_text(device_param(h, name));
    EXPECT_EQ(ORNCDumpXML(h, "dump.xml"), ORNC_OK);
    return text + orntest::read_file("dump.xml");
}

class Monitor : public acqtest::SensorTest {};

TEST_F(Monitor, ReadsBesideAnAcquiringControllerWritesNothingAndOutlivesIt) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(71, "AQ000071")));
    ornc_t* controller = connection_->get();
    acqtest::Recorder recorder(true);
    recorder.attach(controller);
    ASSERT_EQ(acqtest::start(controller, 0, 0), ORNC_OK);

    orntest::Handle monitor;
    ornc_t* m = monitor.get();
    ASSERT_EQ(ORNCConnectByDeviceMonitor(m, ORNCSysGetDeviceBySerialNumber(nullptr, "AQ000071")), ORNC_OK);
    const std::string seen = reads(controller);
    EXPECT_NE(seen.find("<RegisterDescription"), std::string::npos);
    EXPECT_EQ(reads(m), seen);

    // Refused before anything is sent: the sensor answers no write with an error.
    EXPECT_TRUE(ORNCParamIsWritable(device_param(controller, "Gain")));
    EXPECT_FALSE(ORNCParamIsWritable(device_param(m, "Gain")));
    const uint64_t errors = sensor().counters().gvcp_errors;
    const std::function<ornc_status_t()> writes[] = {
        [&] { return ORNCParamSetFloatValue(device_param(m, "Gain"), 3.0f); },
        [&] { return ORNCParamSetStringValue(device_param(m, "DeviceUserID"), "monitor"); },
        [&] { return ORNCParamSetValue(device_param(m, "TriggerMode"), "On"); },
        [&] { return ORNCParamSetValueText(device_param(m, "AcquisitionFrameCount"), "7"); },
        [&] { return ORNCParamSendCommand(device_param(m, "AcquisitionStop")); },
        [&] { return ORNCSetTriggerMode(m, 1); },
        [&] { return ORNCSetComponentSelector(m, 1); },
        [&] { return ORNCTriggerSoftware(m); },
        [&] { return ORNCIPMakePersistent(m, "10.0.0.5", "255.0.0.0", "0.0.0.0", 1); }};
    for (size_t i = 0; i < std::size(writes); ++i) EXPECT_EQ(writes[i](), ORNC_ERR_PARAM_NOT_WRITEABLE) << i;
    const std::function<ornc_status_t()> acquisition[] = {
        [&] { return ORNCStart(m); }, [&] { return ORNCAcquisitionStart(m); },
        [&] { return ORNCAcquisitionStartMode(m, 0, 0); }, [&] { return ORNCAcquisitionStop(m); },
        [&] { return ORNCStop(m); }};
    for (size_t i = 0; i < std::size(acquisition); ++i) EXPECT_EQ(acquisition[i](), ORNC_ERR_DEVICE_OPEN_FAILED) << i;
    EXPECT_EQ(sensor().counters().gvcp_errors, errors);
    EXPECT_EQ(reads(controller), seen);

    // Every frame of the controller arrives, the monitor beside it.
    EXPECT_TRUE(recorder.wait_frames(20, 20s)) << recorder.frames() << " frames";
    EXPECT_EQ(acqtest::stop(controller), ORNC_OK);
    const std::vector<acqtest::Delivered> delivered = recorder.delivered();
    for (size_t i = 1; i < delivered.size(); ++i) {
        EXPECT_EQ(std::make_tuple(delivered[i].status, delivered[i].info.block_id),
                  std::make_tuple(ORNC_OK, delivered[i - 1].info.block_id + 1))
            << i;
    }

    // The monitor outlives the controller and holds no control: a new one
    // connects and its write shows through the monitor; the new controller
    // outlives the monitor in turn.
    connection_.reset();
    acqtest::Connection next("AQ000071");
    ASSERT_EQ(next.status(), ORNC_OK);
    EXPECT_EQ(next.set_int("AcquisitionFrameCount", 9), ORNC_OK);
    EXPECT_EQ(value_text(device_param(m, "AcquisitionFrameCount")), "9");
    EXPECT_EQ(ORNCDisconnect(m), ORNC_OK);
    EXPECT_EQ(next.set_int("AcquisitionFrameCount", 11), ORNC_OK);
    EXPECT_EQ(next.value("AcquisitionFrameCount"), "11");
}

}  // namespace
