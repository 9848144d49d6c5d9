// The GVSP sender against a real UDP receiver on loopback: every frame kind
// is reassembled by an independent parser and compared byte for byte.
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <tuple>

#include "chunk_writer.h"
#include "gvsp_sender.h"
#include "ornsim/components.h"
#include "scene.h"
#include "stream_wire_parser.h"

namespace {

using namespace ornsim;
using stream_test::CollectedBlock;

constexpr uint32_t kLoopback = 0x7F000001;  // 127.0.0.1

GvspPart mono8_part(uint32_t w, uint32_t h, uint32_t seed) {
    std::vector<uint8_t> pixels(size_t{w} * h);
    std::mt19937 random(seed);
    for (auto& b : pixels) b = static_cast<uint8_t>(random());
    return GvspPart{kPixelFormatMono8, w, h, kSourceId, kRegionId, kIntensityComponentId, 0x0001, pixels};
}

// The three components of the scene at a small size, in the sensor's order.
std::vector<GvspPart> scene_parts(uint32_t w, uint32_t h, uint64_t frame_id) {
    const SceneConfig sc{w, h, kSceneDefaultC16ScaleMm, kSceneDefaultC16OffsetMm};
    auto part = [&](uint32_t format, uint16_t purpose, uint16_t type, size_t size) {
        return GvspPart{format, w, h, kSourceId, kRegionId, purpose, type, std::vector<uint8_t>(size)};
    };
    std::vector<GvspPart> parts{part(kPixelFormatCoord3D_ABC32f, kRangeComponentId, 0x0005, scene_abc32f_size(sc)),
                                part(kPixelFormatMono8, kIntensityComponentId, 0x0001, scene_mono8_size(sc)),
                                part(kPixelFormatConfidence8, kConfidenceComponentId, 0x0009, scene_mono8_size(sc))};
    render_range_abc32f(sc, frame_id, reinterpret_cast<float*>(parts[0].data.data()));
    render_intensity8(sc, frame_id, parts[1].data.data());
    render_confidence8(sc, frame_id, parts[2].data.data());
    return parts;
}

// The timestamp and frame id chunks, little-endian as the sensor writes them.
std::vector<uint8_t> chunk_data_for(uint64_t timestamp, uint64_t frame_id) {
    std::vector<uint8_t> chunks;
    using Chunk = std::pair<uint32_t, uint64_t>;
    for (const auto& [id, value] : {Chunk{kChunkIdTimestamp, timestamp}, Chunk{kChunkIdFrameId, frame_id}}) {
        uint8_t le[8];
        for (int i = 0; i < 8; ++i) le[i] = static_cast<uint8_t>(value >> (8 * i));
        EXPECT_TRUE(append_chunk(chunks, id, le, sizeof le));
    }
    return chunks;
}

// The reassembled bytes of a complete block; a failure says what is wrong.
std::vector<uint8_t> block_bytes(const CollectedBlock& b, const stream_test::MultipartLeader* leader = nullptr) {
    std::vector<uint8_t> bytes;
    EXPECT_EQ(stream_test::assemble(b, leader, &bytes), "");
    return bytes;
}

class StreamSenderTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(receiver.ok());
        std::string error;
        ASSERT_TRUE(sender.open(&error)) << error;
        ASSERT_NE(sender.source_port(), 0);
        settings.dest_ip = kLoopback;
        settings.dest_port = receiver.port();
        sender.configure(settings);
    }
    // The settings as they stand, with packets of `packet_size` bytes.
    void reconfigure(uint32_t packet_size) {
        settings.packet_size = packet_size;
        sender.configure(settings);
    }

    bool wait_complete(uint64_t wire_block_id) {
        return receiver.pump([&] {
            auto it = receiver.blocks().find(wire_block_id);
            return it != receiver.blocks().end() && it->second.complete();
        });
    }
    // Every payload packet of `b` but the last carries `capacity` bytes.
    static void expect_filled(const CollectedBlock& b, size_t capacity) {
        for (const auto& [id, w] : b.payload)
            EXPECT_EQ(w.data.size(), id + 1 < b.trailer->packet_id ? capacity : w.data.size()) << "packet " << id;
    }

    stream_test::StreamReceiver receiver;
    GvspSender sender{kLoopback};
    StreamSettings settings;
};

