// Connecting to a device no one here wrote: Aravis's fake GigE Vision
// camera, in a network namespace of the test's own (it binds 127.0.0.1).
// Its description file has no multipart selectors, so connect reports the
// missing "SourceSelector" and still leaves a working connection.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "ORNC.h"
#include "camera_test_support.h"
#include "private_network.h"

namespace {

constexpr const char* kFakeSerial = "FAKE0052";

class AravisFakeCamera : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string binary = ORNC_ARV_FAKE_CAMERA;
        if (binary.empty() || ::access(binary.c_str(), X_OK) != 0) {
            GTEST_SKIP() << "arv-fake-gv-camera-0.8 not available";
        }
        std::string why;
        if (!orntest::enter_private_network(&why)) {
            GTEST_SKIP() << why;
        }
        camera_ = orntest::spawn({binary, "-i", "127.0.0.1", "-s", kFakeSerial});
        ASSERT_GT(camera_, 0);
        workdir_.write_model_file("Fake\n");
        for (int attempt = 0; attempt < 50 && device_ == nullptr; ++attempt) {
            ASSERT_EQ(ORNCSysFindDevices(&system_.sys), ORNC_OK);
            device_ = ORNCSysGetDeviceBySerialNumber(&system_.sys, kFakeSerial);
            if (device_ == nullptr) ::usleep(100000);
        }
        ASSERT_NE(device_, nullptr) << "the fake camera never answered";
    }
    void TearDown() override {
        if (camera_ > 0) orntest::end_child(camera_);
    }

    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", "lo"};
    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", "127.0.0.1"};
    orntest::TempWorkDir workdir_;
    orntest::SystemScope system_;
    pid_t camera_ = -1;
    const ornc_device_t* device_ = nullptr;
};

TEST_F(AravisFakeCamera, ConnectsWalksAndReadsItsParameters) {
    camtest::Handle handle;
    {
        orntest::LogCapture log;
        EXPECT_EQ(ORNCConnectByIPAddress(handle.get(), &system_.sys, "127.0.0.1"), ORNC_ERR_PARAM_UNDEFINED);
        EXPECT_EQ(log.count_containing("Could not find parameter SourceSelector"), 1);
        EXPECT_EQ(log.count_containing("ORNC: Streaming buffers created"), 1);
    }
    EXPECT_EQ(ORNCGetComponentCount(handle.get()), 0);

    ornc_parameters_t* params = ORNCGetDeviceParams(handle.get());
    const int count = ORNCGetDeviceParamsCount(handle.get());
    ASSERT_GT(count, 20);
    int read = 0;
    for (int i = 0; i < count; ++i) {
        ornc_param_t* p = ORNCParamsGetParam(params, i);
        ASSERT_NE(p, nullptr);
        const std::string name = camtest::param_name(p);
        EXPECT_EQ(ORNCParamsGetParamByName(params, name.c_str()), p) << name;
        const orn_param_type_t kind = ORNCParamGetType(p);
        if (!ORNCParamIsReadable(p) || kind == ORN_PARAM_COMMAND || kind == ORN_PARAM_REGISTER ||
            kind == ORN_PARAM_NONE) {
            continue;
        }
        const std::string text = camtest::value_text(p);
        EXPECT_EQ(text.rfind("<status", 0), std::string::npos) << name << ": " << text;
        ++read;
    }
    EXPECT_GT(read, 10);
    for (int c = 0; c < ORNCParamsGetCategoryCount(params); ++c) {
        EXPECT_FALSE(camtest::category_name(ORNCParamsGetCategory(params, c)).empty());
    }

    char text[64];
    ASSERT_EQ(ORNCParamGetStringValue(camtest::device_param(handle.get(), "DeviceID"), text, sizeof text), ORNC_OK);
    EXPECT_STREQ(text, kFakeSerial);
    ornc_param_t* width = camtest::device_param(handle.get(), "Width");
    ASSERT_EQ(ORNCParamSetIntegerValue(width, 320), ORNC_OK);
    EXPECT_EQ(camtest::value_text(width), "320");
    // Its first writable float takes the middle of its range.
    ornc_param_t* writable_float = nullptr;
    for (int i = 0; i < count && writable_float == nullptr; ++i) {
        ornc_param_t* p = ORNCParamsGetParam(params, i);
        if (ORNCParamGetType(p) == ORN_PARAM_FLOAT && ORNCParamIsWritable(p) && ORNCParamIsReadable(p)) {
            writable_float = p;
        }
    }
    ASSERT_NE(writable_float, nullptr);
    float min = 0.0f;
    float max = 0.0f;
    ASSERT_EQ(ORNCParamGetFloatMinMaxValues(writable_float, &min, &max), ORNC_OK);
    const float middle = min / 2 + max / 2;
    ASSERT_EQ(ORNCParamSetFloatValue(writable_float, middle), ORNC_OK);
    float value = 0.0f;
    ASSERT_EQ(ORNCParamGetFloatValue(writable_float, &value), ORNC_OK);
    EXPECT_NEAR(value, middle, 1e-3f * (max - min)) << camtest::param_name(writable_float);
    EXPECT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
}

}  // namespace
