// Acquisition control, frame layout, events and resend of the sensor, driven
// the way a host drives it: GVCP register writes over UDP, frames collected
// from a real GVSP socket, events from a real message-channel socket.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <set>
#include <string>

#include "device_registers.h"
#include "gvcp_client.h"
#include "ornsim/components.h"
#include "ornsim/virtual_sensor.h"
#include "sensor.h"
#include "stream_wire_parser.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"
#include "wire/gvcp_packets.h"

using orntest::GvcpClient;
using orntest::ipv4;
using orntest::UdpEndpoint;
namespace reg = ornsim::reg;
using std::chrono::milliseconds;

namespace {

uint64_t f64_bits(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

class Acquisition : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(scope_.ok()) << scope_.error();
        ASSERT_TRUE(receiver_.ok());
        ASSERT_TRUE(client_->take_control());
        ASSERT_TRUE(
            write({{gvcp::REG_SCDA0, ipv4("127.0.0.1")}, {gvcp::REG_SCP0, receiver_.port()}, {gvcp::REG_SCPS0, 1500}}));
    }

    void set_frame_rate(double hz) {
        const uint64_t bits = f64_bits(hz);
        ASSERT_TRUE(write({{reg::AcquisitionFrameRate, static_cast<uint32_t>(bits >> 32)},
                           {reg::AcquisitionFrameRate + 4, static_cast<uint32_t>(bits)}}));
    }
    // Message channel to `host`, FrameEnd events on, retried every 100 ms twice.
    void open_message_channel(const UdpEndpoint& host) {
        ASSERT_TRUE(write({{gvcp::REG_MCDA, ipv4("127.0.0.1")},
                           {gvcp::REG_MCP, host.port()},
                           {gvcp::REG_MCTT, 100},
                           {gvcp::REG_MCRC, 2},
                           {reg::EventSelector, reg::kEventFrameEnd},
                           {reg::EventNotification, 1}}));
    }
    size_t complete_blocks() {
        size_t n = 0;
        for (auto& entry : receiver_.blocks()) n += entry.second.complete() ? 1 : 0;
        return n;
    }
    bool wait_blocks(size_t n, milliseconds timeout = milliseconds(3000)) {
        return receiver_.pump([&] { return complete_blocks() >= n; }, timeout);
    }
    uint32_t read(uint32_t address) { return client_->read_register(address); }
    // True when the device acknowledged writing every (address, value) pair.
    bool write(const std::vector<std::pair<uint32_t, uint32_t>>& pairs) {
        return client_->write_registers(pairs).status == gvcp::STATUS_SUCCESS;
    }

    orntest::SensorScope scope_{orntest::sensor_config(orntest::Block::sim, 2, "VS-ACQ-1", 64, 48, 20.0)};
    ornsim::VirtualSensor* sensor_ = &scope_.sensor();
    const uint32_t ip_ = ipv4(scope_.config().address);
    std::unique_ptr<GvcpClient> client_ = std::make_unique<GvcpClient>(ip_);
    stream_test::StreamReceiver receiver_;
};

// Consecutive block ids and rising timestamps are checked through the
// library in tests/device and tests/hostile.
TEST_F(Acquisition, ContinuousModeRunsUntilStoppedAndFrameShapeIsBusyMeanwhile) {
    set_frame_rate(50.0);
    ASSERT_TRUE(write({{reg::AcquisitionStart, 1}}));
    EXPECT_EQ(client_->write_register(reg::Width, 32), gvcp::STATUS_BUSY);
    EXPECT_EQ(client_->write_register(gvcp::REG_SCCFG0, gvcp::SCCFG_MULTIPART), gvcp::STATUS_BUSY);
    EXPECT_TRUE(write({{reg::ExposureTime, static_cast<uint32_t>(f64_bits(500.0) >> 32)}}));
    ASSERT_TRUE(wait_blocks(5));
    EXPECT_EQ(read(reg::AcquisitionStatus), 1u);
    EXPECT_EQ(read(reg::Width), 64u);
    ASSERT_TRUE(write({{reg::AcquisitionStop, 1}}));
    receiver_.drain(milliseconds(200));
    const size_t after_stop = receiver_.blocks().size();
    receiver_.drain(milliseconds(300));
    EXPECT_EQ(receiver_.blocks().size(), after_stop);  // nothing after the stop
    EXPECT_TRUE(write({{reg::Width, 32}}));
}