TEST_F(StreamSenderTest, SingleImageWithExtendedIdsArrivesWholePlainOrChunked) {
    reconfigure(1500);
    const uint64_t timestamp = 0x0102030405060708ull;
    for (const bool chunked : {false, true}) {
        SCOPED_TRACE(chunked ? "chunked" : "plain");
        const uint64_t block_id = chunked ? 0x1'0000'0006ull : 0x1'0000'0005ull;
        GvspFrame frame{block_id, timestamp, false, {mono8_part(640, 480, 7)}, {}};
        if (chunked) frame.chunk_data = chunk_data_for(timestamp, block_id);
        const std::vector<uint8_t> image = frame.parts[0].data;
        const uint64_t packets_before = sender.counters().packets_sent;
        ASSERT_TRUE(sender.send_frame(frame)) << sender.last_error();
        ASSERT_TRUE(wait_complete(block_id));

        const CollectedBlock& b = receiver.blocks()[block_id];
        stream_test::ImageLeader leader{};
        ASSERT_TRUE(stream_test::decode_image_leader(*b.leader, &leader));
        EXPECT_EQ((std::vector<uint64_t>{b.leader->extended, b.leader->packet_id, b.leader->status}),
                  (std::vector<uint64_t>{true, 0, 0}));
        const uint16_t payload_type = chunked ? 0x4001 : 0x0001;
        EXPECT_EQ(std::tie(leader.payload_type, leader.timestamp, leader.pixel_format_size_offset),
                  std::make_tuple(payload_type, timestamp, std::vector<uint64_t>{kPixelFormatMono8, 640, 480, 0, 0}));

        // The image, then (chunked) its own chunk tag and the frame's chunks (read through the node map in
        // tests/device/platform_stream_test).
        const std::vector<uint8_t> payload = block_bytes(b);
        ASSERT_EQ(payload.size(), image.size() + (chunked ? 8 + (8 + 8) * 2 : 0));
        EXPECT_TRUE(std::equal(image.begin(), image.end(), payload.begin()));

        // Every payload packet but the last is filled to the packet size.
        const size_t capacity = 1500 - 28 - 20;
        const uint32_t payload_packets = static_cast<uint32_t>((payload.size() + capacity - 1) / capacity);
        EXPECT_EQ(b.trailer->packet_id, payload_packets + 1);
        expect_filled(b, capacity);
        EXPECT_EQ(sender.counters().packets_sent - packets_before, payload_packets + 2u);

        // Trailer: payload type, size y; chunked, then the chunk data (the
        // whole payload) length and a layout id.
        stream_test::Trailer trailer{};
        ASSERT_TRUE(stream_test::decode_trailer(*b.trailer, 1, &trailer));
        EXPECT_EQ(std::make_tuple(trailer.payload_type, trailer.parts[0].height, trailer.chunk_length,
                                  trailer.chunk_layout_id != 0),
                  std::make_tuple(payload_type, uint64_t{480}, uint32_t(chunked ? payload.size() : 0), chunked));
    }
    EXPECT_LE(receiver.largest_datagram, 1500u - 28u);
    EXPECT_EQ(
        (std::vector<uint64_t>{sender.counters().frames_sent, sender.counters().packets_dropped, receiver.malformed}),
        (std::vector<uint64_t>{2, 0, 0}));
}

TEST_F(StreamSenderTest, StandardHeaderCarriesSixteenBitBlockIdsAndNeverZero) {
    settings.extended_ids = false;
    reconfigure(576);
    for (uint64_t id : {uint64_t{65535}, uint64_t{65536}, uint64_t{65537}}) {
        GvspFrame frame{id, 42, false, {mono8_part(64, 48, static_cast<uint32_t>(id))}, {}};
        ASSERT_TRUE(sender.send_frame(frame)) << sender.last_error();
    }
    // 65535 stays, 65536 wraps to 1 (0 is not a valid block id), 65537 to 2.
    for (uint64_t wire : {uint64_t{65535}, uint64_t{1}, uint64_t{2}}) {
        ASSERT_TRUE(wait_complete(wire)) << wire;
        const CollectedBlock& b = receiver.blocks()[wire];
        EXPECT_FALSE(b.leader->extended);
        EXPECT_EQ(block_bytes(b).size(), 64u * 48u);
        expect_filled(b, 576 - 28 - 8);
    }
    EXPECT_EQ(receiver.blocks().count(0), 0u);
}

