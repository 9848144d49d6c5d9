// Discovery against peers that answer with broken, oversized and lying
// acks, next to one honest peer: only the honest one may come out, and
// every bad datagram is dropped with a log line. The peers are scripted
// here: a UDP socket on <address>:3956 that answers each DISCOVERY_CMD with
// whatever datagrams a script builds, bytes no real device would send.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "environment.h"
#include "handles.h"
#include "log_capture.h"
#include "loopback.h"
#include "temp_dir.h"
#include "udp_endpoint.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"
#include "wire/gvcp_packets.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Datagrams = std::vector<Bytes>;

struct AckFields {
    std::string vendor = "ORNC Test Peers";
    std::string model = "lumenGAUGE Scripted";
    std::string serial = "SCRIPT01";
    uint8_t mac_last = 0x01;
};

// A complete, valid DISCOVERY_ACK for request `request_id` from `ip`.
Bytes make_discovery_ack(uint16_t request_id, const AckFields& fields, uint32_t ip) {
    Bytes bootstrap(gvcp::kDiscoveryAckPayloadSize, 0);
    uint8_t* payload = bootstrap.data();
    wire::store_be32(payload + gvcp::kDiscoveryVersionOffset, 0x00020001);
    payload[gvcp::kDiscoveryMacOffset] = 0x02;
    payload[gvcp::kDiscoveryMacOffset + 5] = fields.mac_last;
    wire::store_be32(payload + gvcp::kDiscoverySupportedIpConfigOffset, 0x7);  // persistent, DHCP, LLA
    wire::store_be32(payload + gvcp::kDiscoveryCurrentIpConfigOffset, 0x6);    // DHCP, LLA
    wire::store_be32(payload + gvcp::kDiscoveryCurrentIpOffset, ip);
    wire::store_be32(payload + gvcp::kDiscoveryCurrentMaskOffset, 0xFF000000);
    auto put = [payload](size_t offset, size_t slot, const std::string& text) {
        std::memcpy(payload + offset, text.data(), std::min(text.size(), slot));
    };
    put(gvcp::kDiscoveryManufacturerOffset, gvcp::MANUFACTURER_NAME_SIZE, fields.vendor);
    put(gvcp::kDiscoveryModelOffset, gvcp::MODEL_NAME_SIZE, fields.model);
    put(gvcp::kDiscoveryDeviceVersionOffset, gvcp::DEVICE_VERSION_SIZE, "1.0");
    put(gvcp::kDiscoverySerialOffset, gvcp::SERIAL_NUMBER_SIZE, fields.serial);
    return gvcp::build_discovery_ack(request_id, bootstrap);
}

// A peer at <address>:3956 that answers each discovery request with what
// its script returns for the request id, from the control port or (when
// told) from another port; other commands go to `commands` when set.
class ScriptedResponder {
public:
    using Script = std::function<Datagrams(uint16_t request_id)>;
    using Commands = std::function<Datagrams(const gvcp::CommandHeader& header, const Bytes& request)>;
    ScriptedResponder(const std::string& address, Script script, bool from_other_port = false)
        : socket_(address, 0, gvcp::kPort), other_(address), script_(std::move(script)), other_port_(from_other_port) {}
    ~ScriptedResponder() { stop(); }

    bool start() {
        if (!socket_.ok() || !other_.ok()) return false;
        thread_ = std::thread([this] { run(); });
        return true;
    }
    void stop() {
        running_ = false;
        if (thread_.joinable()) thread_.join();
    }
    Commands commands;  // set before start()

private:
    void run() {
        while (running_) {
            uint32_t ip = 0;
            uint16_t port = 0;
            const Bytes request = socket_.receive(20, &ip, &port);
            const gvcp::CommandHeader header = gvcp::read_command_header(request.data(), request.size());
            if (header.key != gvcp::kKey) continue;
            if (header.command != gvcp::DISCOVERY_CMD) {
                for (const Bytes& reply : commands ? commands(header, request) : Datagrams{})
                    socket_.send(reply, ip, port);
                continue;
            }
            for (const Bytes& reply : script_(header.request_id))
                (other_port_ ? other_ : socket_).send(reply, ip, port);
        }
    }

    orntest::UdpEndpoint socket_, other_;
    Script script_;
    bool other_port_;
    std::atomic<bool> running_{true};
    std::thread thread_;
};

// This suite's own loopback block; ctest serialises its cases on it.
constexpr const char* kHosts = "127.0.45.1-127.0.45.20";  // hostile peers from .1 up, the honest one last
constexpr const char* kHonestAddress = "127.0.45.20";

std::string address(int host) { return orntest::loopback(orntest::Block::interop, host); }

AckFields honest_fields() {
    AckFields fields;
    fields.model = "lumenGAUGE Honest";
    fields.serial = "HONEST01";
    fields.vendor =
        "ORNC Pr\xC3\xBC"
        "fger\xC3\xA4te";  // UTF-8 is a valid device text
    return fields;
}

