// The sensor's control channel seen from the wire: a raw GVCP client sends
// real UDP datagrams on loopback to an in-process sensor and checks every
// acknowledge byte by byte.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "device_registers.h"
#include "gvcp_client.h"
#include "ornsim/components.h"
#include "ornsim/virtual_sensor.h"
#include "sensor.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"
#include "wire/gvcp_packets.h"

using orntest::Ack;
using orntest::Block;
using orntest::GvcpClient;
using orntest::ipv4;

namespace {

// The suite's loopback block: the control fixture's sensor at host 1 (its
// MAC ends in the block and the host), the lifecycle cases' at host 3.
constexpr int kHost = 1;

// An acknowledge's status (0xFFFF: none came), then its payload as 32-bit words.
std::vector<uint32_t> words(const Ack& a) {
    std::vector<uint32_t> w{a.status};
    for (size_t i = 0; i < a.payload.size(); i += 4)
        w.push_back(i + 4 <= a.payload.size() ? wire::load_be32(a.payload.data() + i) : 0xBAD0BAD0);
    return w;
}

class ControlChannel : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(scope_.ok()) << scope_.error(); }
    ornsim::VirtualSensor& sensor() { return scope_.sensor(); }

    orntest::SensorScope scope_{orntest::sensor_config(Block::sim, kHost, "VS-CTL-1", 64, 48)};
    const uint32_t ip_ = ipv4(scope_.config().address);
    std::unique_ptr<GvcpClient> client_ = std::make_unique<GvcpClient>(ip_);
};

TEST_F(ControlChannel, ReadRegisterAnswersSeveralAddressesAndStopsAtTheFirstBadOne) {
    // Version 2.1, the address, the width and a 1 GHz device clock.
    EXPECT_EQ(words(client_->read_registers({gvcp::REG_VERSION, gvcp::REG_CURRENT_IP_ADDRESS, ornsim::reg::Width,
                                             gvcp::REG_TIMESTAMP_TICK_FREQUENCY_HIGH,
                                             gvcp::REG_TIMESTAMP_TICK_FREQUENCY_LOW})),
              (std::vector<uint32_t>{gvcp::STATUS_SUCCESS, 0x00020001, ip_, 64, 0, 1000000000}));
    // Only the value read before the bad address.
    EXPECT_EQ(words(client_->read_registers({ornsim::reg::Height, 0x00300000, ornsim::reg::Width})),
              (std::vector<uint32_t>{gvcp::STATUS_INVALID_ADDRESS, 48}));
}

TEST_F(ControlChannel, ErrorAcksNameTheFault) {
    ASSERT_TRUE(client_->take_control());
    EXPECT_EQ(client_->read_registers({gvcp::REG_CURRENT_IP_ADDRESS + 2}).status, gvcp::STATUS_BAD_ALIGNMENT);
    EXPECT_EQ(client_->write_register(0x00300000, 1), gvcp::STATUS_INVALID_ADDRESS);
    EXPECT_EQ(client_->write_register(ornsim::reg::Width, 100000), gvcp::STATUS_INVALID_PARAMETER);
    EXPECT_EQ(client_->transact(gvcp::EVENT_CMD, std::vector<uint8_t>(12, 0)).status, gvcp::STATUS_NOT_IMPLEMENTED);
    EXPECT_EQ(client_->read_memory(0x0, 0).status, gvcp::STATUS_INVALID_PARAMETER);
    EXPECT_EQ(client_->read_memory(0x2, 4).status, gvcp::STATUS_BAD_ALIGNMENT);
    EXPECT_EQ(client_->read_memory(0x0, 6).status, gvcp::STATUS_BAD_ALIGNMENT);
    EXPECT_EQ(client_->read_register(ornsim::reg::Width), 64u);  // a failing write changes nothing
}

TEST_F(ControlChannel, WriteRegisterAckCountsTheRegistersWrittenAndNoAckFlagSilencesIt) {
    ASSERT_TRUE(client_->take_control());
    // The acknowledge counts the two registers written before the read-only one.
    EXPECT_EQ(
        words(client_->write_registers(
            {{ornsim::reg::Width, 32}, {ornsim::reg::Height, 20}, {gvcp::REG_VERSION, 0}, {ornsim::reg::Width, 40}})),
        (std::vector<uint32_t>{gvcp::STATUS_WRITE_PROTECT, 2}));
    EXPECT_EQ(client_->read_register(ornsim::reg::Width), 32u);  // the write after the failure was not applied
    EXPECT_EQ(client_->read_register(ornsim::reg::Height), 20u);
    // Payload size follows: the Range component first, Coord3D_ABC32f by default.
    EXPECT_EQ(client_->read_register(ornsim::reg::PayloadSize), 32u * 20u * 12u);

    // Without the acknowledge flag the write is done and nothing answers.
    std::vector<uint8_t> silent(8);
    wire::store_be32(silent.data(), ornsim::reg::Width);
    wire::store_be32(silent.data() + 4, 24);
    client_->send_raw(gvcp::build_command(0, gvcp::WRITEREG_CMD, 300, silent));
    EXPECT_FALSE(client_->wait_ack(300, 200).received);
    EXPECT_EQ(client_->read_register(ornsim::reg::Width), 24u);
}

