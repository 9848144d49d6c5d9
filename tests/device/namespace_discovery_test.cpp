// Discovery and streaming over a real Ethernet-like link: the test moves
// itself into a network namespace of its own, runs a virtual sensor process
// in a second one, and joins the two with a veth pair (1500-byte MTU) using
// link-local addresses. Nothing leaves these namespaces. Skips without root.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ORNC.h"
#include "acquisition_test_support.h"
#include "environment.h"
#include "handles.h"
#include "log_capture.h"
#include "private_network.h"
#include "run_program.h"
#include "sensor.h"
#include "temp_dir.h"
#include "wait.h"

namespace {

using orntest::run_command;
using orntest::text_of;

constexpr const char* kHostAdapter = "ornc-host";
constexpr const char* kHostAddress = "169.254.10.1";
constexpr const char* kSensorAddress = "169.254.10.2";
constexpr const char* kGateway = "169.254.10.254";
constexpr const char* kSensorSerial = "VSN0005";

// A counter of the IP statistics of the calling thread's namespace
// ("ReasmReqds": fragments that arrived for reassembly); -1 when absent.
long long ip_statistic(const std::string& name) {
    std::ifstream snmp("/proc/thread-self/net/snmp");
    std::string names, values;
    while (std::getline(snmp, names) && std::getline(snmp, values)) {
        if (names.rfind("Ip: ", 0) != 0) continue;
        std::istringstream n(names), v(values);
        std::string key, value;
        while (n >> key && v >> value)
            if (key == name) return std::stoll(value);
    }
    return -1;
}

class LinkLocalSensor : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why;
        if (!orntest::enter_private_network(&why)) GTEST_SKIP() << why;
        peer_ = std::make_unique<orntest::PeerNamespace>(kHostAdapter, kHostAddress, kSensorAddress);
        ASSERT_TRUE(peer_->ok());
        ASSERT_TRUE(run_command(std::string("ip route add default via ") + kGateway + " dev " + kHostAdapter));
        ornsim::SensorConfig config;
        config.address = kSensorAddress;
        config.serial = kSensorSerial;
        config.mac = "02:00:00:00:45:05";
        config.width = 160;
        config.height = 120;
        sensor_ = std::make_unique<orntest::SensorProcess>(ORNSIM_SENSOR_BINARY, config, std::vector<std::string>{},
                                                           peer_->launcher());
        ASSERT_TRUE(sensor_->ok()) << "the sensor never answered over the veth link";
        ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope_->sys));
        device_ = ORNCSysGetDeviceBySerialNumber(&scope_->sys, kSensorSerial);
        ASSERT_NE(nullptr, device_);
        adapter_ = orntest::interface_named(&scope_->sys, kHostAdapter);
        ASSERT_NE(nullptr, adapter_);
    }

    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", nullptr};  // every adapter of this namespace
    orntest::TempWorkDir workdir_;
    std::unique_ptr<orntest::PeerNamespace> peer_;  // ends last, after the sensor and the system
    std::unique_ptr<orntest::SensorProcess> sensor_;
    std::unique_ptr<orntest::SystemScope> scope_ = std::make_unique<orntest::SystemScope>();
    const ornc_device_t* device_ = nullptr;
    const ornc_interface_t* adapter_ = nullptr;
};

TEST_F(LinkLocalSensor, IsFoundOnTheVethAdapterWithTheAdapterDetails) {
    EXPECT_EQ(2, ORNCSysGetInterfaceCount(&scope_->sys));  // lo and the veth end
    EXPECT_EQ(1, ORNCSysGetDeviceCount(&scope_->sys));
    EXPECT_EQ(1, ORNCInterfaceGetDeviceCount(&scope_->sys, adapter_));
    EXPECT_EQ(device_, ORNCInterfaceGetDevice(&scope_->sys, adapter_, 0));
    EXPECT_EQ(0, ORNCInterfaceGetDeviceCount(&scope_->sys, orntest::interface_named(&scope_->sys, "lo")));

    EXPECT_EQ(kSensorAddress, orntest::device_ip(device_));
    EXPECT_EQ("255.255.0.0", text_of(ORNCDeviceGetSubnetMask, device_));
    EXPECT_EQ("02:00:00:00:45:05", text_of(ORNCDeviceGetMACAddress, device_));

    ASSERT_EQ(1, ORNCInterfaceGetIPAddressCount(adapter_));
    char text[32];
    ASSERT_GT(ORNCInterfaceGetIPAddress(adapter_, 0, text, sizeof text), 0);
    EXPECT_STREQ(kHostAddress, text);
    ASSERT_GT(ORNCInterfaceGetSubnetMask(adapter_, 0, text, sizeof text), 0);
    EXPECT_STREQ("255.255.0.0", text);
    EXPECT_EQ(kGateway, text_of(ORNCInterfaceGetDefaultGateway, adapter_));
    const std::string link =
        orntest::run_program("/bin/sh", {"-c", std::string("ip -br link show ") + kHostAdapter}).out;
    const std::string mac = text_of(ORNCInterfaceGetMACAddress, adapter_);
    EXPECT_EQ(17u, mac.size());
    EXPECT_NE(std::string::npos, link.find(mac)) << link;
}

// Connect negotiates a packet size that fits the link (the sensor's test
// packets carry the don't-fragment bit), so a multipart grab arrives whole
// and not one IP fragment reaches this side.
TEST_F(LinkLocalSensor, GrabFitsTheLinkWithoutFragments) {
    const long long fragments = ip_statistic("ReasmReqds");
    ASSERT_GE(fragments, 0);
    acqtest::Recorder recorder;  // outlives the handle's callbacks
    orntest::Handle handle;
    ASSERT_EQ(ORNC_OK, ORNCConnectByDevice(handle.get(), device_));
    const int packet_size = std::stoi(orntest::value_text(handle.param("GevSCPSPacketSize")));
    EXPECT_LE(packet_size, 1500);
    EXPECT_GT(packet_size, 1000);
    recorder.attach(handle.get());
    ASSERT_EQ(ORNC_OK, acqtest::start(handle.get(), -1, -1));
    EXPECT_TRUE(recorder.wait_frames(10, std::chrono::seconds(20)));
    EXPECT_EQ(0, recorder.null_calls());  // before the stop, which may cut a frame short
    for (const auto& parts : recorder.vectors()) EXPECT_EQ("", acqtest::whole_frame(parts, 160, 120));
    EXPECT_EQ(fragments, ip_statistic("ReasmReqds"));
    EXPECT_EQ(ORNC_OK, acqtest::stop(handle.get()));
}

// A link narrower than the sensor's smallest packet carries no test
// packet: connect says the negotiation failed and goes on.
TEST_F(LinkLocalSensor, ConnectSaysWhenNoTestPacketArrives) {
    ASSERT_TRUE(run_command(std::string("ip link set ") + kHostAdapter + " mtu 560"));
    ASSERT_TRUE(peer_->ip("link set ornc-dev mtu 560"));
    orntest::LogCapture log;
    orntest::Handle handle;
    EXPECT_EQ(ORNC_OK, ORNCConnectByDevice(handle.get(), device_));
    EXPECT_EQ(1, log.count_containing("Failed to negociate packet size"));
}

}  // namespace