// A valid ack for `request_id` from the peer at `where` with that serial.
Bytes ack_from(uint16_t request_id, const std::string& serial, const std::string& where) {
    AckFields fields;
    fields.model = "lumenGAUGE Hostile";
    fields.serial = serial;
    return make_discovery_ack(request_id, fields, orntest::ipv4(where));
}

// Where a field of the discovery payload starts in an ack.
uint8_t* field(Bytes& ack, size_t offset) { return &ack[gvcp::kHeaderSize + offset]; }

// Each hostile peer bends a valid ack in one way of being wrong.
struct Hostile {
    const char* what;
    void (*bend)(Bytes& ack);
};

const Hostile kHostiles[] = {
    {"truncated", [](Bytes& ack) { ack.resize(100); }},
    {"header only", [](Bytes& ack) { ack.resize(gvcp::kHeaderSize); }},
    {"oversized datagram", [](Bytes& ack) { ack.resize(3000, 0x41); }},
    {"length field larger than datagram", [](Bytes& ack) { wire::store_be16(&ack[gvcp::kAckLengthOffset], 0xFFFF); }},
    {"unterminated model",
     [](Bytes& ack) { std::fill_n(field(ack, gvcp::kDiscoveryModelOffset), gvcp::MODEL_NAME_SIZE, 'X'); }},
    {"unterminated serial running into the user name",
     [](Bytes& ack) {
         std::fill_n(field(ack, gvcp::kDiscoverySerialOffset), gvcp::SERIAL_NUMBER_SIZE + gvcp::USER_DEFINED_NAME_SIZE,
                     'S');
     }},
    {"control characters in the vendor", [](Bytes& ack) { field(ack, gvcp::kDiscoveryManufacturerOffset)[1] = 0x1B; }},
    // A UTF-8 lead byte followed by plain ASCII.
    {"broken UTF-8 in the model", [](Bytes& ack) { field(ack, gvcp::kDiscoveryModelOffset)[2] = 0xC3; }},
    {"answers another request",
     [](Bytes& ack) {
         wire::store_be16(&ack[gvcp::kAckIdOffset],
                          static_cast<uint16_t>(wire::load_be16(&ack[gvcp::kAckIdOffset]) + 1));
     }},
    {"not a discovery ack", [](Bytes& ack) { wire::store_be16(&ack[gvcp::kAckAnswerOffset], gvcp::READREG_ACK); }},
    {"error status", [](Bytes& ack) { wire::store_be16(&ack[gvcp::kAckStatusOffset], gvcp::STATUS_BUSY); }},
    {"claims the honest peer's address",
     [](Bytes& ack) { wire::store_be32(field(ack, gvcp::kDiscoveryCurrentIpOffset), orntest::ipv4(kHonestAddress)); }},
    {"empty datagram", [](Bytes& ack) { ack.clear(); }},
};

class HostileDiscovery : public ::testing::Test {
protected:
    void SetUp() override {
        int host = 1;
        for (const Hostile& hostile : kHostiles) {
            const std::string where = address(host++);
            auto peer = std::make_unique<ScriptedResponder>(where, [this, where, bend = hostile.bend](uint16_t id) {
                ++hostile_answers_;
                Bytes ack = ack_from(id, "HOSTILE", where);
                bend(ack);
                return Datagrams{ack};
            });
            ASSERT_TRUE(peer->start()) << hostile.what;
            peers_.push_back(std::move(peer));
        }
        honest_ = std::make_unique<ScriptedResponder>(kHonestAddress, [](uint16_t id) {
            return Datagrams{make_discovery_ack(id, honest_fields(), orntest::ipv4(kHonestAddress))};
        });
        ASSERT_TRUE(honest_->start());
    }

    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", "lo"};
    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", kHosts};
    orntest::TempWorkDir workdir_;
    std::vector<std::unique_ptr<ScriptedResponder>> peers_;
    std::unique_ptr<ScriptedResponder> honest_;
    std::atomic<int> hostile_answers_{0};
};

