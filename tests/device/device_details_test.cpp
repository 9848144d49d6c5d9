// Adapter and device details, access type and immediate IP configuration
// of virtual sensors on loopback, through the public API.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ORNC.h"
#include "environment.h"
#include "gvcp_client.h"
#include "handles.h"
#include "log_capture.h"
#include "sensor.h"
#include "temp_dir.h"
#include "wait.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"
#include "wire/gvcp_packets.h"

namespace {

using orntest::text_of;

constexpr const char* kHosts = "127.0.44.1-127.0.44.8";
constexpr const char* kAddress = "127.0.44.4";
const std::string kMac = orntest::loopback_mac(orntest::Block::discovery, 4);

class SensorDetails : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(fleet_.add(orntest::Block::discovery, 4, "VSD0004", "planoGAUGE Virtual"), "");
        device_ = ORNCSysGetDeviceBySerialNumber(&scope_.sys, "VSD0004");
        ASSERT_NE(nullptr, device_);
        lo_ = orntest::interface_named(&scope_.sys, "lo");
        ASSERT_NE(nullptr, lo_);
    }

    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", "lo"};
    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", kHosts};
    orntest::TempWorkDir workdir_;
    orntest::SensorFleet fleet_;
    orntest::SystemScope scope_;
    const ornc_device_t* device_ = nullptr;
    const ornc_interface_t* lo_ = nullptr;
};

TEST_F(SensorDetails, DeviceTextsVersionAndIPConfigurationFlagsComeFromTheAck) {
    EXPECT_EQ("ORNC Virtual Sensors planoGAUGE Virtual (VSD0004) 127.0.44.4", text_of(ORNCDeviceGetID, device_));
    EXPECT_EQ("planoGAUGE Virtual", text_of(ORNCDeviceGetModelName, device_));
    EXPECT_EQ("ORNC Virtual Sensors", text_of(ORNCDeviceGetVendorName, device_));
    EXPECT_EQ("VSD0004", text_of(ORNCDeviceGetSerialNumber, device_));
    EXPECT_EQ(kAddress, text_of(ORNCDeviceGetIPAddress, device_));
    EXPECT_EQ(kMac, text_of(ORNCDeviceGetMACAddress, device_));
    in_addr parsed{};
    EXPECT_EQ(1, inet_pton(AF_INET, text_of(ORNCDeviceGetSubnetMask, device_).c_str(), &parsed));
    EXPECT_EQ(1, inet_pton(AF_INET, text_of(ORNCDeviceGetDefaultGateway, device_).c_str(), &parsed));

    const int needed = static_cast<int>(std::strlen(kAddress)) + 1;
    EXPECT_EQ(needed, ORNCDeviceGetIPAddress(device_, nullptr, 0));
    char text[32];
    std::memset(text, 'x', sizeof text);
    EXPECT_EQ(0, ORNCDeviceGetIPAddress(device_, text, needed - 1));
    EXPECT_STREQ("", text);
    EXPECT_EQ(needed, ORNCDeviceGetIPAddress(device_, text, needed));
    EXPECT_STREQ(kAddress, text);
    EXPECT_EQ(0, ORNCDeviceGetModelName(device_, text, 5));
    EXPECT_STREQ("", text);

    int major = -1;
    int minor = -1;
    ASSERT_EQ(ORNC_OK, ORNCDeviceGetGEVVersion(device_, &major, &minor));
    EXPECT_EQ(2, major);
    EXPECT_GE(minor, 0);
    EXPECT_EQ(ORNC_OK, ORNCDeviceGetGEVVersion(device_, nullptr, nullptr));
    // Whatever the sensor enables, it must also support.
    EXPECT_TRUE(!ORNCDeviceIsDHCPEnabled(device_) || ORNCDeviceIsDHCPAvailable(device_));
    EXPECT_TRUE(!ORNCDeviceIsLLAEnabled(device_) || ORNCDeviceIsLLAAvailable(device_));
    EXPECT_TRUE(!ORNCDeviceIsPersistentEnabled(device_) || ORNCDeviceIsPersistentAvailable(device_));
    EXPECT_TRUE(ORNCDeviceIsLLAAvailable(device_) || ORNCDeviceIsDHCPAvailable(device_) ||
                ORNCDeviceIsPersistentAvailable(device_));
}

