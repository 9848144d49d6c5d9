// The GVSP sender against a real UDP receiver on loopback: every frame kind
// is reassembled by an independent parser and compared byte for byte.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "chunk_writer.h"
#include "gvsp_sender.h"
#include "ornsim/components.h"
#include "scene.h"
#include "stream_wire_parser.h"

namespace {

using namespace ornsim;
using stream_test::CollectedBlock;
using stream_test::StreamReceiver;

constexpr uint32_t kLoopback = 0x7F000001;  // 127.0.0.1

std::vector<uint8_t> pattern(size_t n, uint32_t seed) {
    std::vector<uint8_t> v(n);
    uint32_t x = seed * 2654435761u + 1;
    for (auto& b : v) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        b = static_cast<uint8_t>(x);
    }
    return v;
}

GvspPart mono8_part(uint32_t w, uint32_t h, uint32_t seed) {
    return GvspPart{kPixelFormatMono8,           w, h, kSourceId, kRegionId, kIntensityComponentId, 0x0001,
                    pattern(size_t{w} * h, seed)};
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

std::vector<uint8_t> chunk_data_for(uint64_t timestamp, uint64_t frame_id) {
    std::vector<uint8_t> chunks;
    uint8_t le[8];
    for (int i = 0; i < 8; ++i) le[i] = static_cast<uint8_t>(timestamp >> (8 * i));
    EXPECT_TRUE(append_chunk(chunks, kChunkIdTimestamp, le, sizeof le));
    for (int i = 0; i < 8; ++i) le[i] = static_cast<uint8_t>(frame_id >> (8 * i));
    EXPECT_TRUE(append_chunk(chunks, kChunkIdFrameId, le, sizeof le));
    return chunks;
}

// Walks chunk tags backwards from the end of `payload`, as a GenICam chunk
// reader does, and returns the data of chunk `id`.
bool find_chunk(const std::vector<uint8_t>& payload, uint32_t id, std::vector<uint8_t>* data) {
    size_t end = payload.size();
    while (end >= 8) {
        const uint32_t cid = stream_test::be32(payload.data() + end - 8);
        const uint32_t len = stream_test::be32(payload.data() + end - 4);
        if (len > end - 8) return false;
        const size_t begin = end - 8 - len;
        if (cid == id) {
            data->assign(payload.begin() + static_cast<std::ptrdiff_t>(begin),
                         payload.begin() + static_cast<std::ptrdiff_t>(end - 8));
            return true;
        }
        end = begin;
    }
    return false;
}

uint64_t le64(const std::vector<uint8_t>& d) {
    uint64_t v = 0;
    for (size_t i = 0; i < 8 && i < d.size(); ++i) v |= uint64_t{d[i]} << (8 * i);
    return v;
}

// Everything a frame puts on the wire, in block order.
std::vector<uint8_t> frame_bytes(const GvspFrame& f) {
    std::vector<uint8_t> bytes;
    for (const GvspPart& p : f.parts) bytes.insert(bytes.end(), p.data.begin(), p.data.end());
    bytes.insert(bytes.end(), f.chunk_data.begin(), f.chunk_data.end());
    return bytes;
}

// The reassembled bytes of a complete block; a failure says what is wrong.
std::vector<uint8_t> generic_bytes(const CollectedBlock& b) {
    const stream_test::Assembled a = stream_test::assemble_generic(b);
    EXPECT_TRUE(a.ok()) << a.error;
    return a.bytes;
}
std::vector<uint8_t> multipart_bytes(const CollectedBlock& b) {
    stream_test::MultipartLeader leader;
    if (!b.leader || !stream_test::decode_multipart_leader(*b.leader, &leader)) {
        ADD_FAILURE() << "no multipart leader";
        return {};
    }
    const stream_test::Assembled a = stream_test::assemble_multipart(b, leader);
    EXPECT_TRUE(a.ok()) << a.error;
    return a.bytes;
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
    void reconfigure() { sender.configure(settings); }

    bool wait_complete(uint64_t wire_block_id) {
        return receiver.pump([&] {
            auto it = receiver.blocks().find(wire_block_id);
            return it != receiver.blocks().end() && it->second.complete();
        });
    }

    StreamReceiver receiver;
    GvspSender sender{kLoopback};
    StreamSettings settings;
};

TEST_F(StreamSenderTest, SingleImageWithExtendedIdsArrivesWholePlainOrChunked) {
    settings.packet_size = 1500;
    reconfigure();
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
        EXPECT_TRUE(b.leader->extended);
        EXPECT_EQ(b.leader->packet_id, 0u);
        EXPECT_EQ(b.leader->status, 0u);
        const uint16_t payload_type = chunked ? 0x4001 : 0x0001;
        EXPECT_EQ(leader.payload_type, payload_type);
        EXPECT_EQ(leader.timestamp, timestamp);
        // Pixel format, size x and y, offset x and y.
        EXPECT_EQ(
            (std::vector<uint32_t>{leader.pixel_format, leader.width, leader.height, leader.x_offset, leader.y_offset}),
            (std::vector<uint32_t>{kPixelFormatMono8, 640, 480, 0, 0}));

        // The image, then (chunked) its own chunk tag and the frame's chunks.
        const std::vector<uint8_t> payload = generic_bytes(b);
        ASSERT_EQ(payload.size(), image.size() + (chunked ? 8 + (8 + 8) * 2 : 0));
        EXPECT_TRUE(std::equal(image.begin(), image.end(), payload.begin()));
        if (chunked) {
            std::vector<uint8_t> chunk;
            ASSERT_TRUE(find_chunk(payload, kChunkIdFrameId, &chunk));
            EXPECT_EQ(le64(chunk), block_id);
            ASSERT_TRUE(find_chunk(payload, kChunkIdTimestamp, &chunk));
            EXPECT_EQ(le64(chunk), timestamp);
            ASSERT_TRUE(find_chunk(payload, kChunkIdImage, &chunk));
            EXPECT_EQ(chunk, image);
        }

        // Every payload packet but the last is filled to the packet size.
        const size_t capacity = 1500 - 28 - 20;
        const uint32_t payload_packets = static_cast<uint32_t>((payload.size() + capacity - 1) / capacity);
        EXPECT_EQ(b.trailer->packet_id, payload_packets + 1);
        for (const auto& [id, w] : b.payload) {
            if (id < payload_packets) {
                EXPECT_EQ(w.data.size(), capacity) << "packet " << id;
            }
        }
        EXPECT_EQ(sender.counters().packets_sent - packets_before, payload_packets + 2u);

        // Trailer: payload type, size y; chunked, then the chunk data (the
        // whole payload) length and a layout id.
        stream_test::Trailer trailer{};
        ASSERT_TRUE(stream_test::decode_trailer(*b.trailer, 1, &trailer));
        EXPECT_EQ(trailer.payload_type, payload_type);
        EXPECT_EQ(trailer.parts[0].height, 480u);
        EXPECT_EQ(trailer.chunk_length, chunked ? payload.size() : 0u);
        EXPECT_EQ(trailer.chunk_layout_id != 0, chunked);
    }
    EXPECT_LE(receiver.largest_datagram(), 1500u - 28u);
    const StreamCounters c = sender.counters();
    EXPECT_EQ(c.frames_sent, 2u);
    EXPECT_EQ(c.packets_dropped, 0u);
    EXPECT_EQ(receiver.malformed(), 0u);
}

