#include "aravis_fake_camera.h"

#include <unistd.h>

#include <string>

#include "private_network.h"

namespace orntest {

void AravisFakeCamera::SetUp() {
    const std::string binary = ORNC_ARV_FAKE_CAMERA;
    if (binary.empty() || ::access(binary.c_str(), X_OK) != 0) {
        GTEST_SKIP() << "arv-fake-gv-camera-0.8 not available";
    }
    std::string why;
    if (!enter_private_network(&why)) {
        GTEST_SKIP() << why;
    }
    camera_ = spawn({binary, "-i", kAddress, "-s", kSerial});
    ASSERT_GT(camera_, 0);
    // The camera calls its model "Fake"; comments and CRLF line ends are
    // part of what the model file may hold.
    workdir_.write_model_file("# the fake camera calls itself so\r\nFake\r\n");
    // The camera needs a moment to bind; ask until it answers.
    for (int attempt = 0; attempt < 50 && device_ == nullptr; ++attempt) {
        ASSERT_EQ(ORNCSysFindDevices(&system_.sys), ORNC_OK);
        device_ = ORNCSysGetDeviceBySerialNumber(&system_.sys, kSerial);
        if (device_ == nullptr) ::usleep(100000);
    }
    ASSERT_NE(device_, nullptr) << "the fake camera never answered";
}

void AravisFakeCamera::TearDown() {
    if (camera_ > 0) end_child(camera_);
}

}  // namespace orntest