TEST_F(SensorDetails, NullDeviceAndInterfaceHandlesGiveNeutralAnswers) {
    char text[16] = "untouched";
    for (orntest::DeviceTextGetter address_text :
         {ORNCDeviceGetIPAddress, ORNCDeviceGetMACAddress, ORNCDeviceGetSubnetMask, ORNCDeviceGetDefaultGateway}) {
        EXPECT_EQ(0, address_text(nullptr, text, sizeof text));
    }
    EXPECT_STREQ("untouched", text);
    EXPECT_EQ(0, ORNCDeviceGetID(nullptr, text, sizeof text));
    EXPECT_EQ(0, ORNCDeviceGetSerialNumber(nullptr, nullptr, 0));
    for (auto flag : {ORNCDeviceIsDHCPAvailable, ORNCDeviceIsDHCPEnabled, ORNCDeviceIsLLAAvailable,
                      ORNCDeviceIsLLAEnabled, ORNCDeviceIsPersistentAvailable, ORNCDeviceIsPersistentEnabled}) {
        EXPECT_EQ(0, flag(nullptr));
    }
    int major = -7;
    EXPECT_EQ(ORNC_ERROR, ORNCDeviceGetGEVVersion(nullptr, &major, nullptr));
    EXPECT_EQ(-7, major);
    EXPECT_EQ(ORNC_ERROR, ORNCDeviceSetIPConfiguration(nullptr, "127.0.44.5", "255.0.0.0", "0.0.0.0"));

    std::strcpy(text, "untouched");
    EXPECT_EQ(0, ORNCInterfaceGetIPAddressCount(nullptr));
    EXPECT_EQ(0, ORNCInterfaceGetIPAddress(nullptr, 0, text, sizeof text));
    EXPECT_STREQ("", text);
    EXPECT_EQ(0, ORNCInterfaceGetSubnetMask(nullptr, 0, text, sizeof text));
    EXPECT_EQ(0, ORNCInterfaceGetMACAddress(nullptr, text, sizeof text));
    EXPECT_EQ(0, ORNCInterfaceGetDefaultGateway(nullptr, text, sizeof text));
    EXPECT_EQ(1, ORNCInterfaceGetDescription(nullptr, text, sizeof text));
    EXPECT_STREQ("", text);
}

TEST_F(SensorDetails, LoopbackAdapterDetailsAndTheirHandleOutlivesANewDiscovery) {
    ASSERT_GE(ORNCInterfaceGetIPAddressCount(lo_), 1);
    EXPECT_EQ(
        "127.0.0.1",
        text_of([](const ornc_interface_t* i, char* t, int l) { return ORNCInterfaceGetIPAddress(i, 0, t, l); }, lo_));
    EXPECT_EQ(
        "255.0.0.0",
        text_of([](const ornc_interface_t* i, char* t, int l) { return ORNCInterfaceGetSubnetMask(i, 0, t, l); }, lo_));
    EXPECT_EQ("00:00:00:00:00:00", text_of(ORNCInterfaceGetMACAddress, lo_));
    EXPECT_EQ("0.0.0.0", text_of(ORNCInterfaceGetDefaultGateway, lo_));
    EXPECT_EQ("lo", text_of(ORNCInterfaceGetDescription, lo_));

    char text[16] = "untouched";
    EXPECT_EQ(0, ORNCInterfaceGetIPAddress(lo_, -1, text, sizeof text));
    EXPECT_STREQ("", text);
    std::strcpy(text, "untouched");
    EXPECT_EQ(0, ORNCInterfaceGetIPAddress(lo_, 0, text, -1));
    EXPECT_STREQ("untouched", text);  // no room promised: nothing written
    EXPECT_EQ(0, ORNCInterfaceGetSubnetMask(lo_, 0, text, -1));
    EXPECT_EQ(0, ORNCInterfaceGetIPAddress(lo_, 0, text, 9));  // "127.0.0.1" needs 10
    EXPECT_STREQ("", text);
    EXPECT_EQ(10, ORNCInterfaceGetIPAddress(lo_, 0, nullptr, 0));

    // The only sensor goes away and a new discovery finds nothing; from
    // then on every count runs yet another discovery. The adapter handle
    // taken before must still answer (AddressSanitizer builds would catch
    // a freed one).
    fleet_[0].stop();
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope_.sys));
    EXPECT_EQ(0, ORNCSysGetDeviceCount(&scope_.sys));
    EXPECT_EQ(0, ORNCInterfaceGetDeviceCount(&scope_.sys, lo_));
    EXPECT_EQ("lo", text_of(ORNCInterfaceGetDescription, lo_));
    EXPECT_EQ("0.0.0.0", text_of(ORNCInterfaceGetDefaultGateway, lo_));
    EXPECT_EQ(lo_, orntest::interface_named(&scope_.sys, "lo"));
}

