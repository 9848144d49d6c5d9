// The platform's own stream receiver over real loopback UDP: the virtual
// sensor's stream sender (in-process) or hand-built datagrams on one side,
// gvsp::BatchReceiver and a caller buffer on the other.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <tuple>
#include <utility>
#include <vector>

#include "gvsp_sender.h"
#include "platform/gvsp/batch_receiver.h"
#include "wire/byte_order.h"
#include "wire/pixel_formats.h"

namespace {

constexpr uint32_t kLoopback = 0x7F000001;

std::vector<uint8_t> pattern(size_t size, uint8_t seed) {
    std::vector<uint8_t> v(size);
    for (size_t i = 0; i < size; ++i) v[i] = static_cast<uint8_t>(seed + i * 7 + (i >> 8));
    return v;
}

ornsim::GvspPart part(uint16_t purpose, uint32_t w, uint32_t h, uint8_t seed) {
    return ornsim::GvspPart{0x01080001, w, h, 0, 0, purpose, gvsp::PART_3D_IMAGE, pattern(size_t{w} * h, seed)};
}

// Receives (bounded) until `frames` are handed over or nothing more comes;
// with `requeue`, each buffer handed over is queued again at once.
std::vector<gvsp::FrameReport> drain(gvsp::BatchReceiver& rx, size_t frames, bool requeue = false) {
    std::vector<gvsp::FrameReport> done;
    gvsp::BatchReceiver::Wake wake{false, 1};
    for (int i = 0; i < 40 && done.size() < frames && wake.datagrams > 0; ++i) {
        const size_t before = done.size();
        EXPECT_TRUE(rx.receive(50, &done, -1, &wake));
        for (size_t j = before; requeue && j < done.size(); ++j) {
            rx.queue_buffer(done[j].buffer, done[j].capacity, done[j].cookie);
        }
    }
    return done;
}

struct Peer {
    gvsp::BatchReceiver rx{1500};
    ornsim::GvspSender tx{kLoopback};
    explicit Peer(bool extended_ids) {
        std::string error;
        EXPECT_TRUE(rx.open(kLoopback, 0, 1 << 20, &error)) << error;
        EXPECT_TRUE(tx.open(&error)) << error;
        ornsim::StreamSettings s;
        s.dest_ip = kLoopback;
        s.dest_port = rx.port();
        s.extended_ids = extended_ids;
        tx.configure(s);
    }
};

// Multipart frames, byte for byte and part by part, and the resends that
// complete a frame are checked through the library, which receives with
// this receiver by default (Delivery, FrameInfo and Faults in tests/device).
TEST(GvspReceiver, SingleImagesLandByteExactInPlace) {
    for (const bool extended : {false, true}) {
        Peer peer(extended);
        std::vector<uint8_t> buffer(64 * 1024, 0xEE);
        peer.rx.queue_buffer(buffer.data(), buffer.size(), &buffer);
        const ornsim::GvspFrame image{7, 1234, false, {part(1, 160, 120, 3)}, {}};
        const auto sent = std::chrono::system_clock::now().time_since_epoch();
        ASSERT_TRUE(peer.tx.send_frame(image));
        std::vector<gvsp::FrameReport> done = drain(peer.rx, 1);
        ASSERT_EQ(done.size(), 1u);
        // The kernel's receive stamp, on the clock the receiving thread paces its waits by.
        std::chrono::nanoseconds arrival{};
        ASSERT_TRUE(peer.rx.last_arrival(&arrival));
        EXPECT_LE(sent, arrival);
        EXPECT_LE(arrival, std::chrono::system_clock::now().time_since_epoch());
        EXPECT_EQ(
            std::make_tuple(done[0].state, done[0].cookie, done[0].block_id, done[0].timestamp),
            std::make_tuple(gvsp::FrameState::complete, static_cast<void*>(&buffer), uint64_t{7}, uint64_t{1234}));
        EXPECT_EQ(done[0].parts.at(0).width, 160u);
        ASSERT_EQ(done[0].payload_size, image.parts[0].data.size());
        EXPECT_EQ(0, std::memcmp(buffer.data(), image.parts[0].data.data(), image.parts[0].data.size()));
        EXPECT_GT(peer.rx.counters().in_place, 0u);
    }
}

// Four frames already in the socket, two buffers: each frame is handed
// over before the next batch, so its buffer is back for the frames behind.
TEST(GvspReceiver, ABacklogOfFramesNeedsNoMoreBuffersThanAreInFlight) {
    Peer peer(false);
    std::vector<uint8_t> buffers[2] = {std::vector<uint8_t>(64 * 1024), std::vector<uint8_t>(64 * 1024)};
    for (auto& b : buffers) peer.rx.queue_buffer(b.data(), b.size(), &b);
    for (uint16_t id = 1; id <= 4; ++id) ASSERT_TRUE(peer.tx.send_frame({id, 0, false, {part(1, 240, 240, 4)}, {}}));
    const std::vector<gvsp::FrameReport> done = drain(peer.rx, 4, true);
    ASSERT_EQ(done.size(), 4u);
    EXPECT_EQ(done[3].block_id, 4u);
    EXPECT_EQ(peer.rx.counters().no_buffer, 0u);
}

// Standard-id datagram: header, then `data`.
std::vector<uint8_t> datagram(uint16_t block, uint8_t format, uint32_t id, std::vector<uint8_t> data) {
    std::vector<uint8_t> d(gvsp::kStdHeaderSize + data.size());
    std::copy(data.begin(), data.end(), d.begin() + gvsp::kStdHeaderSize);
    wire::store_be16(d.data() + gvsp::kStdBlockIdOffset, block);
    wire::store_be32(d.data() + gvsp::kFormatWordOffset, (uint32_t{format} << gvsp::kFormatShift) | id);
    return d;
}

std::vector<uint8_t> leader(uint16_t payload_type) {
    std::vector<uint8_t> area(gvsp::kImageLeaderSize);
    wire::store_be16(area.data() + gvsp::kLeaderPayloadTypeOffset, payload_type);
    return area;
}

// Hand-built datagrams from a socket of the test's own, 576-byte packets.
class GvspHandBuilt : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(rx.open(kLoopback, 0, 4096, &error)) << error;
        ASSERT_TRUE(tx.open(kLoopback, 0, &error)) << error;
    }
    void send(const std::vector<uint8_t>& d) {
        ASSERT_TRUE(tx.send_to(kLoopback, rx.port(), d.data(), d.size(), &error));
    }
    gvsp::BatchReceiver rx{576};
    wire::UdpSocket tx;
    std::string error;
    const size_t data = 576 - gvsp::kIpUdpOverhead - gvsp::kStdHeaderSize;
};

