// Connecting to a device no one here wrote: Aravis's fake GigE Vision
// camera, in a network namespace of the test's own (it binds 127.0.0.1).
// Its description file has no multipart selectors, so connect reports the
// missing "SourceSelector" and still leaves a working connection.
#include <gtest/gtest.h>

#include <string>

#include "ORNC.h"
#include "aravis_fake_camera.h"
#include "handles.h"
#include "log_capture.h"

namespace {

using orntest::AravisFakeCamera;

TEST_F(AravisFakeCamera, ConnectsWalksAndReadsItsParameters) {
    orntest::Handle handle;
    {
        orntest::LogCapture log;
        EXPECT_EQ(ORNCConnectByIPAddress(handle.get(), &system_.sys, kAddress), ORNC_ERR_PARAM_UNDEFINED);
        EXPECT_EQ(log.count_containing("Could not find parameter SourceSelector"), 1);
        EXPECT_EQ(log.count_containing("ORNC: Streaming buffers created"), 1);
    }
    EXPECT_EQ(ORNCGetComponentCount(handle.get()), 0);

    ornc_parameters_t* params = ORNCGetDeviceParams(handle.get());
    const int count = ORNCGetDeviceParamsCount(handle.get());
    ASSERT_GT(count, 20);
    int read = 0;
    ornc_param_t* writable_float = nullptr;  // the first
    for (int i = 0; i < count; ++i) {
        ornc_param_t* p = ORNCParamsGetParam(params, i);
        ASSERT_NE(p, nullptr);
        const orn_param_type_t kind = ORNCParamGetType(p);
        if (!ORNCParamIsReadable(p) || kind == ORN_PARAM_COMMAND || kind == ORN_PARAM_REGISTER ||
            kind == ORN_PARAM_NONE) {
            continue;
        }
        if (kind == ORN_PARAM_FLOAT && ORNCParamIsWritable(p) && writable_float == nullptr) writable_float = p;
        const std::string text = orntest::value_text(p);
        EXPECT_EQ(text.rfind("<status", 0), std::string::npos) << orntest::param_name(p) << ": " << text;
        ++read;
    }
    EXPECT_GT(read, 10);

    char text[64];
    ASSERT_EQ(ORNCParamGetStringValue(orntest::device_param(handle.get(), "DeviceID"), text, sizeof text), ORNC_OK);
    EXPECT_STREQ(text, kSerial);
    // Its first writable float takes the middle of its range.
    ASSERT_NE(writable_float, nullptr);
    float min = 0.0f;
    float max = 0.0f;
    ASSERT_EQ(ORNCParamGetFloatMinMaxValues(writable_float, &min, &max), ORNC_OK);
    const float middle = min / 2 + max / 2;
    ASSERT_EQ(ORNCParamSetFloatValue(writable_float, middle), ORNC_OK);
    float value = 0.0f;
    ASSERT_EQ(ORNCParamGetFloatValue(writable_float, &value), ORNC_OK);
    EXPECT_NEAR(value, middle, 1e-3f * (max - min)) << orntest::param_name(writable_float);
    EXPECT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
}

}  // namespace
