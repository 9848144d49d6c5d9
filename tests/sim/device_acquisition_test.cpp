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

TEST_F(Acquisition, FiniteModesStopByThemselves) {
    set_frame_rate(50.0);
    // Single frame (whatever the frame count says), then three frames: that
    // many go out and the device falls idle.
    for (const auto& [mode, count] :
         {std::pair<uint32_t, size_t>{reg::kAcquisitionModeSingleFrame, 1}, {reg::kAcquisitionModeMultiFrame, 3}}) {
        receiver_.blocks().clear();
        ASSERT_TRUE(write({{reg::AcquisitionMode, mode}, {reg::AcquisitionFrameCount, 3}}));
        ASSERT_TRUE(write({{reg::AcquisitionStart, 1}}));
        ASSERT_TRUE(wait_blocks(count)) << mode;
        receiver_.drain(milliseconds(300));
        EXPECT_EQ(receiver_.blocks().size(), count) << mode;
        EXPECT_EQ(read(reg::AcquisitionStatus), 0u) << mode;
    }
}

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
        (h.flags & gvcp::kFlagExtendedIds) == 0 || stream_test::be16(d.data() + 8) != d.size() - 8)
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
    for (const EventPacket& e : copies) {
        EXPECT_EQ(e.req_id, copies[0].req_id);
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

TEST_F(Acquisition, CutFramesStopHalfwayWithoutTrailerAndAreNeverResent) {
    ornsim::FaultSwitches faults;
    faults.cut_frame_every = 3;
    sensor_->set_faults(faults);
    set_frame_rate(50.0);
    constexpr size_t kFrames = 7;
    ASSERT_TRUE(
        write({{reg::AcquisitionMode, reg::kAcquisitionModeMultiFrame}, {reg::AcquisitionFrameCount, kFrames}}));
    ASSERT_TRUE(write({{reg::AcquisitionStart, 1}}));
    ASSERT_TRUE(receiver_.pump(
        [&] { return receiver_.blocks().size() == kFrames && receiver_.blocks().rbegin()->second.complete(); }));
    receiver_.drain(milliseconds(300));
    ASSERT_EQ(receiver_.blocks().size(), kFrames);

    // Frames 3 and 6 counted from the switch: leader and the first half of the
    // payload packets, in order, and nothing after them.
    const stream_test::CollectedBlock& whole = receiver_.blocks().begin()->second;
    ASSERT_TRUE(whole.complete());
    const uint32_t payload_packets = whole.trailer->packet_id - 1;
    ASSERT_GE(payload_packets, 4u);
    std::vector<uint64_t> cut_ids;
    for (auto& entry : receiver_.blocks()) {
        const stream_test::CollectedBlock& block = entry.second;
        const bool cut = (entry.first - receiver_.blocks().begin()->first + 1) % 3 == 0;
        ASSERT_TRUE(block.leader.has_value()) << entry.first;
        if (!cut) {
            EXPECT_TRUE(block.complete()) << entry.first;
            continue;
        }
        cut_ids.push_back(entry.first);
        EXPECT_FALSE(block.trailer.has_value()) << entry.first;
        ASSERT_EQ(block.payload.size(), payload_packets / 2) << entry.first;
        EXPECT_EQ(block.payload.begin()->first, 1u);
        EXPECT_EQ(block.payload.rbegin()->first, payload_packets / 2);
    }
    ASSERT_EQ(cut_ids.size(), 2u);

    // A request for the rest of a cut frame is answered by a header alone with
    // PACKET_UNAVAILABLE for its first packet; the same request for the last
    // (whole) frame brings those packets back.
    const uint64_t cut_id = cut_ids[0], whole_id = receiver_.blocks().rbegin()->first;
    for (const uint64_t id : {cut_id, whole_id}) {
        client_->send_raw(gvcp::build_resend_request(true, 1, {0, id, payload_packets / 2 + 1, payload_packets + 1}));
    }
    receiver_.drain(milliseconds(300));
    const auto& refused = receiver_.blocks()[cut_id].payload;
    ASSERT_EQ(refused.size(), payload_packets / 2 + 1);
    EXPECT_EQ(refused.rbegin()->first, payload_packets / 2 + 1);
    EXPECT_EQ(refused.rbegin()->second.status, 0x800Cu);
    EXPECT_TRUE(refused.rbegin()->second.data.empty());
    EXPECT_FALSE(receiver_.blocks()[cut_id].trailer.has_value());
    const uint32_t rest = payload_packets - payload_packets / 2 + 1;  // with the trailer
    EXPECT_EQ(receiver_.blocks()[whole_id].resent, rest);
    ornsim::SensorCounters c = sensor_->counters();
    EXPECT_EQ(c.frames_sent, kFrames);
    EXPECT_EQ(c.frames_cut, 2u);
    EXPECT_EQ(c.resend_requests, 2u);
    EXPECT_EQ(c.packets_resent, rest);
}

TEST_F(Acquisition, EventFloodSendsAcknowledgedRetriedEventsBesideTheFrameEndEvents) {
    UdpEndpoint host;
    open_message_channel(host);
    std::set<uint16_t> flood_ids;     // request ids of flood events seen
    std::set<uint64_t> frame_events;  // block ids of the frames' own events
    // Takes events for `ms`, acknowledging each at once; returns how many arrived.
    auto serve = [&](int ms) {
        int received = 0;
        const auto until = std::chrono::steady_clock::now() + milliseconds(ms);
        while (std::chrono::steady_clock::now() < until) {
            uint32_t ip = 0;
            uint16_t port = 0;
            std::vector<uint8_t> d = host.receive(20, &ip, &port);
            receiver_.drain(milliseconds(0));
            EventPacket e;
            if (d.empty() || !parse_event(d, &e)) continue;
            ++received;
            EXPECT_EQ(ip, ip_);
            EXPECT_EQ(e.entry.event_id, reg::kEventIdFrameEnd);
            if (e.entry.block_id == 0) {
                flood_ids.insert(e.req_id);
            } else {
                frame_events.insert(e.entry.block_id);
            }
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
    // The frames' own events still come through between them.
    EXPECT_GE(frame_events.size(), 5u);
    serve(200);  // the last frame's event is answered too

    // Unacknowledged, a flood event is retried MCRC times, MCTT apart, and
    // nothing else is sent while it is in flight.
    const std::vector<EventPacket> copies = unacknowledged_copies(host);
    ASSERT_EQ(copies.size(), 3u);
    EXPECT_EQ(copies[0].entry.block_id, 0u);
    flood_ids.insert(copies[0].req_id);

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
    // Commands keep the privilege alive past the timeout...
    for (int i = 0; i < 4; ++i) {
        receiver_.pump([] { return false; }, milliseconds(250));
        EXPECT_EQ(read(gvcp::REG_CCP), gvcp::CCP_CONTROL);
    }
    EXPECT_EQ(other.write_register(gvcp::REG_CCP, gvcp::CCP_CONTROL), gvcp::STATUS_ACCESS_DENIED);
    // ...silence does not: the privilege goes, and the stream with it.
    receiver_.drain(milliseconds(1200));
    const size_t before = receiver_.blocks().size();
    receiver_.drain(milliseconds(400));
    EXPECT_EQ(receiver_.blocks().size(), before);
    EXPECT_EQ(other.read_register(gvcp::REG_CCP), 0u);
    EXPECT_EQ(other.read_register(gvcp::REG_SCP0), 0u);  // the stream channel closed with the privilege
    EXPECT_EQ(other.read_register(reg::AcquisitionStatus), 0u);
    EXPECT_TRUE(other.take_control());
    EXPECT_EQ(client_->write_register(reg::Width, 32), gvcp::STATUS_ACCESS_DENIED);
}

}  // namespace