TEST_F(StreamSenderTest, StandardHeaderCarriesSixteenBitBlockIdsAndNeverZero) {
    settings.extended_ids = false;
    settings.packet_size = 576;
    reconfigure();
    for (uint64_t id : {uint64_t{65535}, uint64_t{65536}, uint64_t{65537}}) {
        GvspFrame frame{id, 42, false, {mono8_part(64, 48, static_cast<uint32_t>(id))}, {}};
        ASSERT_TRUE(sender.send_frame(frame)) << sender.last_error();
    }
    // 65535 stays, 65536 wraps to 1 (0 is not a valid block id), 65537 to 2.
    for (uint64_t wire : {uint64_t{65535}, uint64_t{1}, uint64_t{2}}) {
        ASSERT_TRUE(wait_complete(wire)) << wire;
        const CollectedBlock& b = receiver.blocks()[wire];
        EXPECT_FALSE(b.leader->extended);
        EXPECT_EQ(generic_bytes(b).size(), 64u * 48u);
        const size_t capacity = 576 - 28 - 8;
        for (const auto& [id, w] : b.payload) {
            if (id < b.trailer->packet_id - 1) {
                EXPECT_EQ(w.data.size(), capacity);
            }
        }
    }
    EXPECT_EQ(receiver.blocks().count(0), 0u);
}