TEST_F(ControlChannel, ControlPrivilegeKeepsOthersToReading) {
    GvcpClient other(ip_);
    ASSERT_TRUE(client_->take_control());
    EXPECT_EQ(other.write_register(ornsim::reg::Width, 32), gvcp::STATUS_ACCESS_DENIED);
    EXPECT_EQ(other.write_register(gvcp::REG_CCP, gvcp::CCP_CONTROL), gvcp::STATUS_ACCESS_DENIED);
    // Stream set-up is a write like any other.
    EXPECT_EQ(other.write_register(gvcp::REG_SCP0, 40000), gvcp::STATUS_ACCESS_DENIED);
    EXPECT_EQ(other.write_memory(ornsim::reg::kPlainMemoryBase, {1, 2, 3, 4}).status, gvcp::STATUS_ACCESS_DENIED);

    // Exclusive access closes reads as well.
    ASSERT_TRUE(client_->take_control(gvcp::CCP_CONTROL | gvcp::CCP_EXCLUSIVE));
    EXPECT_EQ(other.read_registers({gvcp::REG_VERSION}).status, gvcp::STATUS_ACCESS_DENIED);
    EXPECT_EQ(other.read_memory(0, 4).status, gvcp::STATUS_ACCESS_DENIED);
    EXPECT_EQ(client_->read_registers({gvcp::REG_VERSION}).status, gvcp::STATUS_SUCCESS);
}

// The move itself, acknowledged, is checked through the library in
// discovery_selection_test (ForceIPRefuses...ElseMovesItWhereDiscoveryFindsIt);
// here what only the raw command shows.
TEST_F(ControlChannel, ForceIpIgnoresAnotherDevicesMacAndRefusesAZeroAddress) {
    const std::string old_address = sensor().current_address();
    const std::string new_address = orntest::loopback(Block::sim, 250);
    gvcp::ForceIpRequest request{{0x02, 0, 0, 0, static_cast<uint8_t>(Block::sim), kHost}, 0, 0xFF000000, 0};
    uint16_t id = 100;
    auto force_ip = [&](int timeout_ms) {
        client_->send_raw(gvcp::build_force_ip(++id, request));
        return client_->wait_ack(id, timeout_ms);
    };
    EXPECT_EQ(force_ip(1000).status, gvcp::STATUS_INVALID_PARAMETER);  // address 0

    request.ip = ipv4(new_address);
    request.mac[5] = kHost + 1;  // another device's MAC: not for us
    EXPECT_FALSE(force_ip(300).received);
    EXPECT_EQ(sensor().current_address(), old_address);
}

TEST_F(ControlChannel, MalformedPacketsAreAnsweredOrIgnoredNeverTrusted) {
    // Too short for a header, wrong key: dropped.
    client_->send_raw({0x42, 0x01, 0x00});
    client_->send_raw({0x43, 0x01, 0x00, 0x80, 0x00, 0x04, 0x00, 0x05, 0, 0, 0, 0});
    EXPECT_FALSE(client_->wait_ack(5, 300).received);
    // Length field longer than the datagram.
    std::vector<uint8_t> truncated = gvcp::build_command(gvcp::kFlagAckRequired, gvcp::READREG_CMD, 9, {0, 0, 0, 0});
    wire::store_be16(truncated.data() + gvcp::kCmdLengthOffset, 400);
    client_->send_raw(truncated);
    EXPECT_EQ(client_->wait_ack(9).status, gvcp::STATUS_INVALID_HEADER);
    // Request id 0 is not a request.
    client_->send_raw(gvcp::build_command(gvcp::kFlagAckRequired, gvcp::READREG_CMD, 0, {0, 0, 0, 0}));
    EXPECT_EQ(client_->wait_ack(0).status, gvcp::STATUS_INVALID_HEADER);
    // Payload sizes that do not fit the command.
    EXPECT_EQ(client_->transact(gvcp::READREG_CMD, {0, 0, 0}).status, gvcp::STATUS_INVALID_PARAMETER);
    EXPECT_EQ(client_->transact(gvcp::WRITEREG_CMD, {0, 0, 0, 0}).status, gvcp::STATUS_INVALID_PARAMETER);
    EXPECT_EQ(client_->transact(gvcp::READMEM_CMD, {0, 0}).status, gvcp::STATUS_INVALID_PARAMETER);
    EXPECT_EQ(client_->transact(gvcp::WRITEMEM_CMD, {0, 0, 0, 0}).status, gvcp::STATUS_INVALID_PARAMETER);
    EXPECT_EQ(client_->transact(gvcp::FORCEIP_CMD, std::vector<uint8_t>(10, 0)).status, gvcp::STATUS_INVALID_PARAMETER);

    // A storm of random datagrams leaves the device answering.
    std::mt19937 random(1234);
    for (int i = 0; i < 3000; ++i) {
        std::vector<uint8_t> junk(random() % 64);
        for (auto& b : junk) b = static_cast<uint8_t>(random());
        if (!junk.empty() && i % 2 == 0) junk[0] = gvcp::kKey;
        if (junk.size() > 3 && i % 4 == 0) junk[3] = static_cast<uint8_t>(0x80 + (random() % 8));  // a real command
        client_->send_raw(junk);
    }
    // Drain whatever the storm provoked, then the device must still answer.
    client_->drain();
    Ack alive = client_->discovery();
    EXPECT_TRUE(alive.received);
    EXPECT_EQ(alive.answer, gvcp::DISCOVERY_ACK);
    EXPECT_GT(sensor().counters().gvcp_errors, 10u);
}

