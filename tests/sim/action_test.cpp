// Action commands and the PTP clock of the sensor, driven over UDP as a host
// drives them: raw ACTION_CMDs, acknowledges read from the socket, frames
// (and their leader timestamps) from a real GVSP socket.
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "device_registers.h"
#include "gvcp_client.h"
#include "sensor.h"
#include "stream_wire_parser.h"
#include "wire/gvcp_packets.h"

using orntest::ipv4;
namespace reg = ornsim::reg;
using std::chrono::milliseconds;

namespace {

constexpr uint32_t kDeviceKey = 0x0A0B0C0D, kGroupKey = 0x11, kGroupMask = 0x6;

uint64_t realtime_ns() {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
}

class Actions : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(scope_.ok()) << scope_.error();
        ASSERT_TRUE(client_.take_control());
        // Signal 2 (Action3) is keyed; the trigger listens to it.
        const uint32_t group2 = 2 * gvcp::kActionGroupStride;
        ASSERT_EQ(client_
                      .write_registers({{gvcp::REG_SCDA0, ipv4("127.0.0.1")},
                                        {gvcp::REG_SCP0, receiver_.port()},
                                        {gvcp::REG_ACTION_DEVICE_KEY, kDeviceKey},
                                        {gvcp::REG_ACTION_GROUP_KEY0 + group2, kGroupKey},
                                        {gvcp::REG_ACTION_GROUP_MASK0 + group2, 0x3},
                                        {gvcp::REG_GVCP_CONFIGURATION,
                                         gvcp::GVCP_CONFIG_IEEE1588_ENABLE | gvcp::GVCP_CONFIG_EXTENDED_STATUS_2_0},
                                        {reg::TriggerMode, 1},
                                        {reg::TriggerSource, reg::kTriggerSourceAction1 + 2},
                                        {reg::AcquisitionStart, 1}})
                      .status,
                  gvcp::STATUS_SUCCESS);
    }
    // Sends one action asking for an ack; the ack's status, or 0xFFFF when none came.
    uint16_t act(uint32_t device_key, uint32_t group_key, uint32_t mask, uint64_t at = 0) {
        const gvcp::ActionCommand a{device_key, group_key, mask, at != 0, at};
        client_.send_raw(gvcp::build_action_command(true, ++id_, a));
        return client_.wait_ack(id_, 300).status;
    }
    // Leader timestamps of the frames that come within `wait`.
    std::vector<uint64_t> frames(milliseconds wait) {
        std::vector<uint64_t> stamps;
        receiver_.pump([] { return false; }, wait);
        for (auto& [id, block] : receiver_.blocks()) {
            stream_test::ImageLeader leader;
            if (block.leader && stream_test::decode_image_leader(*block.leader, &leader))
                stamps.push_back(leader.timestamp);
        }
        receiver_.blocks().clear();
        return stamps;
    }

    orntest::SensorScope scope_{orntest::sensor_config(orntest::Block::sim, 2, "VS-ACT-1", 64, 48)};
    orntest::GvcpClient client_{ipv4(scope_.config().address)};
    stream_test::StreamReceiver receiver_;
    uint16_t id_ = 0x4000;
};

