// Images from the virtual sensor to the application's callbacks over real
// UDP: multipart frames with their parts in order and their contents as the
// sensor's scene formulas say, the trailing chunk part left out, a part of
// a pixel type without a known size as an empty entry, and single images
// when multipart is off.
#include <gtest/gtest.h>

#include <chrono>

#include "ORNC.h"
#include "acquisition_test_support.h"

namespace {

using namespace std::chrono_literals;

constexpr int kFrames = 5;

class Delivery : public ::testing::Test {
protected:
    void start_sensor(int host, const char* serial) {
        sensor_ = std::make_unique<camtest::SensorScope>(acqtest::sensor_config(host, serial));
        ASSERT_TRUE(sensor_->ok()) << sensor_->error();
        connection_ = std::make_unique<acqtest::Connection>(serial);
        ASSERT_EQ(connection_->status(), ORNC_OK);
    }
    // Continuous acquisition until `frames` deliveries, then stop.
    void acquire(int frames) {
        recorder_.attach(connection_->get());
        ASSERT_EQ(ORNCStart(connection_->get()), ORNC_OK);
        ASSERT_EQ(ORNCAcquisitionStartMode(connection_->get(), 0, 0), ORNC_OK);
        const bool got = recorder_.wait_frames(frames, 10s);
        EXPECT_EQ(ORNCAcquisitionStop(connection_->get()), ORNC_OK);
        EXPECT_EQ(ORNCStop(connection_->get()), ORNC_OK);
        ASSERT_TRUE(got) << "only " << recorder_.frames() << " frames delivered";
        EXPECT_EQ(recorder_.null_calls(), 0);
    }

    std::unique_ptr<camtest::SensorScope> sensor_;
    std::unique_ptr<acqtest::Connection> connection_;
    acqtest::Recorder recorder_;
};

TEST_F(Delivery, MultipartPartsArriveInOrderWithTheSceneAndWithoutTheChunkPart) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(11, "AQ000011"));
    connection_->configure_component("Range", true, "Coord3D_ABC32f");
    connection_->configure_component("Intensity", true);
    connection_->configure_component("Confidence", true);
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(true));
    ASSERT_NO_FATAL_FAILURE(acquire(kFrames));

    EXPECT_TRUE(recorder_.images().empty()) << "multipart frames never reach the single-image callback";
    const auto vectors = recorder_.vectors();
    ASSERT_GE(vectors.size(), static_cast<size_t>(kFrames));
    for (size_t i = 0; i < vectors.size(); ++i) {
        const auto& parts = vectors[i];
        // Range, Intensity, Confidence; the chunk part that follows them is left out.
        ASSERT_EQ(parts.size(), 3u) << "frame " << i;
        EXPECT_EQ(parts[0].type, static_cast<orn_pixel_t>(ORN_PIX_ABC32F));
        EXPECT_EQ(parts[1].type, static_cast<orn_pixel_t>(ORN_PIX_MONO8));
        EXPECT_EQ(parts[2].type, static_cast<orn_pixel_t>(ORN_PIX_CONF8));
        for (const auto& part : parts) {
            EXPECT_EQ(part.width, 128);
            EXPECT_EQ(part.height, 96);
        }
        const uint64_t f = acqtest::frame_from_intensity(parts[1]);
        EXPECT_EQ(acqtest::check_intensity(parts[1], f), "") << "frame " << i;
        EXPECT_EQ(acqtest::check_range(parts[0], f), "") << "frame " << i;
        EXPECT_EQ(acqtest::check_confidence(parts[2], f), "") << "frame " << i;
    }
    // Consecutive deliveries are consecutive frames while nothing is lost.
    for (size_t i = 1; i < vectors.size(); ++i) {
        EXPECT_EQ(acqtest::frame_from_intensity(vectors[i][1]),
                  (acqtest::frame_from_intensity(vectors[i - 1][1]) + 1) % 256);
    }
}