TEST_F(Acquisition, PayloadSizeFollowsComponentsMultipartAndChunks) {
    // The frames themselves are checked part by part in the sender's tests and
    // through Aravis in the stream tests; here the register that sizes buffers.
    ASSERT_TRUE(write({{gvcp::REG_SCCFG0, gvcp::SCCFG_MULTIPART}}));
    ASSERT_TRUE(write({{reg::ComponentSelector, 0}, {reg::ComponentPixelFormat, ornsim::kPixelFormatCoord3D_C16}}));
    EXPECT_EQ(read(reg::PayloadSize), 64u * 48u * (2u + 1u + 1u));  // a part per component
    // Intensity off, chunks on: two image parts and a chunk part.
    ASSERT_TRUE(write({{reg::ComponentEnable + 4 * 1, 0}, {reg::ChunkModeActive, 1}}));
    EXPECT_EQ(read(reg::PayloadSize), 64u * 48u * (2u + 1u) + 2u * (8u + 8u));
    // Single image: the first enabled component, its chunk tag, the chunks.
    ASSERT_TRUE(write({{gvcp::REG_SCCFG0, 0}}));
    EXPECT_EQ(read(reg::PayloadSize), 64u * 48u * 2u + 8u + 2u * 16u);
}

// EVENTDATA from the message channel: its request id and its event. The
// FrameEnd data (frame id, timestamp) is read through the library in
// tests/device (Events.FrameEndEventsCarryTheFramesIdAndTimestamp...).
struct EventPacket {
    uint16_t req_id = 0;
    gvcp::EventEntry entry;
};
bool parse_event(const std::vector<uint8_t>& d, EventPacket* e) {
    const gvcp::CommandHeader h = gvcp::read_command_header(d.data(), d.size());
    // With extended ids the event starts with its size: header and data.
    if (d.size() < 8 + 24 + 16 || h.key != gvcp::kKey || h.command != gvcp::EVENTDATA_CMD ||
        (h.flags & gvcp::kFlagExtendedIds) == 0 || stream_test::be(d.data() + 8, 2) != d.size() - 8)
        return false;
    *e = {h.request_id, gvcp::read_event_entry(d.data() + 8, d.size() - 8, true)};
    return true;
}
// Copies of the next event left unacknowledged: until 400 ms of silence or
// another event.
std::vector<EventPacket> unacknowledged_copies(const UdpEndpoint& host) {
    std::vector<EventPacket> copies;
    EventPacket e;
    for (std::vector<uint8_t> d = host.receive(400); copies.size() < 6 && parse_event(d, &e); d = host.receive(400)) {
        if (!copies.empty() && e.req_id != copies[0].req_id) break;
        copies.push_back(e);
    }
    return copies;
}
void acknowledge_event(const UdpEndpoint& host, uint16_t req_id, uint32_t ip, uint16_t port) {
    host.send(gvcp::build_ack(gvcp::STATUS_SUCCESS, gvcp::EVENTDATA_ACK, req_id), ip, port);
}

