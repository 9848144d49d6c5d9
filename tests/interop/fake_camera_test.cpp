// Discovery of a device no one here wrote: Aravis's fake GigE Vision camera
// (the support fixture starts it in a network namespace of the test's own
// and admits its model).
#include <gtest/gtest.h>

#include "ORNC.h"
#include "aravis_fake_camera.h"

namespace {

using orntest::AravisFakeCamera;

TEST_F(AravisFakeCamera, IsFoundWithItsDetailsOnlyWhileTheModelFileAdmitsIt) {
    EXPECT_EQ(1, ORNCSysGetDeviceCount(&system_.sys));
    EXPECT_EQ("Fake", orntest::text_of(ORNCDeviceGetModelName, device_));
    EXPECT_EQ("Aravis", orntest::text_of(ORNCDeviceGetVendorName, device_));
    EXPECT_EQ(kSerial, orntest::device_serial(device_));
    EXPECT_EQ(kAddress, orntest::device_ip(device_));
    EXPECT_EQ("00:00:00:00:00:00", orntest::text_of(ORNCDeviceGetMACAddress, device_));
    EXPECT_EQ(device_, ORNCSysGetDeviceByIP(&system_.sys, kAddress));
    EXPECT_EQ(device_, ORNCSysGetDeviceByPattern(&system_.sys, "Aravis Fake"));
    EXPECT_EQ(device_, ORNCInterfaceGetDevice(&system_.sys, orntest::interface_named(&system_.sys, "lo"), 0));

    workdir_.remove_model_file();
    EXPECT_EQ(0, ORNCSysGetDeviceCount(&system_.sys));
    EXPECT_EQ(nullptr, ORNCSysGetDeviceBySerialNumber(&system_.sys, kSerial));
}

}  // namespace