TEST_F(StreamSenderTest, MultipartFrameDescribesEveryPartAndPlacesItsBytes) {
    settings.packet_size = 1400;
    reconfigure();
    const uint64_t block_id = 9, timestamp = 5555;
    GvspFrame frame{block_id, timestamp, true, scene_parts(64, 48, 9), chunk_data_for(timestamp, block_id)};
    const GvspFrame sent = frame;
    ASSERT_TRUE(sender.send_frame(std::move(frame))) << sender.last_error();
    ASSERT_TRUE(wait_complete(block_id));

    const CollectedBlock& b = receiver.blocks()[block_id];
    stream_test::MultipartLeader leader;
    ASSERT_TRUE(stream_test::decode_multipart_leader(*b.leader, &leader));
    EXPECT_EQ(leader.payload_type, 0x400A);
    EXPECT_EQ(leader.timestamp, timestamp);
    ASSERT_EQ(leader.parts.size(), 4u);
    for (size_t i = 0; i < 3; ++i) {
        const GvspPart& p = sent.parts[i];
        const stream_test::PartDescriptor& d = leader.parts[i];
        // Data type, length, pixel format, purpose, source, region, size x and y.
        EXPECT_EQ((std::vector<uint64_t>{d.data_type, d.length, d.pixel_format, d.data_purpose_id, d.source_id,
                                         d.region_id, d.width, d.height}),
                  (std::vector<uint64_t>{p.data_type, p.data.size(), p.pixel_format, p.data_purpose_id, 0, 0, 64, 48}))
            << i;
    }
    EXPECT_EQ(leader.parts[3].data_type, 0x000A);
    EXPECT_EQ(leader.parts[3].length, sent.chunk_data.size());

    const std::vector<uint8_t> block = multipart_bytes(b);
    EXPECT_EQ(block, frame_bytes(sent));
    std::vector<uint8_t> chunk;
    ASSERT_TRUE(find_chunk(block, kChunkIdFrameId, &chunk));
    EXPECT_EQ(le64(chunk), block_id);

    // Packet count: each part rounds up on its own.
    const size_t capacity = 1400 - 28 - 20 - 8;
    uint32_t expected = 2;
    for (const auto& d : leader.parts) expected += static_cast<uint32_t>((d.length + capacity - 1) / capacity);
    EXPECT_EQ(b.trailer->packet_id + 1, expected);

    // Multipart trailer: payload type, a record per part, then the chunk
    // part's length and a layout id.
    stream_test::Trailer trailer{};
    ASSERT_TRUE(stream_test::decode_trailer(*b.trailer, 4, &trailer));
    EXPECT_EQ(trailer.payload_type, 0x400A);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(trailer.parts[i].data_type, leader.parts[i].data_type);
        EXPECT_EQ(trailer.parts[i].length, leader.parts[i].length);
        EXPECT_EQ(trailer.parts[i].height, i < 3 ? 48u : 0u);
    }
    EXPECT_EQ(trailer.chunk_length, sent.chunk_data.size());
    EXPECT_NE(trailer.chunk_layout_id, 0u);
}

TEST_F(StreamSenderTest, FramesThatCannotBeSentAreRefusedWithAReason) {
    GvspFrame multipart{1, 0, true, scene_parts(16, 16, 1), {}};
    settings.extended_ids = false;
    reconfigure();
    EXPECT_FALSE(sender.send_frame(multipart));
    EXPECT_NE(sender.last_error().find("extended"), std::string::npos) << sender.last_error();

    settings.extended_ids = true;
    settings.packet_size = 100;  // the 3-part leader needs 12 + 3*48 bytes
    reconfigure();
    EXPECT_FALSE(sender.send_frame(multipart));
    settings.packet_size = 20;
    reconfigure();
    EXPECT_FALSE(sender.send_frame(GvspFrame{2, 0, false, {mono8_part(8, 8, 1)}, {}}));
    settings.packet_size = 70000;
    reconfigure();
    EXPECT_FALSE(sender.send_frame(GvspFrame{2, 0, false, {mono8_part(8, 8, 1)}, {}}));

    settings.packet_size = 1500;
    reconfigure();
    EXPECT_FALSE(sender.send_frame(GvspFrame{3, 0, false, {}, {}}));                    // no part
    EXPECT_FALSE(sender.send_frame(GvspFrame{4, 0, false, scene_parts(8, 8, 1), {}}));  // single with three parts

    settings.dest_port = 0;
    reconfigure();
    EXPECT_FALSE(sender.send_frame(GvspFrame{5, 0, false, {mono8_part(8, 8, 1)}, {}}));
    EXPECT_NE(sender.last_error().find("destination"), std::string::npos);

    EXPECT_EQ(sender.counters().frames_rejected, 7u);
    EXPECT_EQ(sender.counters().frames_sent, 0u);
    receiver.drain(std::chrono::milliseconds(50));
    EXPECT_TRUE(receiver.blocks().empty());

    sender.close();
    settings.dest_port = receiver.port();
    reconfigure();
    EXPECT_FALSE(sender.send_frame(GvspFrame{6, 0, false, {mono8_part(8, 8, 1)}, {}}));
    EXPECT_NE(sender.last_error().find("open"), std::string::npos);
    EXPECT_EQ(sender.counters().frames_rejected, 8u);
}

