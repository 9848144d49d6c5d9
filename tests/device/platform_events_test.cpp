// Device events and link loss through the platform against the virtual
// sensor over real UDP on loopback: FrameEnd events with their data
// features, acknowledges and resends, hostile datagrams on the message
// channel, and the heartbeat loss of a silent sensor. (Threads and
// descriptors of the message channel over many registrations are counted
// by acquisition_cycles_test, whose every start registers a sink.)
#include <arv.h>
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/PvDeviceEventSink.h"
#include "platform/PvGenParameterList.h"
#include "platform_test_support.h"
#include "udp_endpoint.h"
#include "wait.h"
#include "wire/gvcp_packets.h"

namespace {

using namespace std::chrono_literals;
using platform_test::describe;
using platform_test::Rig;

constexpr uint16_t kFrameEndEventId = 0x9001;

// An event's id, block id, timestamp, data size, whether it came with a
// list of data features and their values read during the notification.
using SeenEvent = std::tuple<uint16_t, uint64_t, uint64_t, uint32_t, bool, std::vector<int64_t>>;

// What a sink heard, copied out under its lock.
struct Heard {
    std::vector<SeenEvent> events;
    int disconnects = 0;
    PvDevice* disconnected_device = nullptr;
    PvResult disconnect_result;  // of a disconnecting sink's own disconnect
    std::chrono::steady_clock::duration disconnect_took{};
};

// Records what it hears. A disconnecting sink plays an application that
// disconnects from inside the link-loss notification, on the notifying
// thread.
class RecordingSink : public PvDeviceEventSink {
public:
    explicit RecordingSink(bool disconnecting = false) : disconnecting_(disconnecting) {}
    void OnLinkDisconnected(PvDevice* device) override {
        const auto begin = std::chrono::steady_clock::now();
        const PvResult result = disconnecting_ ? device->Disconnect() : PvResult(PvResult::OK);
        std::lock_guard<std::mutex> guard(lock_);
        heard_.disconnect_result = result;
        heard_.disconnect_took = std::chrono::steady_clock::now() - begin;
        ++heard_.disconnects;
        heard_.disconnected_device = device;
    }
    void OnEvent(PvDevice*, uint16_t, uint16_t, uint64_t, uint64_t, const void*, uint32_t data_length) override {
        last_raw_size_ = data_length;
    }
    void OnEventGenICam(PvDevice*, uint16_t id, uint16_t, uint64_t block_id, uint64_t timestamp,
                        PvGenParameterList* data) override {
        std::vector<int64_t> values;
        for (uint32_t i = 0; data != nullptr && i < data->GetSize(); ++i) {
            PvGenInteger* integer = dynamic_cast<PvGenInteger*>(data->GetItem(i));
            int64_t value = -1;
            const PvResult read = integer != nullptr ? integer->GetValue(value) : PvResult(PvResult::OK);
            EXPECT_TRUE(read.IsOK()) << describe(read);
            values.push_back(value);
        }
        std::lock_guard<std::mutex> guard(lock_);
        heard_.events.emplace_back(id, block_id, timestamp, last_raw_size_, data != nullptr, values);
    }
    Heard heard() {
        std::lock_guard<std::mutex> guard(lock_);
        return heard_;
    }

private:
    const bool disconnecting_;
    std::mutex lock_;
    Heard heard_;
    uint32_t last_raw_size_ = 0;  // only touched on the dispatch thread
};

std::vector<uint8_t> eventdata_command(uint16_t request_id, uint16_t event_id, uint64_t block_id, uint64_t timestamp,
                                       const std::vector<uint8_t>& data, uint8_t flags) {
    return gvcp::build_event_data(flags, request_id, gvcp::EventEntry{event_id, 0, block_id, timestamp}, data);
}

std::vector<uint8_t> frame_end_data(uint64_t frame_id, uint64_t timestamp) {
    uint8_t data[16];
    wire::store_be64(data, frame_id);
    wire::store_be64(data + 8, timestamp);
    return std::vector<uint8_t>(data, data + sizeof data);
}

TEST(PlatformEvents, OnlyWellFormedEventsOfTheSensorReachTheSinkOnceWithTheirFeatures) {
    Rig rig("127.0.47.21", 160, 120, 50.0);
    ASSERT_TRUE(rig.ready());
    RecordingSink sink;
    ASSERT_TRUE(rig.device()->RegisterEventSink(&sink).IsOK());
    EXPECT_EQ(rig.device()->RegisterEventSink(&sink).GetCode(), PvResult::INVALID_PARAMETER) << "registered twice";
    EXPECT_EQ(rig.device()->RegisterEventSink(nullptr).GetCode(), PvResult::INVALID_PARAMETER);
    const uint16_t port = static_cast<uint16_t>(rig.read_register(gvcp::REG_MCP) & gvcp::MCP_PORT_MASK);
    const uint32_t host = rig.read_register(gvcp::REG_MCDA);
    ASSERT_NE(port, 0) << "the message channel is pointed at us";
    // Datagrams from the sensor's own address, as a device gone bad would
    // send them.
    orntest::UdpEndpoint raw("127.0.47.21");

    const uint8_t ack_extended = gvcp::kFlagAckRequired | gvcp::kFlagExtendedIds;
    std::vector<std::vector<uint8_t>> hostile = {
        {},                                                               // empty
        {0x42, 0x01, 0x00},                                               // shorter than a header
        {0x43, 0x01, 0x00, 0xC2, 0x00, 0x00, 0x00, 0x07},                 // wrong key
        {0x42, 0x01, 0x00, 0x80, 0x00, 0x00, 0x00, 0x07},                 // a READREG, not an event
        {0x42, 0x01, 0x00, 0xC2, 0x00, 0x00, 0x00, 0x07},                 // EVENTDATA without its header
        {0x42, 0x01, 0x00, 0xC0, 0x00, 0x05, 0x00, 0x07, 1, 2, 3, 4, 5},  // EVENT, not whole events
    };
    std::vector<uint8_t> lying_length =
        eventdata_command(9, kFrameEndEventId, 1, 2, frame_end_data(1, 2), ack_extended);
    lying_length[gvcp::kCmdLengthOffset] = 0x01;  // 400 bytes announced
    lying_length[gvcp::kCmdLengthOffset + 1] = 0x90;
    hostile.push_back(lying_length);
    hostile.push_back(eventdata_command(0, kFrameEndEventId, 1, 2, frame_end_data(1, 2), ack_extended));  // id 0
    hostile.push_back(
        eventdata_command(10, kFrameEndEventId, 1, 2, std::vector<uint8_t>(gvcp::kEventDataMaxSize + 1), 1));
    for (const auto& datagram : hostile) {
        raw.send(datagram, host, port);
    }
    EXPECT_TRUE(raw.receive(200).empty()) << "no hostile datagram is answered";

    // Another host cannot inject events, however well-formed.
    orntest::UdpEndpoint stranger("127.0.0.1");
    stranger.send(eventdata_command(76, kFrameEndEventId, 9, 9, frame_end_data(9, 9), ack_extended), host, port);
    EXPECT_TRUE(stranger.receive(200).empty()) << "a stranger's event is not acknowledged";

    // A well-formed event is acknowledged and reported, with its data; its
    // resend is acknowledged again but not reported twice.
    auto acknowledged_id = [&](const std::vector<uint8_t>& datagram) {
        raw.send(datagram, host, port);
        const std::vector<uint8_t> ack = raw.receive(2000);
        const bool ok = ack.size() == gvcp::kHeaderSize && wire::load_be16(ack.data()) == gvcp::STATUS_SUCCESS &&
                        wire::load_be16(ack.data() + gvcp::kAckAnswerOffset) == gvcp::EVENTDATA_ACK;
        return ok ? wire::load_be16(ack.data() + gvcp::kAckIdOffset) : -1;
    };
    const std::vector<uint8_t> good =
        eventdata_command(77, kFrameEndEventId, 123, 456789, frame_end_data(123, 456789), ack_extended);
    EXPECT_EQ(acknowledged_id(good), 77);
    EXPECT_EQ(acknowledged_id(good), 77);
    // Legacy ids and an unknown event id reach the sink too (without data
    // features for the unknown one).
    EXPECT_EQ(acknowledged_id(eventdata_command(78, 0x9ABC, 5, 6, {}, gvcp::kFlagAckRequired)), 78);
    // With extended ids one datagram carries events back to back, each as
    // long as its size says: here data 8 bytes longer than its features
    // read, then none. An event of size 0 or running past the datagram is
    // skipped, its datagram acknowledged all the same.
    std::vector<uint8_t> longer = frame_end_data(124, 99);
    longer.resize(24);
    EXPECT_EQ(acknowledged_id(gvcp::build_event_data(
                  ack_extended, 79, {{{kFrameEndEventId, 0, 124, 99}, longer}, {{0x9ABD, 0, 7, 8}, {}}})),
              79);
    for (uint8_t size : {0, 0xFF}) {
        std::vector<uint8_t> bad = gvcp::build_event_data(ack_extended, 80 + size, {{{0x9ABE, 0, 1, 1}, {}}});
        bad[gvcp::kHeaderSize + 1] = size;
        EXPECT_EQ(acknowledged_id(bad), 80 + size);
    }
    ASSERT_TRUE(orntest::wait_until([&] { return sink.heard().events.size() >= 4; }, 2s));
    std::this_thread::sleep_for(100ms);
    // The resend is not a second event, the skipped ones none.
    EXPECT_EQ(sink.heard().events, (std::vector<SeenEvent>{{kFrameEndEventId, 123, 456789, 16, true, {456789, 123}},
                                                           {0x9ABC, 5, 6, 0, false, {}},
                                                           {kFrameEndEventId, 124, 99, 24, true, {99, 124}},
                                                           {0x9ABD, 7, 8, 0, false, {}}}));
    EXPECT_EQ(sink.heard().disconnects, 0);
    ASSERT_TRUE(rig.device()->UnregisterEventSink(&sink).IsOK());
    EXPECT_EQ(rig.device()->UnregisterEventSink(&sink).GetCode(), PvResult::NOT_FOUND);
    EXPECT_EQ(rig.read_register(gvcp::REG_MCP) & gvcp::MCP_PORT_MASK, 0u) << "the channel is closed again";
}

TEST(PlatformEvents, LinkLossReachesEverySinkOnceAndADisconnectInsideTheNotificationIsSafe) {
    Rig rig("127.0.47.22", 160, 120, 20.0);
    ASSERT_TRUE(rig.ready());
    RecordingSink sink;
    RecordingSink disconnecting(true);
    ASSERT_TRUE(rig.device()->RegisterEventSink(&sink).IsOK());
    ASSERT_TRUE(rig.device()->RegisterEventSink(&disconnecting).IsOK());
    // A slow handler after ours keeps Aravis's emission, and the reference
    // it holds, alive past the disconnect inside the notification: the
    // emission's release is then the last one, on the heartbeat thread.
    void (*slow)(ArvDevice*, gpointer) = [](ArvDevice*, gpointer) { std::this_thread::sleep_for(500ms); };
    g_signal_connect(rig.device()->GetArvDevice(), "control-lost", G_CALLBACK(slow), nullptr);
    rig.sensor().set_faults({0.0, "", 0.0, 0});
    ASSERT_TRUE(orntest::wait_until([&] { return disconnecting.heard().disconnects > 0; }, 15s)) << "no link loss";
    std::this_thread::sleep_for(3s);
    const Heard heard = sink.heard();
    const Heard disconnected = disconnecting.heard();
    EXPECT_EQ(heard.disconnects, 1);
    EXPECT_EQ(disconnected.disconnects, 1);
    EXPECT_EQ(heard.disconnected_device, rig.device());
    // Disconnecting a dead device waits only for Aravis's own release; from
    // inside the notification it neither deadlocks nor uses freed state.
    EXPECT_TRUE(disconnected.disconnect_result.IsOK()) << describe(disconnected.disconnect_result);
    EXPECT_LT(disconnected.disconnect_took, 8s);
    EXPECT_FALSE(rig.device()->IsConnected());
    EXPECT_EQ(rig.device()->UnregisterEventSink(&disconnecting).GetCode(), PvResult::NOT_FOUND);
}

}  // namespace