TEST_F(Acquisition, FrameEndEventsAreRetriedUntilAcknowledged) {
    UdpEndpoint host;
    open_message_channel(host);
    ASSERT_TRUE(write({{reg::AcquisitionMode, reg::kAcquisitionModeSingleFrame}}));
    ASSERT_TRUE(write({{reg::AcquisitionStart, 1}}));
    ASSERT_TRUE(wait_blocks(1));
    // Never acknowledged: the first send and MCRC retries, MCTT apart.
    const std::vector<EventPacket> copies = unacknowledged_copies(host);
    ASSERT_EQ(copies.size(), 3u);
    for (const EventPacket& e : copies) {  // one request id: unacknowledged_copies stops at another
        EXPECT_EQ(e.entry.event_id, reg::kEventIdFrameEnd);
        EXPECT_EQ(e.entry.block_id, receiver_.blocks().begin()->first);
    }
    stream_test::ImageLeader leader{};
    ASSERT_TRUE(stream_test::decode_image_leader(*receiver_.blocks().begin()->second.leader, &leader));
    EXPECT_EQ(copies[0].entry.timestamp, leader.timestamp);

    // Acknowledged: sent once.
    ASSERT_TRUE(write({{reg::AcquisitionStart, 1}}));
    uint32_t device_ip = 0;
    uint16_t device_port = 0;
    std::vector<uint8_t> d = host.receive(2000, &device_ip, &device_port);
    EventPacket e;
    ASSERT_TRUE(parse_event(d, &e));
    EXPECT_EQ(device_ip, ip_);
    EXPECT_EQ(read(gvcp::REG_MCSP), device_port);
    acknowledge_event(host, e.req_id, device_ip, device_port);
    EXPECT_TRUE(host.receive(400).empty());
    EXPECT_GE(sensor_->counters().events_sent, 4u);
}

TEST_F(Acquisition, EventFloodKeepsItsRateAndItsCountAndStopsWhenSwitchedOff) {
    UdpEndpoint host;
    open_message_channel(host);
    std::set<uint16_t> flood_ids;  // request ids of flood events seen
    // Takes events for `ms`, acknowledging each at once; returns how many arrived.
    auto serve = [&](int ms) {
        int received = 0;
        for (const auto until = std::chrono::steady_clock::now() + milliseconds(ms);
             std::chrono::steady_clock::now() < until;) {
            uint32_t ip = 0;
            uint16_t port = 0;
            std::vector<uint8_t> d = host.receive(20, &ip, &port);
            receiver_.drain(milliseconds(0));
            EventPacket e;
            if (d.empty() || !parse_event(d, &e)) continue;
            ++received;
            EXPECT_EQ(e.entry.event_id, reg::kEventIdFrameEnd);
            if (e.entry.block_id == 0) flood_ids.insert(e.req_id);
            acknowledge_event(host, e.req_id, ip, port);
        }
        return received;
    };

    constexpr double kFloodPerS = 200.0;
    ornsim::FaultSwitches faults;
    faults.event_flood_per_s = kFloodPerS;
    sensor_->set_faults(faults);
    ASSERT_TRUE(write({{reg::AcquisitionStart, 1}}));
    serve(1000);
    ASSERT_TRUE(write({{reg::AcquisitionStop, 1}}));
    // Some 200 in the second; a loaded machine may keep fewer, never more.
    EXPECT_GE(flood_ids.size(), static_cast<size_t>(kFloodPerS / 4));
    EXPECT_LE(flood_ids.size(), static_cast<size_t>(kFloodPerS * 1.1) + 1);
    // Switched off, the channel falls quiet; its count is what the host saw.
    sensor_->set_faults(ornsim::FaultSwitches{});
    for (int round = 0; round < 20 && serve(400) > 0; ++round) {
    }
    EXPECT_TRUE(host.receive(400).empty());
    EXPECT_EQ(sensor_->counters().events_flooded, flood_ids.size());
}

TEST_F(Acquisition, SilentControllerLosesControlAndTheStreamAfterTheHeartbeatTimeout) {
    ASSERT_TRUE(write({{gvcp::REG_HEARTBEAT_TIMEOUT, 500}}));
    ASSERT_TRUE(write({{reg::AcquisitionStart, 1}}));
    ASSERT_TRUE(wait_blocks(2));
    GvcpClient other(ip_);
    // Silence past the timeout: the privilege goes, and the stream with it.
    receiver_.drain(milliseconds(1200));
    const size_t before = receiver_.blocks().size();
    receiver_.drain(milliseconds(400));
    EXPECT_EQ(receiver_.blocks().size(), before);
    EXPECT_EQ(other.read_register(gvcp::REG_CCP), 0u);
    EXPECT_EQ(other.read_register(gvcp::REG_SCP0), 0u);  // the stream channel closed with the privilege
    EXPECT_EQ(other.read_register(reg::AcquisitionStatus), 0u);
}

}  // namespace