TEST_F(StreamSenderTest, MultipartFrameDescribesEveryPartAndPlacesItsBytes) {
    reconfigure(1400);
    const uint64_t block_id = 9, timestamp = 5555;
    GvspFrame frame{block_id, timestamp, true, scene_parts(64, 48, 9), chunk_data_for(timestamp, block_id)};
    const GvspFrame sent = frame;
    ASSERT_TRUE(sender.send_frame(std::move(frame))) << sender.last_error();
    ASSERT_TRUE(wait_complete(block_id));

    const CollectedBlock& b = receiver.blocks()[block_id];
    stream_test::MultipartLeader leader;
    ASSERT_TRUE(stream_test::decode_multipart_leader(*b.leader, &leader));
    EXPECT_EQ(std::tie(leader.payload_type, leader.timestamp), std::make_tuple(uint16_t{0x400A}, timestamp));
    // A descriptor per part as sent (source and region 0), then the chunk part.
    std::vector<stream_test::PartDescriptor> expected;
    std::vector<uint8_t> bytes;
    for (const GvspPart& p : sent.parts) {
        expected.push_back({p.data_type, p.data.size(), p.pixel_format, p.data_purpose_id, 0, 0, 64, 48});
        bytes.insert(bytes.end(), p.data.begin(), p.data.end());
    }
    expected.push_back({0x000A, sent.chunk_data.size(), 0, 0, 0, 0, 0, 0});
    bytes.insert(bytes.end(), sent.chunk_data.begin(), sent.chunk_data.end());
    ASSERT_EQ(leader.parts.size(), 4u);
    leader.parts[3].pixel_format = leader.parts[3].width = leader.parts[3].height = 0;  // not given for chunks
    leader.parts[3].data_purpose_id = leader.parts[3].source_id = leader.parts[3].region_id = 0;
    EXPECT_EQ(leader.parts, expected);

    EXPECT_EQ(block_bytes(b, &leader), bytes);

    // Packet count: each part rounds up on its own.
    const size_t capacity = 1400 - 28 - 20 - 8;
    uint32_t packets = 2;
    for (const auto& d : leader.parts) packets += static_cast<uint32_t>((d.length + capacity - 1) / capacity);
    EXPECT_EQ(b.trailer->packet_id + 1, packets);

    // Multipart trailer: payload type, a record per part (type, length,
    // size y), then the chunk part's length and a layout id.
    stream_test::Trailer trailer{};
    ASSERT_TRUE(stream_test::decode_trailer(*b.trailer, 4, &trailer));
    for (auto& part : expected) part.pixel_format = part.data_purpose_id = part.width = 0;
    EXPECT_EQ(std::tie(trailer.payload_type, trailer.parts, trailer.chunk_length),
              std::make_tuple(uint16_t{0x400A}, expected, uint32_t(sent.chunk_data.size())));
    EXPECT_NE(trailer.chunk_layout_id, 0u);
}

TEST_F(StreamSenderTest, FramesThatCannotBeSentAreRefusedWithAReason) {
    const GvspFrame multipart{1, 0, true, scene_parts(16, 16, 1), {}}, single{2, 0, false, {mono8_part(8, 8, 1)}, {}};
    struct Refused {
        bool extended_ids;
        uint32_t packet_size;
        uint16_t port;  // 1: the receiver's
        GvspFrame frame;
        const char* says;
    };
    for (const Refused& r : {Refused{false, 1500, 1, multipart, "extended"},
                             {true, 100, 1, multipart, ""},  // the 3-part leader needs 12 + 3*48 bytes
                             {true, 20, 1, single, ""},
                             {true, 70000, 1, single, ""},
                             {true, 1500, 1, GvspFrame{3, 0, false, {}, {}}, ""},                    // no part
                             {true, 1500, 1, GvspFrame{4, 0, false, scene_parts(8, 8, 1), {}}, ""},  // single, 3 parts
                             {true, 1500, 0, single, "destination"}}) {
        settings.extended_ids = r.extended_ids;
        settings.dest_port = r.port != 0 ? receiver.port() : 0;
        reconfigure(r.packet_size);
        EXPECT_FALSE(sender.send_frame(r.frame)) << r.frame.block_id;
        EXPECT_NE(sender.last_error().find(r.says), std::string::npos) << sender.last_error();
    }
    EXPECT_EQ(sender.counters().frames_rejected, 7u);
    EXPECT_EQ(sender.counters().frames_sent, 0u);
    receiver.drain(std::chrono::milliseconds(50));
    EXPECT_TRUE(receiver.blocks().empty());

    sender.close();
    settings.dest_port = receiver.port();
    reconfigure(settings.packet_size);
    EXPECT_FALSE(sender.send_frame(single));
    EXPECT_NE(sender.last_error().find("open"), std::string::npos);
    EXPECT_EQ(sender.counters().frames_rejected, 8u);
}