TEST_F(HostileDiscovery, OnlyTheHonestPeerIsListedAndEveryBadAckIsLogged) {
    // The ini admits everything, so a dropped ack cannot hide behind the
    // model filter.
    workdir_.write_model_file("X\nH\nl\n");
    orntest::LogCapture log;
    orntest::SystemScope scope;
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));

    ASSERT_EQ(1, ORNCSysGetDeviceCount(&scope.sys)) << ::testing::PrintToString(log.lines());
    const ornc_device_t* device = ORNCSysGetDevice(&scope.sys, 0);
    ASSERT_NE(nullptr, device);
    EXPECT_EQ(kHonestAddress, orntest::device_ip(device));
    EXPECT_EQ("HONEST01", orntest::device_serial(device));
    EXPECT_EQ("lumenGAUGE Honest", orntest::text_of(ORNCDeviceGetModelName, device));
    EXPECT_EQ(honest_fields().vendor, orntest::text_of(ORNCDeviceGetVendorName, device));

    // Every hostile peer is named, and no answer in more than one line. A
    // peer whose answer waited past the repeat (a loaded machine) is asked,
    // and answers, again; an answer after the last is not read.
    std::set<std::string> senders;
    std::smatch from;
    for (const std::string& line : log.lines()) {
        EXPECT_EQ(std::string::npos, line.find("XXXXXXXX")) << line;
        if (std::regex_search(line, from, std::regex("GVCP: dropped .*? from ([0-9.]+)"))) senders.insert(from[1]);
    }
    EXPECT_EQ(sizeof kHostiles / sizeof kHostiles[0], senders.size());
    EXPECT_LE(log.count_containing("ORNC: GVCP: dropped"), hostile_answers_.load());
}

// Beside the hostile peers, in one discovery: one that floods copies of its
// ack, one whose first ack is lost (a loopback target that has not answered
// is asked again) and one that answers from another port.
TEST_F(HostileDiscovery, CopiesAreOneDeviceALostAckIsAskedAgainAndAnotherPortIsDropped) {
    ScriptedResponder flood(address(19),
                            [](uint16_t id) { return Datagrams(200, ack_from(id, "FLOOD", address(19))); });
    auto asked = std::make_shared<std::atomic<int>>(0);
    ScriptedResponder late(address(17), [asked](uint16_t id) {
        return asked->fetch_add(1) == 0 ? Datagrams{} : Datagrams{ack_from(id, "SECOND", address(17))};
    });
    ScriptedResponder stray(
        address(18), [](uint16_t id) { return Datagrams{ack_from(id, "STRAY", address(18))}; }, true);
    ASSERT_TRUE(flood.start() && late.start() && stray.start());
    orntest::LogCapture log;
    orntest::SystemScope scope;
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
    EXPECT_EQ(3, ORNCSysGetDeviceCount(&scope.sys));  // the honest peer, FLOOD once and SECOND
    EXPECT_NE(nullptr, ORNCSysGetDeviceBySerialNumber(&scope.sys, "FLOOD"));
    EXPECT_NE(nullptr, ORNCSysGetDeviceBySerialNumber(&scope.sys, "SECOND"));
    EXPECT_EQ(2, asked->load());
    EXPECT_EQ(nullptr, ORNCSysGetDeviceBySerialNumber(&scope.sys, "STRAY"));
    EXPECT_EQ(1, log.count_containing("not the control port"));
}

// Two devices hold one address (each answers twice): both are listed, and
// FORCEIP by MAC moves the second away.
TEST_F(HostileDiscovery, TwoDevicesOnOneAddressAreTwoAndForceIpMovesOne) {
    ScriptedResponder twins(address(16), [](uint16_t id) {
        Datagrams acks;
        for (uint8_t twin : {1, 2, 1, 2}) {
            AckFields fields;
            fields.serial = "TWIN" + std::to_string(twin);
            fields.mac_last = static_cast<uint8_t>(0x10 + twin);
            acks.push_back(make_discovery_ack(id, fields, orntest::ipv4(address(16))));
        }
        return acks;
    });
    auto moved_to = std::make_shared<std::atomic<uint32_t>>(0);
    twins.commands = [moved_to](const gvcp::CommandHeader& header, const Bytes& request) {
        gvcp::ForceIpRequest force;
        if (header.command != gvcp::FORCEIP_CMD ||
            !gvcp::read_force_ip(request.data() + gvcp::kHeaderSize, request.size() - gvcp::kHeaderSize, &force) ||
            force.mac[5] != 0x12)
            return Datagrams{};
        moved_to->store(force.ip);
        return Datagrams{gvcp::build_ack(gvcp::STATUS_SUCCESS, gvcp::FORCEIP_ACK, header.request_id)};
    };
    ASSERT_TRUE(twins.start());
    orntest::SystemScope scope;
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
    EXPECT_EQ(3, ORNCSysGetDeviceCount(&scope.sys));
    ASSERT_NE(nullptr, ORNCSysGetDeviceBySerialNumber(&scope.sys, "TWIN1"));
    const ornc_device_t* second = ORNCSysGetDeviceBySerialNumber(&scope.sys, "TWIN2");
    ASSERT_NE(nullptr, second);
    EXPECT_EQ("02:00:00:00:00:12", orntest::text_of(ORNCDeviceGetMACAddress, second));
    ASSERT_EQ(ORNC_OK, ORNCDeviceSetIPConfiguration(second, address(15).c_str(), "255.0.0.0", "0.0.0.0"));
    EXPECT_EQ(orntest::ipv4(address(15)), moved_to->load());
}

}  // namespace
