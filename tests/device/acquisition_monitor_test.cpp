// A monitor beside a controller that acquires with callbacks: it reads
// what the controller reads, its writes are refused before they leave the
// host, it cannot acquire, and neither connection's end disturbs the other.
#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <mutex>
#include <vector>

#include "ORNCExt.h"
#include "acquisition_test_support.h"
#include "temp_dir.h"

namespace {

using namespace std::chrono_literals;
using orntest::device_param;
using orntest::value_text;

constexpr const char* kSerial = "AQ000071";

std::string dump(ornc_t* ornc, const char* file) {
    EXPECT_EQ(ORNCDumpXML(ornc, file), ORNC_OK);
    return orntest::read_file(file);
}

class Monitor : public acqtest::SensorTest {};

TEST_F(Monitor, ReadsBesideAnAcquiringControllerWritesNothingAndOutlivesIt) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(71, kSerial)));
    ornc_t* controller = connection_->get();
    acqtest::Recorder recorder;
    std::mutex lock;
    std::vector<uint64_t> blocks;
    recorder.on_delivery = [&] {
        ornc_frame_info_t info{};
        EXPECT_EQ(ORNCGetFrameInfo(controller, &info), ORNC_OK);
        std::lock_guard<std::mutex> guard(lock);
        blocks.push_back(info.block_id);
    };
    recorder.attach(controller);
    ASSERT_EQ(ORNCStart(controller), ORNC_OK);
    ASSERT_EQ(ORNCAcquisitionStartMode(controller, 0, 0), ORNC_OK);

    orntest::Handle monitor;
    ornc_t* m = monitor.get();
    ASSERT_EQ(ORNCConnectByDeviceMonitor(m, ORNCSysGetDeviceBySerialNumber(nullptr, kSerial)), ORNC_OK);
    auto mp = [m](const char* name) { return device_param(m, name); };
    const char* const names[] = {"Width", "PixelFormat", "TriggerMode", "Gain", "DeviceSerialNumber", "DeviceUserID"};
    std::vector<std::string> before;
    for (const char* name : names) {
        before.push_back(value_text(device_param(controller, name)));
        EXPECT_EQ(value_text(mp(name)), before.back()) << name;
    }
    EXPECT_EQ(ORNCGetDeviceParamsCount(m), ORNCGetDeviceParamsCount(controller));
    EXPECT_EQ(ORNCParamsGetCategoryCount(ORNCGetDeviceParams(m)),
              ORNCParamsGetCategoryCount(ORNCGetDeviceParams(controller)));
    int entries[2] = {};
    int64_t range[2][3] = {};
    EXPECT_EQ(ORNCParamGetEnumEntryCount(mp("PixelFormat"), &entries[0]), ORNC_OK);
    ORNCParamGetEnumEntryCount(device_param(controller, "PixelFormat"), &entries[1]);
    EXPECT_EQ(entries[0], entries[1]);
    EXPECT_EQ(ORNCParamGetInteger64Range(mp("Width"), &range[0][0], &range[0][1], &range[0][2]), ORNC_OK);
    ORNCParamGetInteger64Range(device_param(controller, "Width"), &range[1][0], &range[1][1], &range[1][2]);
    EXPECT_EQ(std::vector<int64_t>(range[0], range[0] + 3), std::vector<int64_t>(range[1], range[1] + 3));
    const std::string xml = dump(m, "monitor.xml");
    EXPECT_NE(xml.find("<RegisterDescription"), std::string::npos);
    EXPECT_EQ(xml, dump(controller, "controller.xml"));

    // Refused before anything is sent: the sensor answers no write with an error.
    EXPECT_TRUE(ORNCParamIsWritable(device_param(controller, "Gain")));
    EXPECT_FALSE(ORNCParamIsWritable(mp("Gain")));
    const uint64_t errors = sensor().counters().gvcp_errors;
    const std::function<ornc_status_t()> writes[] = {
        [&] { return ORNCParamSetFloatValue(mp("Gain"), 3.0f); },
        [&] { return ORNCParamSetStringValue(mp("DeviceUserID"), "monitor"); },
        [&] { return ORNCParamSetValue(mp("TriggerMode"), "On"); },
        [&] { return ORNCParamSetValueText(mp("AcquisitionFrameCount"), "7"); },
        [&] { return ORNCParamSendCommand(mp("AcquisitionStop")); },
        [&] { return ORNCSetTriggerMode(m, 1); },
        [&] { return ORNCTriggerSoftware(m); },
        [&] { return ORNCIPMakePersistent(m, "10.0.0.5", "255.0.0.0", "0.0.0.0", 1); },
    };
    for (size_t i = 0; i < std::size(writes); ++i) EXPECT_EQ(writes[i](), ORNC_ERR_PARAM_NOT_WRITEABLE) << i;
    const std::function<ornc_status_t()> acquisition[] = {
        [&] { return ORNCStart(m); }, [&] { return ORNCAcquisitionStart(m); },
        [&] { return ORNCAcquisitionStartMode(m, 0, 0); }, [&] { return ORNCAcquisitionStop(m); },
        [&] { return ORNCStop(m); }};
    for (size_t i = 0; i < std::size(acquisition); ++i) EXPECT_EQ(acquisition[i](), ORNC_ERR_DEVICE_OPEN_FAILED) << i;
    EXPECT_EQ(sensor().counters().gvcp_errors, errors);
    for (size_t i = 0; i < std::size(names); ++i) EXPECT_EQ(value_text(device_param(controller, names[i])), before[i]);

    // Every frame of the controller arrives, the monitor beside it.
    EXPECT_TRUE(recorder.wait_frames(20, 20s)) << recorder.frames() << " frames";
    EXPECT_EQ(ORNCAcquisitionStop(controller), ORNC_OK);
    EXPECT_EQ(ORNCStop(controller), ORNC_OK);
    {
        std::lock_guard<std::mutex> guard(lock);
        for (size_t i = 1; i < blocks.size(); ++i) EXPECT_EQ(blocks[i], blocks[i - 1] + 1) << i;
    }

    // The monitor outlives the controller and holds no control: a new one
    // connects and its writes show through the monitor; the new controller
    // outlives the monitor in turn.
    connection_.reset();
    EXPECT_EQ(value_text(mp("DeviceSerialNumber")), kSerial);
    acqtest::Connection next(kSerial);
    ASSERT_EQ(next.status(), ORNC_OK);
    EXPECT_EQ(next.set_int("AcquisitionFrameCount", 9), ORNC_OK);
    EXPECT_EQ(value_text(mp("AcquisitionFrameCount")), "9");
    EXPECT_EQ(ORNCDisconnect(m), ORNC_OK);
    EXPECT_EQ(next.set_int("AcquisitionFrameCount", 11), ORNC_OK);
    EXPECT_EQ(next.value("AcquisitionFrameCount"), "11");
}

}  // namespace