TEST_F(StreamSenderTest, ResendServesOnlyStoredBlocksAndClampsTheRange) {
    settings.resend_frames = 2;
    reconfigure(600);
    for (uint64_t id = 1; id <= 3; ++id)
        ASSERT_TRUE(sender.send_frame(GvspFrame{id, 0, false, {mono8_part(40, 30, static_cast<uint32_t>(id))}, {}}));
    ASSERT_TRUE(wait_complete(3));
    receiver.blocks().clear();

    sender.resend(1, 1, 2);  // forgotten: only the last two frames are kept
    sender.resend(999, 0, 0);
    EXPECT_EQ(sender.counters().resend_unknown_block, 2u);
    EXPECT_EQ(sender.counters().packets_resent, 0u);

    // A range running past the end is cut at the trailer; it includes leader and trailer.
    sender.resend(3, 0, 0xFFFFFFFFu);
    ASSERT_TRUE(wait_complete(3));
    const CollectedBlock& b = receiver.blocks()[3];
    EXPECT_EQ(b.resent, b.trailer->packet_id + 1u);
    EXPECT_EQ(b.duplicates, 0u);
    EXPECT_EQ(block_bytes(b), mono8_part(40, 30, 3).data);

    const uint64_t resent = sender.counters().packets_resent;
    sender.resend(2, 5, 4);  // inverted range: nothing
    receiver.drain(std::chrono::milliseconds(50));
    EXPECT_EQ(sender.counters().packets_resent, resent);
    EXPECT_EQ(receiver.blocks().count(2), 0u);
}

TEST_F(StreamSenderTest, PacketDelayAndLinkSpeedPaceTheBlock) {
    settings.tick_frequency = 1'000'000;  // microsecond ticks
    settings.packet_delay_ticks = 2000;   // 2 ms between packets
    reconfigure(576);
    auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(sender.send_frame(GvspFrame{1, 0, false, {mono8_part(54, 10, 1)}, {}}));  // 3 packets in all
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4)) << "two gaps of 2 ms";
    ASSERT_TRUE(wait_complete(1));

    settings.packet_delay_ticks = 0;
    settings.link_speed_bps = 50'000'000;  // 50 Mbit/s
    reconfigure(1500);
    start = std::chrono::steady_clock::now();
    ASSERT_TRUE(sender.send_frame(GvspFrame{2, 0, false, {mono8_part(320, 200, 1)}, {}}));  // 64 000 bytes
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10)) << "at least 10 ms at 50 Mbit/s";
    ASSERT_TRUE(wait_complete(2));
}

TEST_F(StreamSenderTest, TestPacketHasTheProbedSize) {
    ASSERT_TRUE(sender.send_test_packet(1400));
    EXPECT_FALSE(sender.send_test_packet(10));
    receiver.drain(std::chrono::milliseconds(100));
    EXPECT_EQ(receiver.datagrams, 1u);
    EXPECT_EQ(receiver.largest_datagram, 1400u - 28u);
}

TEST(StreamChunkWriter, PadsToFourBytesAndRefusesNullData) {
    std::vector<uint8_t> chunks;
    const uint8_t three[3] = {1, 2, 3};
    ASSERT_TRUE(append_chunk(chunks, 0xABCD, three, sizeof three));
    EXPECT_EQ(chunks, (std::vector<uint8_t>{1, 2, 3, 0, 0, 0, 0xAB, 0xCD, 0, 0, 0, 4}));
    EXPECT_FALSE(append_chunk(chunks, 1, nullptr, 4));
    EXPECT_EQ(chunks.size(), 12u);
    EXPECT_TRUE(append_chunk(chunks, 2, nullptr, 0));
    EXPECT_EQ(chunks.size(), 20u);
}

}  // namespace