TEST_F(SensorDetails, AccessTypeFollowsTheControlPrivilegeAndIsUnknownWithoutADevice) {
    EXPECT_EQ(ORNC_ACCESS_TYPE_OPEN, ORNCGetAccessTypeByIPAddress(kAddress));
    {
        orntest::ControlHolder other(kAddress);
        ASSERT_TRUE(other.write_ccp(gvcp::CCP_CONTROL));
        EXPECT_EQ(ORNC_ACCESS_TYPE_CONTROL, ORNCGetAccessTypeByIPAddress(kAddress));
        ASSERT_TRUE(other.write_ccp(gvcp::CCP_EXCLUSIVE));
        EXPECT_EQ(ORNC_ACCESS_TYPE_EXCLUSIVE, ORNCGetAccessTypeByIPAddress(kAddress));
    }
    EXPECT_EQ(ORNC_ACCESS_TYPE_OPEN, ORNCGetAccessTypeByIPAddress(kAddress));

    orntest::LogCapture log;
    EXPECT_EQ(ORNC_ACCESS_TYPE_UNKNOWN, ORNCGetAccessTypeByIPAddress(""));
    EXPECT_EQ(ORNC_ACCESS_TYPE_UNKNOWN, ORNCGetAccessTypeByIPAddress(nullptr));
    EXPECT_EQ(0, log.count_containing("GetAccessType"));
    EXPECT_EQ(ORNC_ACCESS_TYPE_UNKNOWN, ORNCGetAccessTypeByIPAddress("127.0.44.8"));
    EXPECT_EQ(ORNC_ACCESS_TYPE_UNKNOWN, ORNCGetAccessTypeByIPAddress("not an address"));
    EXPECT_EQ(2, log.count_containing("ORNC: GetAccessType failed"));
}

TEST_F(SensorDetails, ForceIPRefusesBadTextsAndAControlledDeviceElseMovesItWhereDiscoveryFindsIt) {
    EXPECT_EQ(ORNC_ERROR, ORNCDeviceSetIPConfiguration(device_, "127.0.44.300", "255.0.0.0", "0.0.0.0"));
    EXPECT_EQ(ORNC_ERROR, ORNCDeviceSetIPConfiguration(device_, nullptr, "255.0.0.0", "0.0.0.0"));
    EXPECT_EQ(ORNC_ERROR, ORNCDeviceSetIPConfiguration(device_, "127.0.44.6", "", "0.0.0.0"));
    EXPECT_EQ(kAddress, fleet_[0].current_address());
    {
        orntest::ControlHolder other(kAddress);
        ASSERT_TRUE(other.write_ccp(gvcp::CCP_CONTROL));
        EXPECT_EQ(ORNC_ERROR, ORNCDeviceSetIPConfiguration(device_, "127.0.44.6", "255.0.0.0", "0.0.0.0"));
        EXPECT_EQ(kAddress, fleet_[0].current_address());
    }

    ASSERT_EQ(ORNC_OK, ORNCDeviceSetIPConfiguration(device_, "127.0.44.6", "255.0.0.0", "0.0.0.0"));
    EXPECT_EQ("127.0.44.6", fleet_[0].current_address());
    // The old list is not refreshed by the change.
    EXPECT_EQ(kAddress, orntest::device_ip(device_));
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope_.sys));
    const ornc_device_t* moved = ORNCSysGetDeviceBySerialNumber(&scope_.sys, "VSD0004");
    ASSERT_NE(nullptr, moved);
    EXPECT_EQ("127.0.44.6", orntest::device_ip(moved));
    EXPECT_EQ(nullptr, ORNCSysGetDeviceByIP(&scope_.sys, kAddress));
}

}  // namespace
