// Retrieval from the stream against the virtual sensor over real UDP on
// loopback: single images and multipart frames with their part descriptors,
// content (the sensor's scene) and chunks, transfers that do not fit their
// buffer, time-outs, and aborts that wake a blocked retrieval. (Aborts
// while frames arrive are acquisition_cycles_test's: each of its restarts
// needs every buffer back.)
#include <arv.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "platform/IPvMultiPartContainer.h"
#include "platform/device_clock.h"
#include "platform_test_support.h"

namespace {

using platform_test::block_id;
using platform_test::describe;
using platform_test::expect_scene;
using platform_test::Rig;

constexpr uint32_t kWidth = 160;
constexpr uint32_t kHeight = 120;

// Retrieves one buffer that must be a complete transfer.
PvBuffer* retrieve_good(PvStream* stream, uint32_t timeout_ms = 3000) {
    PvBuffer* buffer = nullptr;
    PvResult operation;
    PvResult result = stream->RetrieveBuffer(&buffer, &operation, timeout_ms);
    EXPECT_TRUE(result.IsOK()) << describe(result);
    if (result.IsFailure()) {
        return nullptr;
    }
    EXPECT_NE(buffer, nullptr);
    EXPECT_TRUE(operation.IsOK()) << describe(operation);
    return operation.IsOK() ? buffer : nullptr;
}

// The status of a transfer is checked before its payload type is looked
// at, so a multipart frame stands for single images too.
TEST(PlatformStream, BuffersTooSmallForTheFrameComeBackAsFailedTransfers) {
    Rig rig("127.0.47.4", kWidth, kHeight);
    ASSERT_TRUE(rig.ready());
    rig.configure(true, "Range", "Coord3D_C16");
    rig.open_stream(3, rig.device()->GetPayloadSize() / 2);
    rig.start();
    for (int frame = 0; frame < 3; ++frame) {
        PvBuffer* buffer = nullptr;
        PvResult operation;
        PvResult result = rig.stream()->RetrieveBuffer(&buffer, &operation, 3000);
        ASSERT_TRUE(result.IsOK()) << describe(result);
        ASSERT_NE(buffer, nullptr);
        EXPECT_TRUE(operation.IsFailure()) << "a half-size buffer must not pass as a good frame";
        EXPECT_NE(operation.GetCode(), PvResult::ABORTED);
        EXPECT_EQ(buffer->GetImage()->GetDataPointer(), nullptr) << "a failed buffer shows no image";
        EXPECT_EQ(buffer->GetMultiPartContainer()->GetPartCount(), 0u);
        ASSERT_TRUE(rig.stream()->QueueBuffer(buffer).IsOK());
    }
}

TEST(PlatformStream, RetrieveTimesOutAndAbortWakesABlockedRetrieval) {
    Rig rig("127.0.47.6", kWidth, kHeight);
    ASSERT_TRUE(rig.ready());
    rig.configure(false, "Intensity", "Mono8");
    rig.open_stream(5);
    EXPECT_EQ(rig.stream()->GetQueuedBufferCount(), 5u);

    // Nothing is acquiring: a time-out, in about the time asked.
    PvBuffer* buffer = nullptr;
    PvResult operation;
    auto begin = std::chrono::steady_clock::now();
    PvResult result = rig.stream()->RetrieveBuffer(&buffer, &operation, 50);
    auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(result.GetCode(), PvResult::TIMEOUT);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_GE(took, std::chrono::milliseconds(45));
    EXPECT_LT(took, std::chrono::milliseconds(1000));
    EXPECT_EQ(rig.stream()->RetrieveBuffer(nullptr, &operation, 1).GetCode(), PvResult::INVALID_PARAMETER);

    // A retrieval blocked without time limit in another thread is woken
    // by the abort with one of the buffers.
    std::atomic<bool> returned{false};
    PvBuffer* woken = nullptr;
    PvResult woken_operation;
    std::thread waiter([&] {
        rig.stream()->RetrieveBuffer(&woken, &woken_operation);
        returned = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(returned);
    begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(rig.stream()->AbortQueuedBuffers().IsOK());
    waiter.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
    ASSERT_NE(woken, nullptr);
    EXPECT_EQ(woken_operation.GetCode(), PvResult::ABORTED);

    // Every other buffer comes back aborted, each exactly once, and the
    // count includes them until they are taken.
    EXPECT_EQ(rig.stream()->GetQueuedBufferCount(), 4u);
    std::vector<PvBuffer*> returned_buffers{woken};
    while (rig.stream()->GetQueuedBufferCount() != 0) {
        ASSERT_TRUE(rig.stream()->RetrieveBuffer(&buffer, &operation, 1).IsOK());
        EXPECT_EQ(operation.GetCode(), PvResult::ABORTED);
        returned_buffers.push_back(buffer);
    }
    std::sort(returned_buffers.begin(), returned_buffers.end());
    EXPECT_EQ(std::unique(returned_buffers.begin(), returned_buffers.end()), returned_buffers.end());
    EXPECT_EQ(returned_buffers.size(), 5u);
    EXPECT_EQ(rig.stream()->RetrieveBuffer(&buffer, &operation, 1).GetCode(), PvResult::TIMEOUT);

    // The receiver works again after the abort.
    for (auto& owned : rig.buffers()) {
        ASSERT_TRUE(rig.stream()->QueueBuffer(owned.get()).IsOK());
    }
    rig.start();
    PvBuffer* good = retrieve_good(rig.stream());
    ASSERT_NE(good, nullptr);
    EXPECT_EQ(good->GetPayloadSize(), kWidth * kHeight);
    EXPECT_EQ(good->GetChunkCount(), 0u) << "chunks are off";
}

int64_t read_chunk(Rig& rig, const char* name, PvResult* result) {
    PvGenInteger* node = dynamic_cast<PvGenInteger*>(rig.parameters()->Get(name));
    int64_t value = -1;
    *result = node != nullptr ? node->GetValue(value) : PvResult(PvResult::NOT_FOUND);
    return value;
}

// Multipart frames with every part in order, then the chunk part; single
// images with their chunks after the image. The chunks are read through
// the node map.
TEST(PlatformStream, FramesCarryTheirPartsInOrderAndChunksReadThroughTheNodeMap) {
    const uint32_t pixels = kWidth * kHeight;
    for (bool multipart : {false, true}) {
        SCOPED_TRACE(multipart ? "multipart" : "single image");
        Rig rig(multipart ? "127.0.47.9" : "127.0.47.10", kWidth, kHeight);
        ASSERT_TRUE(rig.ready());
        // Multipart needs extended ids; enabling the stream turns them on.
        if (multipart) rig.set_enum("GevGVSPExtendedIDMode", "Off");
        rig.configure(multipart, multipart ? "Range" : "Intensity", multipart ? "Coord3D_ABC32f" : "Mono8");
        rig.set_bool("ChunkModeActive", true);
        for (const char* chunk : {"Timestamp", "FrameID"}) {
            rig.set_enum("ChunkSelector", chunk);
            rig.set_bool("ChunkEnable", true);
        }
        rig.open_stream(4);
        rig.start();
        const uint32_t gvsp = rig.read_register(gvcp::REG_GVSP_CONFIGURATION);
        EXPECT_TRUE(!multipart || (gvsp & gvcp::GVSP_CONFIG_64BIT_BLOCK_ID) != 0) << "extended ids on with multipart";
        PvResult read;
        uint64_t previous_timestamp = 0;
        for (int frame = 0; frame < 3; ++frame) {
            PvBuffer* buffer = retrieve_good(rig.stream());
            ASSERT_NE(buffer, nullptr);
            if (multipart) {
                ASSERT_EQ(buffer->GetPayloadType(), PvPayloadTypeMultiPart);
                EXPECT_EQ(buffer->GetPayloadSize(), pixels * (12 + 1 + 1) + 32);
                IPvMultiPartContainer* container = buffer->GetMultiPartContainer();
                ASSERT_EQ(container->GetPartCount(), 4u) << "range, intensity, confidence, chunk data";
                EXPECT_EQ(container->GetPart(4), nullptr);
                uint8_t* previous_end = buffer->GetDataPointer();
                for (uint32_t i = 0; i < 4; ++i) {
                    IPvMultiPartSection* part = container->GetPart(i);
                    ASSERT_NE(part, nullptr);
                    EXPECT_GE(part->GetDataPointer(), previous_end) << "parts follow each other";
                    previous_end = part->GetDataPointer() + part->GetSize();
                    // Purposes, pixel types, data types and images of the parts: FrameInfo and
                    // Delivery, through this container.
                    EXPECT_EQ(part->GetSize(), i == 3 ? 32u : i == 0 ? pixels * 12 : pixels);
                }
                EXPECT_LE(previous_end, buffer->GetDataPointer() + buffer->GetSize());
                EXPECT_EQ(container->GetPart(3)->GetImage(), nullptr) << "chunk data is no image";
                EXPECT_EQ(buffer->GetChunkCount(), 2u);
            } else {
                ASSERT_EQ(buffer->GetPayloadType(), PvPayloadTypeImage);
                EXPECT_EQ(buffer->GetChunkCount(), 3u) << "the image's own tag, timestamp, frame id";
                EXPECT_EQ(buffer->GetMultiPartContainer()->GetPartCount(), 0u);
                IPvImage* image = buffer->GetImage();
                EXPECT_EQ(image->GetImageSize(), pixels);
                EXPECT_EQ(image->GetDataPointer(), buffer->GetDataPointer()) << "no copy: the image is the buffer's";
                expect_scene(image, PvPixelMono8, kWidth, kHeight, block_id(buffer));
            }
            EXPECT_TRUE(buffer->HasChunks());
            ASSERT_TRUE(rig.parameters()->AttachDataChunks(buffer->GetDataPointer(), buffer->GetPayloadSize()).IsOK());
            EXPECT_EQ(read_chunk(rig, "ChunkFrameID", &read), static_cast<int64_t>(block_id(buffer)));
            EXPECT_TRUE(read.IsOK()) << describe(read);
            const int64_t timestamp = read_chunk(rig, "ChunkTimestamp", &read);
            EXPECT_TRUE(read.IsOK()) << describe(read);
            EXPECT_EQ(static_cast<uint64_t>(timestamp), buffer->GetTimestampNs());
            EXPECT_GT(static_cast<uint64_t>(timestamp), previous_timestamp);
            previous_timestamp = static_cast<uint64_t>(timestamp);

            ASSERT_TRUE(rig.parameters()->DetachDataChunks().IsOK());
            read_chunk(rig, "ChunkFrameID", &read);
            EXPECT_NE(describe(read).find("no chunk 0x"), std::string::npos) << "after the detach: " << describe(read);
            EXPECT_TRUE(rig.parameters()->DetachDataChunks().IsOK()) << "detaching twice is harmless";

            // Bad attachments are refused without binding anything.
            uint8_t foreign[64] = {};
            for (const auto& [data, size] : {std::pair<uint8_t*, uint32_t>{foreign, sizeof foreign},
                                             {nullptr, 0},
                                             {buffer->GetDataPointer(), buffer->GetPayloadSize() + 1}}) {
                EXPECT_EQ(rig.parameters()->AttachDataChunks(data, size).GetCode(), PvResult::INVALID_PARAMETER);
            }
            if (frame == 0) {
                // Reset forgets the transfer; a queued buffer refuses it.
                ASSERT_TRUE(buffer->Reset(multipart ? PvPayloadTypeImage : PvPayloadTypeMultiPart).IsOK());
                EXPECT_EQ(buffer->GetPayloadType(), multipart ? PvPayloadTypeImage : PvPayloadTypeMultiPart);
                EXPECT_EQ(buffer->GetPayloadSize(), 0u);
                EXPECT_EQ(buffer->GetImage()->GetDataPointer(), nullptr);
                EXPECT_EQ(buffer->GetImage()->GetWidth(), 0u);
            }
            ASSERT_TRUE(rig.stream()->QueueBuffer(buffer).IsOK());
            EXPECT_TRUE(buffer->Reset().IsFailure());
            EXPECT_EQ(rig.parameters()->AttachDataChunks(buffer->GetDataPointer(), 8).GetCode(),
                      PvResult::INVALID_PARAMETER)
                << "a queued buffer cannot be attached";
        }
    }
}

// A frame's stamp in ticks comes back from the nanoseconds the receiver
// made of it, at the clock rates devices use (1 GHz to 1 kHz): whole
// seconds, their last tick, and a clock that has run for 11 days.
TEST(DeviceClock, TicksComeBackFromTheReceiversNanoseconds) {
    for (uint64_t frequency :
         {uint64_t{1000000000}, uint64_t{125000000}, uint64_t{100000000}, uint64_t{33333333}, uint64_t{1000}}) {
        for (uint64_t ticks : {uint64_t{0}, uint64_t{1}, frequency - 1, frequency, 3 * frequency + 7,
                               frequency * 1000000 + frequency / 3}) {
            EXPECT_EQ(platform::ns_to_ticks(platform::ticks_to_ns(ticks, frequency), frequency), ticks)
                << ticks << " at " << frequency;
        }
    }
    EXPECT_EQ(platform::ticks_to_ns(187500000, 125000000), 1500000000u);
    EXPECT_EQ(platform::ticks_to_ns(5, 0), 0u);
}

}  // namespace