TEST_F(Actions, OnlyMatchingActionsFireAndAreAcknowledged) {
    EXPECT_EQ(act(kDeviceKey + 1, kGroupKey, kGroupMask), 0xFFFF);
    EXPECT_EQ(act(kDeviceKey, kGroupKey + 1, kGroupMask), 0xFFFF);
    EXPECT_EQ(act(kDeviceKey, kGroupKey, 0x4), 0xFFFF);  // shares no bit with the group's mask
    // Too short for its keys, or for the time its flag announces: silence, and the sensor goes on.
    client_.send_raw(gvcp::build_command(gvcp::kFlagAckRequired, gvcp::ACTION_CMD, ++id_, {0, 0, 0, 1}));
    client_.send_raw(gvcp::build_command(gvcp::kFlagAckRequired | gvcp::kFlagScheduledAction, gvcp::ACTION_CMD, ++id_,
                                         std::vector<uint8_t>(12, 0)));
    EXPECT_FALSE(client_.wait_ack(id_, 300).received);
    EXPECT_TRUE(frames(milliseconds(300)).empty());

    const uint64_t before = realtime_ns();
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask), gvcp::STATUS_SUCCESS);
    const std::vector<uint64_t> stamps = frames(milliseconds(500));
    ASSERT_EQ(stamps.size(), 1u);
    EXPECT_GE(stamps[0], before);  // PTP on: the device clock is the host's realtime clock
    EXPECT_LT(stamps[0], before + 100000000u);

    // Without an application in control the device takes no action, unless unconditionally.
    ASSERT_TRUE(client_.take_control(0));
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask), 0xFFFF);
    ASSERT_EQ(client_.write_register(gvcp::REG_GVCP_CONFIGURATION,
                                     gvcp::GVCP_CONFIG_UNCONDITIONAL_ACTION | gvcp::GVCP_CONFIG_IEEE1588_ENABLE),
              gvcp::STATUS_SUCCESS);
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask), gvcp::STATUS_SUCCESS);
    // Without the extended statuses a late action is answered ERROR.
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, 1), gvcp::STATUS_ERROR);
}

TEST_F(Actions, ScheduledActionsFireAtTheirTimeLateOnesAtOnceAndTheQueueIsBounded) {
    const uint64_t at = realtime_ns() + 300000000u;
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, at), gvcp::STATUS_SUCCESS);
    EXPECT_TRUE(frames(milliseconds(200)).empty());
    receiver_.pump([&] { return !receiver_.blocks().empty(); }, milliseconds(1000));
    const uint64_t arrived = realtime_ns();
    const std::vector<uint64_t> stamps = frames(milliseconds(50));
    ASSERT_EQ(stamps.size(), 1u);
    EXPECT_NEAR(static_cast<double>(stamps[0]), static_cast<double>(at), 1e6);
    EXPECT_GE(arrived, at);

    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, at), gvcp::STATUS_ACTION_LATE);
    EXPECT_EQ(frames(milliseconds(300)).size(), 1u);

    const uint64_t later = realtime_ns() + 60000000000u;
    const uint32_t queue = client_.read_register(gvcp::REG_SCHEDULED_ACTION_QUEUE_SIZE);
    ASSERT_EQ(queue, reg::kActionQueueSize);
    for (uint32_t i = 0; i < queue; ++i) ASSERT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, later + i), 0);
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, later), gvcp::STATUS_OVERFLOW);
}

TEST(PtpClock, SkewedClockIsUncalibratedAndReportsItsOffset) {
    ornsim::SensorConfig config = orntest::sensor_config(orntest::Block::sim, 3, "VS-PTP-1");
    config.clock_skew_ms = -250;
    orntest::SensorScope scope(config);
    ASSERT_TRUE(scope.ok()) << scope.error();
    orntest::GvcpClient client(ipv4(config.address));
    ASSERT_TRUE(client.take_control());
    EXPECT_EQ(client.read_register(gvcp::REG_IEEE1588_STATUS) & gvcp::IEEE1588_STATE_MASK, reg::kPtpStateDisabled);
    ASSERT_EQ(client.write_register(gvcp::REG_GVCP_CONFIGURATION, gvcp::GVCP_CONFIG_IEEE1588_ENABLE), 0);
    EXPECT_EQ(client.read_register(gvcp::REG_IEEE1588_STATUS) & gvcp::IEEE1588_STATE_MASK, reg::kPtpStateUncalibrated);
    ASSERT_EQ(client.write_registers({{reg::PtpDataSetLatch, 1}, {gvcp::REG_TIMESTAMP_CONTROL, 2}}).status, 0);
    const uint64_t host = realtime_ns();
    const auto word = [&](uint32_t a) { return uint64_t{client.read_register(a)}; };
    EXPECT_EQ(static_cast<int64_t>(word(reg::PtpOffsetFromMaster) << 32 | word(reg::PtpOffsetFromMaster + 4)),
              -250000000);
    const uint64_t device = word(gvcp::REG_TIMESTAMP_VALUE_HIGH) << 32 | word(gvcp::REG_TIMESTAMP_VALUE_LOW);
    EXPECT_NEAR(static_cast<double>(host - device), 250e6, 50e6);
}

}  // namespace
