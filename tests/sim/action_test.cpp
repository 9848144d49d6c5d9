// Action commands and the PTP clock of the sensor, driven over UDP as a host
// drives them: raw ACTION_CMDs, acknowledges read from the socket, frames
// (and their leader timestamps) from a real GVSP socket.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <vector>

#include "device_registers.h"
#include "gvcp_client.h"
#include "sensor.h"
#include "stream_wire_parser.h"
#include "wire/gvcp_packets.h"

using orntest::Ack;
using orntest::ipv4;
namespace reg = ornsim::reg;
using std::chrono::milliseconds;

namespace {

constexpr uint32_t kDeviceKey = 0x0A0B0C0D, kGroupKey = 0x11, kGroupMask = 0x6;
constexpr uint32_t kPtp = gvcp::GVCP_CONFIG_IEEE1588_ENABLE, kStatus20 = gvcp::GVCP_CONFIG_EXTENDED_STATUS_2_0;

constexpr int64_t kSkewMs = -250;

// The sensor's clock with PTP on: the host's realtime clock, skewed.
uint64_t device_now() {
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since_epoch).count() +
                                 kSkewMs * 1000000);
}

ornsim::SensorConfig skewed_sensor() {
    ornsim::SensorConfig config = orntest::sensor_config(orntest::Block::sim, 2, "VS-ACT-1", 64, 48);
    config.clock_skew_ms = kSkewMs;
    return config;
}

class Actions : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(scope_.ok()) << scope_.error();
        // In control; signal 2 (Action3) keyed; the trigger listening to it.
        const Ack a = client_.write_registers({{gvcp::REG_CCP, gvcp::CCP_CONTROL},
                                               {gvcp::REG_SCDA0, ipv4("127.0.0.1")},
                                               {gvcp::REG_SCP0, receiver_.port()},
                                               {gvcp::REG_ACTION_DEVICE_KEY, kDeviceKey},
                                               {gvcp::REG_ACTION_GROUP_KEY0 + 2 * gvcp::kActionGroupStride, kGroupKey},
                                               {gvcp::REG_ACTION_GROUP_MASK0 + 2 * gvcp::kActionGroupStride, 0x3},
                                               {gvcp::REG_GVCP_CONFIGURATION, kPtp | kStatus20},
                                               {reg::TriggerMode, 1},
                                               {reg::TriggerSource, reg::kTriggerSourceAction1 + 2},
                                               {reg::AcquisitionStart, 1}});
        ASSERT_EQ(a.status, gvcp::STATUS_SUCCESS);
    }
    // Sends one action asking for an ack; the ack's status, or 0xFFFF when none came.
    uint16_t act(uint32_t device_key, uint32_t group_key, uint32_t mask, uint64_t at = 0) {
        client_.send_raw(gvcp::build_action_command(
            true, ++id_, {device_key, group_key, mask, at != 0 ? std::optional<uint64_t>(at) : std::nullopt}));
        return client_.wait_ack(id_, 300).status;
    }
    // Leader timestamps of the frames that come within `wait`.
    std::vector<uint64_t> frames(milliseconds wait) {
        receiver_.pump([] { return false; }, wait);
        std::vector<uint64_t> stamps;
        stream_test::ImageLeader leader;
        for (auto& [id, block] : receiver_.blocks())
            if (block.leader && stream_test::decode_image_leader(*block.leader, &leader))
                stamps.push_back(leader.timestamp);
        receiver_.blocks().clear();
        return stamps;
    }

    orntest::SensorScope scope_{skewed_sensor()};
    orntest::GvcpClient client_{ipv4(scope_.config().address)};
    stream_test::StreamReceiver receiver_;
    uint16_t id_ = 0x4000;
};

// Wrong device key, group key or mask are neither acknowledged nor acted on: checked through the library in
// ThreeSensors.OneScheduledActionOneFrameEachAndWrongKeysNone (tests/device).
TEST_F(Actions, OnlyMatchingActionsFireAndAreAcknowledged) {
    // Too short for the time its flag announces: silence, and the sensor goes on.
    client_.send_raw(gvcp::build_command(gvcp::kFlagAckRequired | gvcp::kFlagScheduledAction, gvcp::ACTION_CMD, ++id_,
                                         std::vector<uint8_t>(12, 0)));
    EXPECT_FALSE(client_.wait_ack(id_, 300).received);
    EXPECT_TRUE(frames(milliseconds(300)).empty());

    const uint64_t before = device_now();
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask), gvcp::STATUS_SUCCESS);
    const std::vector<uint64_t> stamps = frames(milliseconds(500));
    ASSERT_EQ(stamps.size(), 1u);
    EXPECT_LT(stamps[0] - before, 100000000u);

    // Without an application in control the device takes no action, unless unconditionally.
    ASSERT_TRUE(client_.take_control(0));
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask), 0xFFFF);
    ASSERT_EQ(client_.write_register(gvcp::REG_GVCP_CONFIGURATION, gvcp::GVCP_CONFIG_UNCONDITIONAL_ACTION | kPtp), 0);
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask), gvcp::STATUS_SUCCESS);
    // Without the extended statuses a late action is answered ERROR.
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, 1), gvcp::STATUS_ERROR);
}

TEST_F(Actions, ScheduledActionsFireOnTheSkewedClockLateOnesAtOnceAndTheQueueIsBounded) {
    const uint64_t at = device_now() + 300000000u;
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, at), gvcp::STATUS_SUCCESS);
    receiver_.pump([&] { return !receiver_.blocks().empty(); }, milliseconds(1000));
    const uint64_t arrived = device_now();
    const std::vector<uint64_t> stamps = frames(milliseconds(50));
    ASSERT_EQ(stamps.size(), 1u);
    EXPECT_NEAR(static_cast<double>(stamps[0]), static_cast<double>(at), 1e6);
    EXPECT_GE(arrived, at);  // not fired early

    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, at), gvcp::STATUS_ACTION_LATE);
    EXPECT_EQ(frames(milliseconds(300)).size(), 1u);

    const uint64_t far = device_now() + 60000000000u;
    ASSERT_EQ(client_.read_register(gvcp::REG_SCHEDULED_ACTION_QUEUE_SIZE), reg::kActionQueueSize);
    for (uint32_t i = 0; i < reg::kActionQueueSize; ++i) ASSERT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, far + i), 0);
    EXPECT_EQ(act(kDeviceKey, kGroupKey, kGroupMask, far), gvcp::STATUS_OVERFLOW);
}

}  // namespace