TEST_F(Delivery, WithoutChunksEveryPartIsAnImageAndAllAreDelivered) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(12, "AQ000012"));
    connection_->configure_component("Range", false);
    connection_->configure_component("Intensity", true);
    connection_->configure_component("Confidence", true);
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(false));
    ASSERT_NO_FATAL_FAILURE(acquire(kFrames));

    for (const auto& parts : recorder_.vectors()) {
        ASSERT_EQ(parts.size(), 2u);
        EXPECT_EQ(parts[0].type, static_cast<orn_pixel_t>(ORN_PIX_MONO8));
        EXPECT_EQ(parts[1].type, static_cast<orn_pixel_t>(ORN_PIX_CONF8));
        const uint64_t f = acqtest::frame_from_intensity(parts[0]);
        EXPECT_EQ(acqtest::check_intensity(parts[0], f), "");
        EXPECT_EQ(acqtest::check_confidence(parts[1], f), "");
    }
}

TEST_F(Delivery, APartWithoutAKnownPixelSizeKeepsItsSlotAsAnEmptyEntry) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(13, "AQ000013"));
    connection_->configure_component("Range", true, "Coord3D_C16");
    connection_->configure_component("Intensity", true);
    connection_->configure_component("Confidence", true);
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(true));
    ASSERT_NO_FATAL_FAILURE(acquire(kFrames));

    for (const auto& parts : recorder_.vectors()) {
        ASSERT_EQ(parts.size(), 3u);
        EXPECT_TRUE(parts[0].empty);
        EXPECT_EQ(parts[0].type, 0u);
        EXPECT_EQ(parts[0].width, 0);
        const uint64_t f = acqtest::frame_from_intensity(parts[1]);
        EXPECT_EQ(acqtest::check_intensity(parts[1], f), "");
        EXPECT_EQ(acqtest::check_confidence(parts[2], f), "");
    }
}

TEST_F(Delivery, WithMultipartOffSingleImagesReachTheImageCallback) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(14, "AQ000014"));
    ASSERT_EQ(connection_->set_bool("GevSCCFGMultiPartEnabled", false), ORNC_OK);
    connection_->configure_component("Range", true, "Coord3D_ABC32f");
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(true));
    ASSERT_NO_FATAL_FAILURE(acquire(kFrames));

    EXPECT_TRUE(recorder_.vectors().empty());
    const auto images = recorder_.images();
    ASSERT_GE(images.size(), static_cast<size_t>(kFrames));
    for (const auto& image : images) {
        EXPECT_EQ(image.type, static_cast<orn_pixel_t>(ORN_PIX_ABC32F));
        EXPECT_EQ(image.width, 128);
        EXPECT_EQ(image.height, 96);
        EXPECT_EQ(acqtest::check_range_any_frame(image), "");
    }
}

// The buffers are sized at each start from PayloadSize: a bigger frame
// after a restart arrives whole.
TEST_F(Delivery, ARestartAfterThePayloadGrewDeliversTheBiggerFrames) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(15, "AQ000015"));
    connection_->configure_component("Range", false);
    connection_->configure_component("Intensity", true);
    connection_->configure_component("Confidence", false);
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(false));
    ASSERT_NO_FATAL_FAILURE(acquire(2));

    connection_->configure_component("Range", true, "Coord3D_ABC32f");
    connection_->configure_component("Confidence", true);
    const int before = recorder_.frames();
    ASSERT_EQ(ORNCStart(connection_->get()), ORNC_OK);
    ASSERT_EQ(ORNCAcquisitionStartMode(connection_->get(), 0, 0), ORNC_OK);
    const bool got = recorder_.wait_frames(before + 3, 10s);
    EXPECT_EQ(ORNCAcquisitionStop(connection_->get()), ORNC_OK);
    EXPECT_EQ(ORNCStop(connection_->get()), ORNC_OK);
    ASSERT_TRUE(got);
    const auto vectors = recorder_.vectors();
    for (size_t i = static_cast<size_t>(before); i < vectors.size(); ++i) {
        ASSERT_EQ(vectors[i].size(), 3u);
        const uint64_t f = acqtest::frame_from_intensity(vectors[i][1]);
        EXPECT_EQ(acqtest::check_range(vectors[i][0], f), "");
    }
    EXPECT_EQ(recorder_.null_calls(), 0);
}

}  // namespace
