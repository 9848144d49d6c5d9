// A power cycle of the sensor seen from the wire, which the recovery suite
// (tests/device/recovery_test.cpp) cannot see through a library that writes
// its settings again: the sensor falls silent, then answers at its return
// address only, with its registers at their power-up values, its clock
// restarted and no controller.
#include <gtest/gtest.h>

#include <chrono>

#include "device_registers.h"
#include "gvcp_client.h"
#include "ornsim/virtual_sensor.h"
#include "sensor.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"

namespace {

using orntest::Block;
using orntest::GvcpClient;
using orntest::ipv4;
namespace reg = ornsim::reg;
using Clock = std::chrono::steady_clock;

uint64_t latched_timestamp(GvcpClient& client) {
    EXPECT_EQ(client.write_register(gvcp::REG_TIMESTAMP_CONTROL, gvcp::TIMESTAMP_CONTROL_LATCH), gvcp::STATUS_SUCCESS);
    return (uint64_t{client.read_register(gvcp::REG_TIMESTAMP_VALUE_HIGH)} << 32) |
           client.read_register(gvcp::REG_TIMESTAMP_VALUE_LOW);
}

// The suite's loopback block: the sensor at host 5, its return address at host 6.
TEST(Outage, APowerCycleComesBackAtTheReturnAddressWithRegistersClockAndControlReset) {
    orntest::SensorScope scope(orntest::sensor_config(Block::sim, 5, "VS-OUT-1", 64, 48, 20.0));
    ASSERT_TRUE(scope.ok()) << scope.error();
    const std::string there = orntest::loopback(Block::sim, 6);
    GvcpClient here(ipv4(scope.config().address)), client(ipv4(there));
    ASSERT_TRUE(here.take_control());
    ASSERT_EQ(here.write_registers({{gvcp::REG_SCP0, 40000}, {reg::Width, 32}}).status, gvcp::STATUS_SUCCESS);
    const auto first_latch = Clock::now();
    const uint64_t before = latched_timestamp(here);

    ornsim::FaultSwitches faults;
    faults.silent_after_s = 0.0;
    faults.silent_for_s = 0.5;
    faults.return_address = there;
    faults.power_cycle = true;
    ASSERT_TRUE(scope.sensor().set_faults(faults));
    // Asked again and again (5 s at most), it answers there once the silence is over.
    orntest::Ack found;
    while (!found.received && Clock::now() - first_latch < std::chrono::seconds(5)) found = client.discovery();
    ASSERT_EQ(found.payload.size(), gvcp::kDiscoveryAckPayloadSize);
    EXPECT_EQ(wire::load_be32(found.payload.data() + gvcp::kDiscoveryCurrentIpOffset), ipv4(there));
    EXPECT_FALSE(here.transact(gvcp::DISCOVERY_CMD, {}, gvcp::kFlagAckRequired, 300).received);

    EXPECT_EQ(client.read_register(reg::Width), 64u);
    EXPECT_EQ(client.read_register(gvcp::REG_CCP), 0u);
    EXPECT_EQ(client.read_register(gvcp::REG_SCP0), 0u);
    EXPECT_TRUE(client.take_control());
    // A clock that ran on would have advanced by the whole time between the
    // latches; this one restarted at least 0.5 s after the first.
    const uint64_t after = latched_timestamp(client);
    const auto between = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - first_latch).count();
    EXPECT_LT(after, before + static_cast<uint64_t>(between) - 250000000u);
}

}  // namespace
