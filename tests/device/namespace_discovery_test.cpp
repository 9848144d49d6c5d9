// Discovery and streaming over a real Ethernet-like link: the test moves
// itself into a network namespace of its own, puts a virtual sensor into a
// second one, and joins the two with a veth pair (1500-byte MTU) using
// link-local addresses. Nothing leaves these namespaces. Skips without root.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

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
constexpr const char* kMovedAddress = "169.254.20.7";
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

// The sensor's namespace, named so that ip(8) can reach it; deleted (with
// the veth end inside it) when the test ends.
class SensorNamespace {
public:
    SensorNamespace() : name_("ornc-disc-" + std::to_string(::getpid())) {
        created_ = run_command("ip netns add " + name_);
    }
    ~SensorNamespace() {
        if (created_) run_command("ip netns del " + name_);
    }
    bool created() const { return created_; }
    const std::string& name() const { return name_; }
    std::string ip(const std::string& arguments) const { return "ip -n " + name_ + " " + arguments; }

private:
    std::string name_;
    bool created_ = false;
};

class LinkLocalSensor : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why;
        if (!orntest::enter_private_network(&why)) {
            GTEST_SKIP() << why;
        }
        namespace_ = std::make_unique<SensorNamespace>();
        ASSERT_TRUE(namespace_->created());
        ASSERT_TRUE(run_command(std::string("ip link add ") + kHostAdapter + " type veth peer name ornc-dev netns " +
                                namespace_->name()));
        ASSERT_TRUE(run_command(std::string("ip addr add ") + kHostAddress + "/16 dev " + kHostAdapter));
        ASSERT_TRUE(run_command(std::string("ip link set ") + kHostAdapter + " mtu 1500 up"));
        ASSERT_TRUE(run_command(namespace_->ip(std::string("addr add ") + kSensorAddress + "/16 dev ornc-dev")));
        ASSERT_TRUE(run_command(namespace_->ip("link set ornc-dev up")));
        ASSERT_TRUE(run_command(namespace_->ip("link set lo up")));
        ASSERT_TRUE(run_command(std::string("ip route add default via ") + kGateway + " dev " + kHostAdapter));
        start_sensor();
        ASSERT_NE(nullptr, sensor_);
        // The veth link needs a moment after coming up; ask until it answers.
        for (int attempt = 0; attempt < 50 && device_ == nullptr; ++attempt) {
            ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope_->sys));
            device_ = ORNCSysGetDeviceBySerialNumber(&scope_->sys, kSensorSerial);
            if (device_ == nullptr) ::usleep(100000);
        }
        ASSERT_NE(nullptr, device_) << "the sensor never answered over the veth link";
        adapter_ = orntest::interface_named(&scope_->sys, kHostAdapter);
        ASSERT_NE(nullptr, adapter_);
    }

    void TearDown() override {
        scope_.reset();
        sensor_.reset();  // joins its threads and closes its sockets before the namespace goes
        namespace_.reset();
    }

    // The sensor's sockets and threads are made by a thread that entered
    // the sensor's namespace; everything it starts stays there.
    void start_sensor() {
        std::thread starter([this] {
            const int ns = ::open(("/run/netns/" + namespace_->name()).c_str(), O_RDONLY | O_CLOEXEC);
            if (ns < 0 || ::setns(ns, CLONE_NEWNET) != 0) {
                if (ns >= 0) ::close(ns);
                return;
            }
            ::close(ns);
            ornsim::SensorConfig config;
            config.address = kSensorAddress;
            config.serial = kSensorSerial;
            config.model = "Tri_Bench Virtual";
            config.mac = "02:00:00:00:45:05";
            config.width = 160;
            config.height = 120;
            auto sensor = std::make_unique<ornsim::VirtualSensor>(config);
            std::string error;
            if (sensor->start(&error)) sensor_ = std::move(sensor);
        });
        starter.join();
    }

    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", nullptr};  // every adapter of this namespace
    orntest::TempWorkDir workdir_;
    std::unique_ptr<SensorNamespace> namespace_;
    std::unique_ptr<ornsim::VirtualSensor> sensor_;
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

// A device may delay its answer on purpose: the broadcast waits for it
// until the time-out, as long as nobody has answered.
TEST_F(LinkLocalSensor, LateAnswerIsHeard) {
    ornsim::FaultSwitches late;
    late.ack_delay_ms = 250;
    sensor_->set_faults(late);
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope_->sys));
    EXPECT_NE(nullptr, ORNCSysGetDeviceBySerialNumber(&scope_->sys, kSensorSerial));
}

// How the access type follows another client's control is the loopback
// suite's (device_details_test); here the device is moved over the link.
TEST_F(LinkLocalSensor, ForceIPMovesIt) {
    // A real device re-addresses its own interface; the virtual sensor can
    // only bind an address its namespace already holds.
    ASSERT_TRUE(run_command(namespace_->ip(std::string("addr add ") + kMovedAddress + "/16 dev ornc-dev")));
    ASSERT_EQ(ORNC_OK, ORNCDeviceSetIPConfiguration(device_, kMovedAddress, "255.255.0.0", "0.0.0.0"));
    EXPECT_EQ(kMovedAddress, sensor_->current_address());
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope_->sys));
    adapter_ = orntest::interface_named(&scope_->sys, kHostAdapter);
    ASSERT_NE(nullptr, adapter_);
    const ornc_device_t* moved = ORNCInterfaceGetDevice(&scope_->sys, adapter_, 0);
    ASSERT_NE(nullptr, moved);
    EXPECT_EQ(kMovedAddress, orntest::device_ip(moved));
    EXPECT_EQ(kSensorSerial, orntest::device_serial(moved));
    EXPECT_EQ(ORNC_ACCESS_TYPE_OPEN, ORNCGetAccessTypeByIPAddress(kMovedAddress));
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
    ASSERT_EQ(ORNC_OK, ORNCStart(handle.get()));
    ASSERT_EQ(ORNC_OK, ORNCAcquisitionStart(handle.get()));
    EXPECT_TRUE(recorder.wait_frames(10, std::chrono::seconds(20)));
    EXPECT_EQ(0, recorder.null_calls());  // before the stop, which may cut a frame short
    for (const std::vector<orntest::ImageCopy>& parts : recorder.vectors()) {
        ASSERT_EQ(3u, parts.size());
        const uint64_t f = orntest::frame_from_intensity(parts[1]);
        for (const orntest::ImageCopy& part : parts) EXPECT_EQ("", orntest::check_part(part, f));
    }
    EXPECT_EQ(fragments, ip_statistic("ReasmReqds"));
    EXPECT_EQ(ORNC_OK, ORNCAcquisitionStop(handle.get()));
    EXPECT_EQ(ORNC_OK, ORNCStop(handle.get()));
}

// A link narrower than the sensor's smallest packet carries no test
// packet: connect says the negotiation failed and goes on.
TEST_F(LinkLocalSensor, ConnectSaysWhenNoTestPacketArrives) {
    ASSERT_TRUE(run_command(std::string("ip link set ") + kHostAdapter + " mtu 560"));
    ASSERT_TRUE(run_command(namespace_->ip("link set ornc-dev mtu 560")));
    orntest::LogCapture log;
    orntest::Handle handle;
    EXPECT_EQ(ORNC_OK, ORNCConnectByDevice(handle.get(), device_));
    EXPECT_EQ(1, log.count_containing("Failed to negociate packet size"));
}

}  // namespace