TEST_F(GvspHandBuilt, HostileDatagramsStayInsideTheBuffer) {
    std::vector<uint8_t> guarded(3 * data + 64, 0xAB);  // the buffer is the first 2.5 slices
    const size_t capacity = 2 * data + data / 2;
    for (int i = 0; i < 4; ++i) rx.queue_buffer(guarded.data(), capacity, nullptr);
    std::vector<uint8_t> multipart(gvsp::kMultipartLeaderPartsOffset + gvsp::kPartDescriptorSize);
    wire::store_be16(multipart.data() + gvsp::kLeaderPayloadTypeOffset, gvsp::PAYLOAD_MULTIPART);
    wire::store_be48(multipart.data() + gvsp::kMultipartLeaderPartsOffset + gvsp::kPartLengthHighOffset, 1ull << 40);
    const std::vector<std::vector<uint8_t>> hostile = {
        {1, 2, 3},
        datagram(5, gvsp::FORMAT_LEADER, 0, leader(gvsp::PAYLOAD_IMAGE)),
        datagram(5, gvsp::FORMAT_PAYLOAD, 3, std::vector<uint8_t>(data, 1)),      // past the buffer
        datagram(5, gvsp::FORMAT_PAYLOAD, 9, std::vector<uint8_t>(4, 1)),         // far past it
        datagram(5, gvsp::FORMAT_PAYLOAD, 1, std::vector<uint8_t>(data + 1, 1)),  // too long
        datagram(5, gvsp::FORMAT_PAYLOAD, 1, std::vector<uint8_t>(2000, 1)),      // longer than any datagram
        datagram(6, gvsp::FORMAT_PAYLOAD, 2, std::vector<uint8_t>(data, 1)),      // other block, no leader
        datagram(5, gvsp::FORMAT_MULTIPART, 2, std::vector<uint8_t>(data, 1)),    // wrong format
        datagram(5, gvsp::FORMAT_PAYLOAD, 0x00FFFFFF, {}),
        datagram(7, gvsp::FORMAT_LEADER, 0, leader(gvsp::PAYLOAD_JPEG)),
        datagram(8, gvsp::FORMAT_LEADER, 0, multipart),
    };
    for (const auto& d : hostile) send(d);
    std::vector<gvsp::FrameReport> done = drain(rx, 4);
    EXPECT_TRUE(done.empty());  // behind the frames still open
    rx.fail(5, &done);
    rx.fail(6, &done);
    std::vector<std::pair<uint64_t, gvsp::FrameState>> frames;
    for (const gvsp::FrameReport& r : done) frames.emplace_back(r.block_id, r.state);
    EXPECT_EQ(frames, (std::vector<std::pair<uint64_t, gvsp::FrameState>>{{5, gvsp::FrameState::incomplete},
                                                                          {6, gvsp::FrameState::incomplete},
                                                                          {7, gvsp::FrameState::unsupported},
                                                                          {8, gvsp::FrameState::buffer_too_small}}));
    EXPECT_GE(rx.assembler_counters().dropped + rx.counters().truncated, 6u);
    for (size_t i = capacity; i < guarded.size(); ++i) ASSERT_EQ(guarded[i], 0xAB) << "byte " << i;
}

