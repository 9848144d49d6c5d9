// Discovery of a device no one here wrote: Aravis's fake GigE Vision
// camera, in a network namespace of the test's own (it binds 127.0.0.1,
// which the host's other tests may use too).
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "ORNC.h"
#include "discovery_test_support.h"
#include "private_network.h"
#include "raw_controller.h"

namespace {

constexpr const char* kFakeSerial = "FAKE0042";

class FakeCameraDiscovery : public ::testing::Test {
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
        workdir_.write_model_file("# the fake camera calls itself so\r\nFake\r\n");
        // The camera needs a moment to bind; ask until it answers.
        for (int attempt = 0; attempt < 50 && found_ == nullptr; ++attempt) {
            ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope_.sys));
            found_ = ORNCSysGetDeviceBySerialNumber(&scope_.sys, kFakeSerial);
            if (found_ == nullptr) ::usleep(100000);
        }
        ASSERT_NE(nullptr, found_) << "the fake camera never answered";
    }

    void TearDown() override { orntest::end_child(camera_); }

    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", "lo"};
    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", "127.0.0.1"};
    orntest::TempWorkDir workdir_;
    orntest::SystemScope scope_;
    pid_t camera_ = -1;
    const ornc_device_t* found_ = nullptr;
};

TEST_F(FakeCameraDiscovery, IsFoundWithItsDetailsOnlyWhileTheModelFileAdmitsIt) {
    EXPECT_EQ(1, ORNCSysGetDeviceCount(&scope_.sys));
    EXPECT_EQ("Fake", orntest::text_of(ORNCDeviceGetModelName, found_));
    EXPECT_EQ("Aravis", orntest::text_of(ORNCDeviceGetVendorName, found_));
    EXPECT_EQ(kFakeSerial, orntest::device_serial(found_));
    EXPECT_EQ("127.0.0.1", orntest::device_ip(found_));
    EXPECT_EQ("00:00:00:00:00:00", orntest::text_of(ORNCDeviceGetMACAddress, found_));
    EXPECT_EQ(found_, ORNCSysGetDeviceByIP(&scope_.sys, "127.0.0.1"));
    EXPECT_EQ(found_, ORNCSysGetDeviceByPattern(&scope_.sys, "Aravis Fake"));

    const ornc_interface_t* lo = orntest::interface_named(&scope_.sys, "lo");
    ASSERT_NE(nullptr, lo);
    EXPECT_EQ(found_, ORNCInterfaceGetDevice(&scope_.sys, lo, 0));

    workdir_.remove_model_file();
    EXPECT_EQ(0, ORNCSysGetDeviceCount(&scope_.sys));
    EXPECT_EQ(nullptr, ORNCSysGetDeviceBySerialNumber(&scope_.sys, kFakeSerial));
}

TEST_F(FakeCameraDiscovery, AccessTypeIsOpenThenControlWhileAnotherClientHoldsIt) {
    EXPECT_EQ(ORNC_ACCESS_TYPE_OPEN, ORNCGetAccessTypeByIPAddress("127.0.0.1"));
    orntest::Controller other("127.0.0.1");
    ASSERT_TRUE(other.write_ccp(gvcp::CCP_CONTROL));
    EXPECT_EQ(ORNC_ACCESS_TYPE_CONTROL, ORNCGetAccessTypeByIPAddress("127.0.0.1"));
}

}  // namespace
