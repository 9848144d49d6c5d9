// Outages of the sensor seen from the wire: it falls silent, then answers
// again at its own address or at another one, with its registers kept or
// back at their power-up values, and with the control privilege its
// heartbeat clock left it.
#include <gtest/gtest.h>

#include <chrono>

#include "device_registers.h"
#include "gvcp_client.h"
#include "ornsim/virtual_sensor.h"
#include "sensor.h"
#include "stream_wire_parser.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"

using orntest::Block;
using orntest::GvcpClient;
using orntest::ipv4;
namespace reg = ornsim::reg;
using Clock = std::chrono::steady_clock;

namespace {

// The suite's loopback block: the sensor at host 5, its return address at host 6.
constexpr int kHost = 5, kReturnHost = 6;

class Outage : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(scope_.ok()) << scope_.error();
        ASSERT_TRUE(receiver_.ok());
        ASSERT_TRUE(client_.take_control());
        ASSERT_EQ(client_
                      .write_registers(
                          {{gvcp::REG_SCDA0, ipv4("127.0.0.1")}, {gvcp::REG_SCP0, receiver_.port()}, {reg::Width, 32}})
                      .status,
                  gvcp::STATUS_SUCCESS);
    }
    // Silent from now on for `seconds`, then back as `faults` says.
    void go_silent(double seconds, ornsim::FaultSwitches faults = {}) {
        faults.silent_after_s = 0.0;
        faults.silent_for_s = seconds;
        silent_since_ = Clock::now();
        ASSERT_TRUE(scope_.sensor().set_faults(faults));
    }
    // Seconds from the start of the silence to the first discovery `client`
    // gets answered (asked every 100 ms); -1 when none within 5 s.
    double answered_after(GvcpClient& client) {
        while (Clock::now() - silent_since_ < std::chrono::seconds(5)) {
            if (client.transact(gvcp::DISCOVERY_CMD, {}, gvcp::kFlagAckRequired, 100).received)
                return std::chrono::duration<double>(Clock::now() - silent_since_).count();
        }
        return -1.0;
    }
    uint64_t latched_timestamp(GvcpClient& client) {
        EXPECT_EQ(client.write_register(gvcp::REG_TIMESTAMP_CONTROL, gvcp::TIMESTAMP_CONTROL_LATCH),
                  gvcp::STATUS_SUCCESS);
        return (uint64_t{client.read_register(gvcp::REG_TIMESTAMP_VALUE_HIGH)} << 32) |
               client.read_register(gvcp::REG_TIMESTAMP_VALUE_LOW);
    }

    orntest::SensorScope scope_{orntest::sensor_config(Block::sim, kHost, "VS-OUT-1", 64, 48, 20.0)};
    const uint32_t ip_ = ipv4(scope_.config().address);
    GvcpClient client_{ip_};
    stream_test::StreamReceiver receiver_;
    Clock::time_point silent_since_;
};

TEST_F(Outage, ASecondOfSilenceEndsAtTheSameAddressWithControlRegistersAndStreamKept) {
    ASSERT_EQ(client_.write_register(reg::AcquisitionStart, 1), gvcp::STATUS_SUCCESS);
    ASSERT_TRUE(receiver_.pump([&] { return !receiver_.blocks().empty(); }));
    go_silent(1.0);
    EXPECT_FALSE(client_.transact(gvcp::DISCOVERY_CMD, {}, gvcp::kFlagAckRequired, 200).received);
    receiver_.drain(std::chrono::milliseconds(200));
    const uint64_t last_before = receiver_.blocks().rbegin()->first;

    EXPECT_GE(answered_after(client_), 1.0);
    EXPECT_EQ(client_.read_register(reg::Width), 32u);
    EXPECT_EQ(client_.write_register(reg::AcquisitionFrameCount, 5), gvcp::STATUS_SUCCESS);  // still the controller
    EXPECT_TRUE(receiver_.pump([&] { return receiver_.blocks().rbegin()->first > last_before; }));
    const ornsim::SensorCounters c = scope_.sensor().counters();
    EXPECT_EQ(c.outages_begun, 1u);
    EXPECT_EQ(c.outages_ended, 1u);
}

TEST_F(Outage, ComesBackAtTheReturnAddressWhileTheOldOneStaysSilent) {
    const std::string there = orntest::loopback(Block::sim, kReturnHost);
    ornsim::FaultSwitches faults;
    faults.return_address = there;
    go_silent(0.5, faults);
    GvcpClient client_there(ipv4(there));
    EXPECT_GE(answered_after(client_there), 0.5);
    const orntest::Ack found = client_there.discovery();
    ASSERT_EQ(found.payload.size(), gvcp::kDiscoveryAckPayloadSize);
    EXPECT_EQ(wire::load_be32(found.payload.data() + gvcp::kDiscoveryCurrentIpOffset), ipv4(there));
    EXPECT_EQ(client_there.read_register(reg::Width), 32u);
    EXPECT_FALSE(client_.transact(gvcp::DISCOVERY_CMD, {}, gvcp::kFlagAckRequired, 300).received);
    EXPECT_EQ(scope_.sensor().current_address(), there);
}

TEST_F(Outage, PowerCycleResetsRegistersClockAndControl) {
    const auto first_latch = Clock::now();
    const uint64_t before = latched_timestamp(client_);
    ornsim::FaultSwitches faults;
    faults.power_cycle = true;
    go_silent(0.5, faults);
    EXPECT_GE(answered_after(client_), 0.5);

    EXPECT_EQ(client_.read_register(reg::Width), 64u);
    EXPECT_EQ(client_.read_register(gvcp::REG_CCP), 0u);
    EXPECT_EQ(client_.read_register(gvcp::REG_SCP0), 0u);
    GvcpClient other(ip_);
    ASSERT_TRUE(other.take_control());
    // A clock that ran on would have advanced by the whole time between the
    // latches; this one restarted at least 0.5 s later.
    const uint64_t after = latched_timestamp(other);
    const auto between = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - first_latch).count();
    EXPECT_LT(after, before + static_cast<uint64_t>(between) - 250000000u);
}

TEST_F(Outage, HeartbeatTimeoutPassedInTheSilenceReleasesControlButKeepsRegisters) {
    ASSERT_EQ(client_.write_register(gvcp::REG_HEARTBEAT_TIMEOUT, 500), gvcp::STATUS_SUCCESS);
    go_silent(1.0);
    EXPECT_GE(answered_after(client_), 1.0);
    EXPECT_EQ(client_.read_register(reg::Width), 32u);
    EXPECT_EQ(client_.read_register(gvcp::REG_CCP), 0u);
    EXPECT_EQ(client_.read_register(gvcp::REG_SCP0), 0u);
    GvcpClient other(ip_);
    EXPECT_TRUE(other.take_control());
}

}  // namespace