TEST_F(ControlChannel, MemoryReadsAndWritesReachPlainMemoryAndTheUserName) {
    ASSERT_TRUE(client_->take_control());
    std::vector<uint8_t> data(256);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 7);
    EXPECT_EQ(words(client_->write_memory(ornsim::reg::kPlainMemoryBase + 0x100, data)),
              (std::vector<uint32_t>{gvcp::STATUS_SUCCESS, 256}));
    Ack r = client_->read_memory(ornsim::reg::kPlainMemoryBase + 0x100, 256);
    ASSERT_EQ(r.status, gvcp::STATUS_SUCCESS);
    ASSERT_EQ(r.payload.size(), 4u + 256u);
    EXPECT_EQ(wire::load_be32(r.payload.data()), ornsim::reg::kPlainMemoryBase + 0x100);
    EXPECT_TRUE(std::equal(data.begin(), data.end(), r.payload.begin() + 4));
    // Plain memory ends where documented.
    EXPECT_EQ(client_->read_memory(ornsim::reg::kPlainMemoryBase + ornsim::reg::kPlainMemorySize - 4, 8).status,
              gvcp::STATUS_INVALID_ADDRESS);

    std::vector<uint8_t> name(16, 0);
    std::memcpy(name.data(), "bench-left", 10);
    ASSERT_EQ(client_->write_memory(gvcp::REG_USER_DEFINED_NAME, name).status, gvcp::STATUS_SUCCESS);
    // The discovery ack carries it. Its other fields are read through the
    // library in discovery_selection_test; the IP configurations it supports here.
    const Ack d = client_->discovery();
    ASSERT_EQ(d.payload.size(), gvcp::kDiscoveryAckPayloadSize);
    const char* user_name = reinterpret_cast<const char*>(d.payload.data() + gvcp::kDiscoveryUserNameOffset);
    EXPECT_EQ(std::string(user_name, strnlen(user_name, gvcp::USER_DEFINED_NAME_SIZE)), "bench-left");
    const uint32_t all = gvcp::IP_CONFIG_DHCP | gvcp::IP_CONFIG_LLA | gvcp::IP_CONFIG_PERSISTENT;
    EXPECT_EQ(wire::load_be32(d.payload.data() + gvcp::kDiscoverySupportedIpConfigOffset) & all, all);
    // Writes into read-only or unmapped space change nothing.
    EXPECT_EQ(client_->write_memory(gvcp::REG_MODEL_NAME, name).status, gvcp::STATUS_WRITE_PROTECT);
    EXPECT_EQ(client_->write_memory(0x00300000, name).status, gvcp::STATUS_INVALID_ADDRESS);
}

TEST_F(ControlChannel, RefusedIndexedFeatureWritesGetAnErrorAckForEveryIndex) {
    // A refused plain feature (error, value kept, writable once cleared) is
    // checked through the library in camera_param_rules_test; here a feature
    // indexed by a selector is refused for every index, and its neighbours
    // stay writable.
    ornsim::FaultSwitches faults;
    ASSERT_TRUE(client_->take_control());
    faults.refuse_writes_feature = "ComponentEnable";
    sensor().set_faults(faults);
    for (uint32_t index = 0; index < 3; ++index) {
        EXPECT_EQ(client_->write_register(ornsim::reg::ComponentEnable + 4 * index, 1), gvcp::STATUS_ACCESS_DENIED)
            << index;
    }
    EXPECT_EQ(client_->write_register(ornsim::reg::ComponentPixelFormat, ornsim::kPixelFormatCoord3D_C16),
              gvcp::STATUS_SUCCESS);
}

// A configuration the sensor cannot use (address, MAC, GenICam file) is
// refused with a message: checked on the sensor tool in
// sim_aravis_conformance_test, SensorTool.HelpListsTheOptionsAndBadOptionsAreRefused.
TEST(SensorLifecycle, TwoDevicesCannotShareAnAddressAndStopFreesIt) {
    std::string error;
    const ornsim::SensorConfig config = orntest::sensor_config(Block::sim, 3, "VS-LIFE-1");
    ornsim::VirtualSensor first(config);
    ASSERT_TRUE(first.start(&error)) << error;
    ornsim::VirtualSensor second(config);
    EXPECT_FALSE(second.start(&error));
    // Stop is idempotent and the address is free again afterwards.
    first.stop();
    first.stop();
    EXPECT_TRUE(second.start(&error)) << error;
}

}  // namespace
