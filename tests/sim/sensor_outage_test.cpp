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
        ASSERT_TRUE(receiver_.ok() && client_.take_control());
        ASSERT_EQ(client_
                      .write_registers(
                          {{gvcp::REG_SCDA0, ipv4("127.0.0.1")}, {gvcp::REG_SCP0, receiver_.port()}, {reg::Width, 32}})
                      .status,
                  gvcp::STATUS_SUCCESS);
    }
    // Silent from now on for `seconds`, then back as `faults` says. True when
    // `client`, asking every 100 ms (5 s at most), got its first discovery
    // answer once that time had passed.
    bool outage(double seconds, GvcpClient& client, ornsim::FaultSwitches faults = {}) {
        faults.silent_after_s = 0.0;
        faults.silent_for_s = seconds;
        const auto since = Clock::now();
        if (!scope_.sensor().set_faults(faults)) return false;
        while (Clock::now() - since < std::chrono::seconds(5)) {
            if (client.transact(gvcp::DISCOVERY_CMD, {}, gvcp::kFlagAckRequired, 100).received)
                return std::chrono::duration<double>(Clock::now() - since).count() >= seconds;
        }
        return false;
    }
    // The controller is gone: stream channel closed, control free for another application.
    void expect_control_released() {
        EXPECT_EQ(client_.read_register(gvcp::REG_CCP), 0u);
        EXPECT_EQ(client_.read_register(gvcp::REG_SCP0), 0u);
        EXPECT_TRUE(other_.take_control());
    }
    uint64_t latched_timestamp(GvcpClient& client) {
        EXPECT_EQ(client.write_register(gvcp::REG_TIMESTAMP_CONTROL, gvcp::TIMESTAMP_CONTROL_LATCH),
                  gvcp::STATUS_SUCCESS);
        return (uint64_t{client.read_register(gvcp::REG_TIMESTAMP_VALUE_HIGH)} << 32) |
               client.read_register(gvcp::REG_TIMESTAMP_VALUE_LOW);
    }

    orntest::SensorScope scope_{orntest::sensor_config(Block::sim, kHost, "VS-OUT-1", 64, 48, 20.0)};
    GvcpClient client_{ipv4(scope_.config().address)}, other_{ipv4(scope_.config().address)};
    stream_test::StreamReceiver receiver_;
};

TEST_F(Outage, ASecondOfSilenceEndsAtTheSameAddressWithControlRegistersAndStreamKept) {
    ASSERT_EQ(client_.write_register(reg::AcquisitionStart, 1), gvcp::STATUS_SUCCESS);
    ASSERT_TRUE(receiver_.pump([&] { return !receiver_.blocks().empty(); }));
    const uint64_t last_before = receiver_.blocks().rbegin()->first;
    ASSERT_TRUE(outage(1.0, client_));
    EXPECT_EQ(client_.read_register(reg::Width), 32u);
    EXPECT_EQ(client_.write_register(reg::AcquisitionFrameCount, 5), gvcp::STATUS_SUCCESS);  // still the controller
    // The frames of the silence (20 a second) were taken but not sent.
    EXPECT_TRUE(receiver_.pump([&] { return receiver_.blocks().rbegin()->first > last_before + 5; }));
    EXPECT_EQ(scope_.sensor().counters().outages_ended, 1u);
}

TEST_F(Outage, ComesBackAtTheReturnAddressWhileTheOldOneStaysSilent) {
    const std::string there = orntest::loopback(Block::sim, kReturnHost);
    ornsim::FaultSwitches faults;
    faults.return_address = there;
    GvcpClient client_there(ipv4(there));
    ASSERT_TRUE(outage(0.5, client_there, faults));
    const orntest::Ack found = client_there.discovery();
    ASSERT_EQ(found.payload.size(), gvcp::kDiscoveryAckPayloadSize);
    EXPECT_EQ(wire::load_be32(found.payload.data() + gvcp::kDiscoveryCurrentIpOffset), ipv4(there));
    EXPECT_EQ(client_there.read_register(reg::Width), 32u);
    EXPECT_FALSE(client_.transact(gvcp::DISCOVERY_CMD, {}, gvcp::kFlagAckRequired, 300).received);
}

TEST_F(Outage, PowerCycleResetsRegistersClockAndControl) {
    const auto first_latch = Clock::now();
    const uint64_t before = latched_timestamp(client_);
    ornsim::FaultSwitches faults;
    faults.power_cycle = true;
    ASSERT_TRUE(outage(0.5, client_, faults));
    EXPECT_EQ(client_.read_register(reg::Width), 64u);
    expect_control_released();
    // A clock that ran on would have advanced by the whole time between the
    // latches; this one restarted at least 0.5 s after the first.
    const uint64_t after = latched_timestamp(other_);
    const auto between = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - first_latch).count();
    EXPECT_LT(after, before + static_cast<uint64_t>(between) - 250000000u);
}

TEST_F(Outage, HeartbeatTimeoutPassedInTheSilenceReleasesControlButKeepsRegisters) {
    ASSERT_EQ(client_.write_register(gvcp::REG_HEARTBEAT_TIMEOUT, 500), gvcp::STATUS_SUCCESS);
    ASSERT_TRUE(outage(1.0, client_));
    EXPECT_EQ(client_.read_register(reg::Width), 32u);
    expect_control_released();
}

}  // namespace