TEST_F(StreamSenderTest, ResendServesOnlyStoredBlocksAndClampsTheRange) {
    settings.packet_size = 600;
    settings.resend_frames = 2;
    reconfigure();
    for (uint64_t id = 1; id <= 3; ++id)
        ASSERT_TRUE(sender.send_frame(GvspFrame{id, 0, false, {mono8_part(40, 30, static_cast<uint32_t>(id))}, {}}));
    ASSERT_TRUE(wait_complete(3));
    receiver.blocks().clear();

    sender.resend(1, 1, 2);  // forgotten: only the last two frames are kept
    sender.resend(999, 0, 0);
    StreamCounters c = sender.counters();
    EXPECT_EQ(c.resend_unknown_block, 2u);
    EXPECT_EQ(c.packets_resent, 0u);

    // A range running past the end is cut at the trailer; it includes leader and trailer.
    sender.resend(3, 0, 0xFFFFFFFFu);
    ASSERT_TRUE(wait_complete(3));
    const CollectedBlock& b = receiver.blocks()[3];
    EXPECT_EQ(b.resent, b.trailer->packet_id + 1u);
    EXPECT_EQ(b.duplicates, 0u);
    EXPECT_EQ(generic_bytes(b), mono8_part(40, 30, 3).data);

    const uint64_t resent = sender.counters().packets_resent;
    sender.resend(2, 5, 4);  // inverted range: nothing
    receiver.drain(std::chrono::milliseconds(50));
    EXPECT_EQ(sender.counters().packets_resent, resent);
    EXPECT_EQ(receiver.blocks().count(2), 0u);
}

TEST_F(StreamSenderTest, PacketDelayAndLinkSpeedPaceTheBlock) {
    settings.packet_size = 576;
    settings.tick_frequency = 1'000'000;  // microsecond ticks
    settings.packet_delay_ticks = 2000;   // 2 ms between packets
    reconfigure();
    auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(sender.send_frame(GvspFrame{1, 0, false, {mono8_part(54, 10, 1)}, {}}));  // 3 packets in all
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4)) << "two gaps of 2 ms";
    ASSERT_TRUE(wait_complete(1));

    settings.packet_size = 1500;
    settings.packet_delay_ticks = 0;
    settings.link_speed_bps = 50'000'000;  // 50 Mbit/s
    reconfigure();
    start = std::chrono::steady_clock::now();
    ASSERT_TRUE(sender.send_frame(GvspFrame{2, 0, false, {mono8_part(320, 200, 1)}, {}}));  // 64 000 bytes
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10))
        << "at least 10 ms on such a link";
    ASSERT_TRUE(wait_complete(2));
}

TEST_F(StreamSenderTest, TestPacketHasTheProbedSize) {
    ASSERT_TRUE(sender.send_test_packet(1400));
    EXPECT_FALSE(sender.send_test_packet(10));
    receiver.drain(std::chrono::milliseconds(100));
    EXPECT_EQ(receiver.datagrams(), 1u);
    EXPECT_EQ(receiver.largest_datagram(), 1400u - 28u);
}

TEST(StreamChunkWriter, PadsToFourBytesAndRefusesNullData) {
    std::vector<uint8_t> chunks;
    const uint8_t three[3] = {1, 2, 3};
    ASSERT_TRUE(append_chunk(chunks, 0xABCD, three, sizeof three));
    ASSERT_EQ(chunks.size(), 4u + 8u);
    EXPECT_EQ(std::vector<uint8_t>(chunks.begin(), chunks.begin() + 4), (std::vector<uint8_t>{1, 2, 3, 0}));
    EXPECT_EQ(stream_test::be32(chunks.data() + 4), 0xABCDu);
    EXPECT_EQ(stream_test::be32(chunks.data() + 8), 4u);
    EXPECT_FALSE(append_chunk(chunks, 1, nullptr, 4));
    EXPECT_EQ(chunks.size(), 12u);
    EXPECT_TRUE(append_chunk(chunks, 2, nullptr, 0));
    EXPECT_EQ(chunks.size(), 20u);
}

}  // namespace
