// Finding, filtering and selecting virtual sensors on loopback through the
// public API (SensorDiscovery: three sensors, one with a built-in model, one
// whose model only "genicam_devices.ini" admits, and a second listing of the
// first, same serial number and model, other address), and the adapter and
// device details, access type and immediate IP configuration of one sensor
// found that way (SensorDetails).
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
#include "wire/gvcp_layout.h"

namespace {

using orntest::device_ip;
using orntest::device_serial;
using orntest::text_of;

// This suite's own loopback block; ctest serialises its cases on it.
constexpr const char* kHosts = "127.0.44.1-127.0.44.8";
constexpr const char* kBuiltInAddress = "127.0.44.1";
constexpr const char* kFileOnlyAddress = "127.0.44.2";
constexpr const char* kTwinAddress = "127.0.44.3";
constexpr const char* kBuiltInModel = "lumenGAUGE Virtual 3D";
constexpr const char* kFileOnlyModel = "Model X 100";
constexpr const char* kAddress = "127.0.44.4";  // SensorDetails' sensor

// Discovery asks only this suite's hosts on lo; sensors end with the case.
class OnLoopback : public ::testing::Test {
protected:
    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", "lo"};
    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", kHosts};
    orntest::TempWorkDir workdir_;
    orntest::SensorFleet fleet_;
};

class SensorDiscovery : public OnLoopback {
protected:
    void SetUp() override {
        ASSERT_EQ(fleet_.add(orntest::Block::discovery, 1, "VSA0001", kBuiltInModel), "");
        ASSERT_EQ(fleet_.add(orntest::Block::discovery, 2, "VSB0002", kFileOnlyModel), "");
        ASSERT_EQ(fleet_.add(orntest::Block::discovery, 3, "VSA0001", kBuiltInModel), "");
    }
};

TEST_F(SensorDiscovery, SecondListingOfADeviceIsHiddenWithItsLogLine) {
    orntest::LogCapture log;
    orntest::SystemScope scope;
    EXPECT_EQ(1, ORNCSysGetDeviceCount(&scope.sys));
    EXPECT_EQ(1, log.count_containing("ORNC: Removed double defined device lumenGAUGE Virtual 3D VSA0001"));
    const ornc_device_t* kept = ORNCSysGetDevice(&scope.sys, 0);
    ASSERT_NE(nullptr, kept);
    // Whichever twin answered first is the one listed.
    const std::string ip = device_ip(kept);
    EXPECT_TRUE(ip == kBuiltInAddress || ip == kTwinAddress) << ip;
    EXPECT_EQ(nullptr, ORNCSysGetDevice(&scope.sys, 1));
}

TEST_F(SensorDiscovery, ModelFileRules) {
    orntest::SystemScope scope;
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
    struct Case {
        std::string content;
        int expected;
    };
    const Case cases[] = {
        {"Model X\r\n", 2},                           // CR LF is trimmed, the line is a substring
        {"Model X", 2},                               // last line without an end
        {" Model X\n", 1},                            // a leading blank is part of the substring
        {"# Model X\n\n#\r\n", 1},                    // comments and empty lines admit nothing
        {"\nModel Y\nX 10\n", 2},                     // any line that is a substring
        {"model x\n", 1},                             // case-sensitive
        {std::string(1100, 'a') + "\nModel X\n", 2},  // a long line does not swallow the next
    };
    for (const Case& c : cases) {
        workdir_.write_model_file(c.content);
        EXPECT_EQ(c.expected, ORNCSysGetDeviceCount(&scope.sys)) << "file: " << c.content;
    }
    workdir_.remove_model_file();
    EXPECT_EQ(1, ORNCSysGetDeviceCount(&scope.sys));
}

// Selection counts only supported devices; the first search logs every step.
TEST_F(SensorDiscovery, SelectionByIndexSerialNumberIPAndPatternLogsItsSteps) {
    workdir_.write_model_file("Model X\n");
    orntest::LogCapture log;
    orntest::SystemScope scope;
    const ornc_device_t* file_only = ORNCSysGetDeviceBySerialNumber(&scope.sys, "VSB0002");
    ASSERT_NE(nullptr, file_only);
    EXPECT_EQ(1, log.count_containing("ORNC: Getting device by serial number"));
    EXPECT_EQ(1, log.count_containing("ORNC: Finding devices"));
    EXPECT_EQ(1, log.count_containing("ORNC: Devices retrieved"));
    EXPECT_EQ(1, log.count_containing("ORNC: Find iterate device interface 1/1"));
    EXPECT_GE(log.count_containing("ORNC: Find iterate device 1/3"), 1);
    EXPECT_EQ(1, log.count_containing("ORNC: Found device ORNC Virtual Sensors Model X 100 (VSB0002)"));
    log.clear();
    ASSERT_EQ(2, ORNCSysGetDeviceCount(&scope.sys));
    EXPECT_EQ(1, log.count_containing("ORNC: 2 matching devices found"));

    const ornc_device_t* first = ORNCSysGetDevice(&scope.sys, 0);
    const ornc_device_t* second = ORNCSysGetDevice(&scope.sys, 1);
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    EXPECT_NE(first, second);
    EXPECT_EQ(nullptr, ORNCSysGetDevice(&scope.sys, 2));
    EXPECT_EQ(nullptr, ORNCSysGetDevice(&scope.sys, -1));
    ASSERT_EQ(1, ORNCSysGetInterfaceCount(&scope.sys));
    const ornc_interface_t* lo = ORNCSysGetInterface(&scope.sys, 0);
    ASSERT_NE(nullptr, lo);
    EXPECT_EQ(nullptr, ORNCSysGetInterface(&scope.sys, 1));
    EXPECT_EQ(nullptr, ORNCSysGetInterface(&scope.sys, -1));
    EXPECT_EQ(2, ORNCInterfaceGetDeviceCount(&scope.sys, lo));
    EXPECT_EQ(first, ORNCInterfaceGetDevice(&scope.sys, lo, -1));
    EXPECT_EQ(first, ORNCInterfaceGetDevice(&scope.sys, lo, 0));
    EXPECT_EQ(second, ORNCInterfaceGetDevice(&scope.sys, lo, 1));
    EXPECT_EQ(nullptr, ORNCInterfaceGetDevice(&scope.sys, lo, 2));
    EXPECT_EQ(2, ORNCInterfaceGetDeviceCount(&scope.sys, nullptr));  // no adapter: every adapter
    EXPECT_EQ(second, ORNCInterfaceGetDevice(&scope.sys, nullptr, 1));

    file_only = ORNCSysGetDeviceBySerialNumber(&scope.sys, "VSB0002");
    ASSERT_NE(nullptr, file_only);
    EXPECT_EQ(nullptr, ORNCSysGetDeviceBySerialNumber(&scope.sys, "VSB000"));  // exact match only
    EXPECT_GE(log.count_containing("ORNC: Device not found"), 1);
    EXPECT_EQ(file_only, ORNCSysGetDeviceByIP(&scope.sys, kFileOnlyAddress));
    EXPECT_EQ(nullptr, ORNCSysGetDeviceByIP(&scope.sys, "127.000.044.002"));  // compared as text
    EXPECT_EQ(nullptr, ORNCSysGetDeviceByIP(&scope.sys, "127.0.44.7"));
    EXPECT_EQ(ORNCSysGetDevice(&scope.sys, 0), ORNCSysGetDeviceByPattern(&scope.sys, ""));
    EXPECT_EQ(ORNCSysGetDevice(&scope.sys, 0), ORNCSysGetDeviceByPattern(&scope.sys, nullptr));
    EXPECT_EQ(file_only, ORNCSysGetDeviceByPattern(&scope.sys, "Model X"));
    EXPECT_EQ(file_only, ORNCSysGetDeviceByPattern(&scope.sys, "VSB0002"));
    EXPECT_EQ(nullptr, ORNCSysGetDeviceByPattern(&scope.sys, "model x"));

    // A malformed address text is refused without a search.
    log.clear();
    for (const char* text : {"192.168.0.256", "1.2.3", "-1.2.3.4", "a.b.c.d"}) {
        EXPECT_EQ(nullptr, ORNCSysGetDeviceByIP(&scope.sys, text)) << text;
    }
    EXPECT_EQ(4, log.count_containing("ORNC: Getting device by ip"));
    EXPECT_EQ(0, log.count_containing("ORNC: Find iterate"));
    log.clear();
    EXPECT_EQ(nullptr, ORNCSysGetDeviceByIP(&scope.sys, ""));
    EXPECT_EQ(nullptr, ORNCSysGetDeviceByIP(&scope.sys, nullptr));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SensorDiscovery, SharedSystemServesCallsWithoutAHandle) {
    workdir_.write_model_file("Model X\n");
    orntest::Handle handle;  // its destroy releases the shared system
    const ornc_device_t* file_only = ORNCSysGetDeviceBySerialNumber(nullptr, "VSB0002");
    ASSERT_NE(nullptr, file_only);
    // A later call renews the shared system; the earlier handle stays usable.
    const ornc_device_t* by_ip = ORNCSysGetDeviceByIP(nullptr, kFileOnlyAddress);
    ASSERT_NE(nullptr, by_ip);
    EXPECT_EQ(kFileOnlyAddress, device_ip(file_only));
    EXPECT_EQ(2, ORNCSysGetDeviceCount(nullptr));
    EXPECT_EQ("VSA0001", device_serial(ORNCSysGetDeviceByPattern(nullptr, "VSA0001")));
}

TEST_F(SensorDiscovery, EnvironmentLimitsWhatIsAsked) {
    workdir_.write_model_file("Model X\n");
    {
        // Without the first twin, the second one is no longer a duplicate.
        orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", "127.0.44.2,127.0.44.3");
        orntest::SystemScope scope;
        EXPECT_EQ(2, ORNCSysGetDeviceCount(&scope.sys));
        EXPECT_EQ(nullptr, ORNCSysGetDeviceByIP(&scope.sys, kBuiltInAddress));
        EXPECT_NE(nullptr, ORNCSysGetDeviceByIP(&scope.sys, kTwinAddress));
    }
    {
        orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", "127.0.44.2-127.0.44.2, junk");
        orntest::SystemScope scope;
        EXPECT_EQ(1, ORNCSysGetDeviceCount(&scope.sys));
        EXPECT_EQ("VSB0002", device_serial(ORNCSysGetDevice(&scope.sys, 0)));
    }
    {
        orntest::ScopedEnv interfaces("ORNC_INTERFACES", "no-such-adapter");
        orntest::SystemScope scope;
        EXPECT_EQ(0, ORNCSysGetInterfaceCount(&scope.sys));
        EXPECT_EQ(0, ORNCSysGetDeviceCount(&scope.sys));
    }
    // A late answer is waited for until the time-out, and no longer.
    ornsim::FaultSwitches late;
    late.ack_delay_ms = 250;
    fleet_[1].set_faults(late);
    orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", "127.0.44.2");
    {
        orntest::SystemScope scope;
        EXPECT_EQ(1, ORNCSysGetDeviceCount(&scope.sys));
    }
    orntest::ScopedEnv timeout("ORNC_DISCOVERY_TIMEOUT_MS", "150");
    orntest::SystemScope scope;
    EXPECT_EQ(0, ORNCSysGetDeviceCount(&scope.sys));
}

class SensorDetails : public OnLoopback {
protected:
    void SetUp() override {
        ASSERT_EQ(fleet_.add(orntest::Block::discovery, 4, "VSD0004", "planoGAUGE Virtual"), "");
        device_ = ORNCSysGetDeviceBySerialNumber(&scope_.sys, "VSD0004");
        ASSERT_NE(nullptr, device_);
        lo_ = orntest::interface_named(&scope_.sys, "lo");
        ASSERT_NE(nullptr, lo_);
    }