// Two frames whose packets interleave, then one whose leader is lost and
// comes again when asked for (ids wrapping past 0xFFFF): each arrives
// whole, handed over in block order.
TEST_F(GvspHandBuilt, InterleavedFramesAndALateLeaderArriveWholeInOrder) {
    std::vector<std::vector<uint8_t>> buffers(3, std::vector<uint8_t>(2 * data));
    for (auto& b : buffers) rx.queue_buffer(b.data(), b.size(), &b);
    auto frame = [&](uint16_t block) {
        return std::vector<std::vector<uint8_t>>{
            datagram(block, gvsp::FORMAT_LEADER, 0, leader(gvsp::PAYLOAD_IMAGE)),
            datagram(block, gvsp::FORMAT_PAYLOAD, 1, pattern(data, static_cast<uint8_t>(block))),
            datagram(block, gvsp::FORMAT_PAYLOAD, 2, pattern(data, static_cast<uint8_t>(block + 1))),
            datagram(block, gvsp::FORMAT_TRAILER, 3, std::vector<uint8_t>(gvsp::kImageTrailerSize))};
    };
    auto whole = [&](const gvsp::FrameReport& r, uint16_t block) {
        EXPECT_EQ(r.block_id, block);
        EXPECT_EQ(r.state, gvsp::FrameState::complete);
        const uint8_t* got = static_cast<std::vector<uint8_t>*>(r.cookie)->data();
        EXPECT_EQ(0, std::memcmp(got, pattern(data, static_cast<uint8_t>(block)).data(), data));
        EXPECT_EQ(0, std::memcmp(got + data, pattern(data, static_cast<uint8_t>(block + 1)).data(), data));
    };
    const auto a = frame(0xFFFE), b = frame(0xFFFF);
    for (const auto* d : {&a[0], &b[0], &a[1], &b[1], &a[2], &b[2], &b[3], &a[3]}) send(*d);  // B ends first
    std::vector<gvsp::FrameReport> done = drain(rx, 2);
    ASSERT_EQ(done.size(), 2u);
    whole(done[0], 0xFFFE);
    whole(done[1], 0xFFFF);
    // Neither block 0 (a test packet's) nor a datagram of no block's format opens a frame.
    send(datagram(0, gvsp::FORMAT_PAYLOAD, 1, std::vector<uint8_t>(data)));
    send(datagram(2, 0, 0, std::vector<uint8_t>(data)));
    const auto c = frame(1);
    for (size_t i = 1; i < 4; ++i) send(c[i]);
    EXPECT_TRUE(drain(rx, 1).empty());
    ASSERT_EQ(rx.frames().size(), 1u);
    EXPECT_FALSE(rx.frames()[0]->leader);
    EXPECT_EQ(rx.frames()[0]->highest_before_leader, 3u);
    for (const auto& d : c) send(d);  // what the device sends again when asked
    done = drain(rx, 1);
    ASSERT_EQ(done.size(), 1u);
    whole(done[0], 1);
}

// The stream's very first frame may lose its leader too.
TEST_F(GvspHandBuilt, TheFirstFrameOpensWithoutItsLeader) {
    std::vector<uint8_t> buffer(2 * data);
    rx.queue_buffer(buffer.data(), buffer.size(), &buffer);
    send(datagram(9, gvsp::FORMAT_PAYLOAD, 2, pattern(data, 9)));
    EXPECT_TRUE(drain(rx, 1).empty());
    ASSERT_EQ(rx.frames().size(), 1u);
    EXPECT_EQ(rx.frames()[0]->block_id, 9u);
    EXPECT_FALSE(rx.frames()[0]->leader);
}

}  // namespace