    orntest::SystemScope scope_;
    const ornc_device_t* device_ = nullptr;
    const ornc_interface_t* lo_ = nullptr;
};

TEST_F(SensorDetails, DeviceTextsVersionAndIPConfigurationFlagsComeFromTheAck) {
    // Vendor, serial number, addresses and version: ToolTest.InfoFindsADeviceBySerialAddressOrPattern.
    EXPECT_EQ("ORNC Virtual Sensors planoGAUGE Virtual (VSD0004) 127.0.44.4", text_of(ORNCDeviceGetID, device_));
    EXPECT_EQ("planoGAUGE Virtual", text_of(ORNCDeviceGetModelName, device_));
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
    // The address texts of an adapter: LinkLocalSensor.IsFoundOnTheVethAdapterWithTheAdapterDetails.
    ASSERT_GE(ORNCInterfaceGetIPAddressCount(lo_), 1);
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
        ASSERT_TRUE(other.take_control(gvcp::CCP_CONTROL));
        EXPECT_EQ(ORNC_ACCESS_TYPE_CONTROL, ORNCGetAccessTypeByIPAddress(kAddress));
        ASSERT_TRUE(other.take_control(gvcp::CCP_EXCLUSIVE));
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
        ASSERT_TRUE(other.take_control(gvcp::CCP_CONTROL));
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
