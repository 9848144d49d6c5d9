// Images from the virtual sensor to the application's callbacks over real
// UDP: multipart frames with their parts in order and their contents as the
// sensor rendered them, the trailing chunk part left out, a part of a pixel
// type without a known size as an empty entry, and single images when
// multipart is off.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <tuple>
#include <vector>

#include "ORNCExt.h"
#include "acquisition_test_support.h"
#include "log_capture.h"

namespace {

using namespace std::chrono_literals;

constexpr int kFrames = 5;

class Delivery : public acqtest::SensorTest {
protected:
    acqtest::Recorder recorder_;
};

// Each case on a new connection to the same sensor; its parts in order
// (0: an empty entry), the chunk part that follows them never one of them.
TEST_F(Delivery, MultipartPartsArriveInOrderAsRenderedWithoutTheChunkPart) {
    const struct {
        const char* what;
        const char* range_format;  // nullptr: Range disabled
        bool chunks;
        std::vector<orn_pixel_t> parts;
    } cases[] = {
        {"every component and chunks", "Coord3D_ABC32f", true, {ORN_PIX_ABC32F, ORN_PIX_MONO8, ORN_PIX_CONF8}},
        {"without Range and chunks", nullptr, false, {ORN_PIX_MONO8, ORN_PIX_CONF8}},
        {"a Range format without a known pixel size", "Coord3D_C16", true, {0, ORN_PIX_MONO8, ORN_PIX_CONF8}},
    };
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(11, "AQ000011")));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        acqtest::Recorder recorder;
        connection_.reset();  // one controller at a time
        connection_ = std::make_unique<acqtest::Connection>("AQ000011");
        ASSERT_EQ(connection_->status(), ORNC_OK);
        connection_->configure_component("Range", c.range_format != nullptr, c.range_format);
        connection_->configure_component("Intensity", true);
        connection_->configure_component("Confidence", true);
        ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(c.chunks));
        ASSERT_NO_FATAL_FAILURE(acquire(kFrames, recorder));

        EXPECT_TRUE(recorder.images().empty()) << "multipart frames never reach the single-image callback";
        const auto vectors = recorder.vectors();
        ASSERT_GE(vectors.size(), static_cast<size_t>(kFrames));
        const size_t intensity = c.parts.size() - 2;
        for (size_t i = 0; i < vectors.size(); ++i) {
            const auto& parts = vectors[i];
            ASSERT_EQ(parts.size(), c.parts.size()) << "frame " << i;
            const uint64_t f = orntest::frame_from_intensity(parts[intensity]);
            for (size_t p = 0; p < parts.size(); ++p) {
                SCOPED_TRACE(testing::Message() << "frame " << i << " part " << p);
                const bool known = c.parts[p] != 0;
                EXPECT_EQ(std::make_tuple(parts[p].type, parts[p].width, parts[p].height, parts[p].empty),
                          std::make_tuple(c.parts[p], known ? 128 : 0, known ? 96 : 0, !known));
                EXPECT_EQ(known ? orntest::check_part(parts[p], f) : "", "");
            }
            // Consecutive deliveries are consecutive frames while nothing is lost.
            if (i > 0) {
                EXPECT_EQ(f, (orntest::frame_from_intensity(vectors[i - 1][intensity]) + 1) % 256);
            }
        }
    }
}

TEST_F(Delivery, WithMultipartOffSingleImagesReachTheImageCallback) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(14, "AQ000014")));
    ASSERT_EQ(connection_->set_bool("GevSCCFGMultiPartEnabled", false), ORNC_OK);
    connection_->configure_component("Range", true, "Coord3D_ABC32f");
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(true));
    ASSERT_NO_FATAL_FAILURE(acquire(kFrames, recorder_));

    EXPECT_TRUE(recorder_.vectors().empty());
    const auto images = recorder_.images();
    ASSERT_GE(images.size(), static_cast<size_t>(kFrames));
    for (const auto& image : images) {
        EXPECT_EQ(std::make_tuple(image.type, image.width, image.height),
                  std::make_tuple(static_cast<orn_pixel_t>(ORN_PIX_ABC32F), 128, 96));
        EXPECT_EQ(orntest::check_range_any_frame(image), "");
    }
}

// The buffers are sized at each start from PayloadSize: a bigger frame
// after a restart arrives whole.
TEST_F(Delivery, ARestartAfterThePayloadGrewDeliversTheBiggerFrames) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(15, "AQ000015")));
    connection_->configure_component("Range", false);
    connection_->configure_component("Intensity", true);
    connection_->configure_component("Confidence", false);
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(false));
    ASSERT_NO_FATAL_FAILURE(acquire(2, recorder_));

    connection_->configure_component("Range", true, "Coord3D_ABC32f");
    connection_->configure_component("Confidence", true);
    const int before = recorder_.frames();
    ASSERT_NO_FATAL_FAILURE(acquire(before + 3, recorder_));
    const auto vectors = recorder_.vectors();
    for (size_t i = static_cast<size_t>(before); i < vectors.size(); ++i) {
        EXPECT_EQ(acqtest::whole_frame(vectors[i], 128, 96), "");
    }
}

// At 250 frames/s the base pacing (one buffer per 10 ms pass) loses blocks.
// A pass every ms taking up to 16 buffers, set before the start (the
// refused settings after it must leave it in place), delivers every frame
// once the start is behind it: consecutive block ids, none twice, no
// failed transfer. Changed to 10 ms with 1 buffer during the acquisition,
// it is the base pacing again at once.
TEST_F(Delivery, FasterPacingDeliversEveryFrameAt250FramesPerSecondAndAChangeTakesEffectAtOnce) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(17, "AQ000017", 160, 120, 250.0)));
    ornc_t* h = connection_->get();
    const struct {
        const ornc_t* handle;
        int period_ms, buffers;
        ornc_status_t status;
    } pacing[] = {{h, 1, 16, ORNC_OK},
                  {nullptr, 1, 16, ORNC_ERR_UNINITIALIZED},
                  {h, 0, 16, ORNC_ERR_OUT_OF_RANGE},
                  {h, 1001, 16, ORNC_ERR_OUT_OF_RANGE},
                  {h, 1, 0, ORNC_ERR_OUT_OF_RANGE},
                  {h, 1, 65, ORNC_ERR_OUT_OF_RANGE},
                  {h, -5, -5, ORNC_ERR_OUT_OF_RANGE}};
    for (const auto& c : pacing) {
        EXPECT_EQ(ORNCSetDeliveryPacing(c.handle, c.period_ms, c.buffers), c.status) << c.period_ms << "," << c.buffers;
    }
    connection_->configure_component("Range", false);
    connection_->configure_component("Confidence", false);
    acqtest::Recorder recorder(true);
    recorder.attach(h);
    ASSERT_EQ(acqtest::start(h, 0, 0), ORNC_OK);
    std::this_thread::sleep_for(200ms);  // the start, not counted
    const size_t first = recorder.delivered().size();
    const int failed_before = recorder.null_calls();
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(recorder.null_calls(), failed_before);
    ASSERT_EQ(ORNCSetDeliveryPacing(h, 10, 1), ORNC_OK);
    const std::vector<acqtest::Delivered> fast = recorder.delivered();
    const auto missing_again = [&] {
        const std::vector<acqtest::Delivered> all = recorder.delivered();
        return std::any_of(all.begin() + static_cast<std::ptrdiff_t>(fast.size()), all.end(),
                           [](const acqtest::Delivered& d) { return d.info.blocks_missing > 0; });
    };
    EXPECT_TRUE(orntest::wait_until(missing_again, 5s)) << "the base pacing again, none missing";
    EXPECT_EQ(acqtest::stop(h), ORNC_OK);
    ASSERT_GT(fast.size(), first);
    for (size_t i = first; i < fast.size(); ++i) {
        EXPECT_EQ(std::make_tuple(fast[i].status, fast[i].info.blocks_missing), std::make_tuple(ORNC_OK, 0u)) << i;
        if (i > first) {
            EXPECT_EQ(fast[i].info.block_id, fast[i - 1].info.block_id + 1) << i;
        }
    }
}

// With the longest pacing period the worker sleeps up to a second between
// passes: a disconnect during that sleep waits for it instead of
// signalling the process (which would end this test).
TEST_F(Delivery, ADisconnectDuringALongPacingPeriodWaitsForTheWorker) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(18, "AQ000018", 128, 96, 30.0)));
    ornc_t* h = connection_->get();
    orntest::LogCapture log;
    ASSERT_EQ(ORNCSetDeliveryPacing(h, 1000, 16), ORNC_OK);
    recorder_.attach(h);
    ASSERT_EQ(acqtest::start(h, 0, 0), ORNC_OK);
    EXPECT_TRUE(recorder_.wait_frames(1, 5s));
    EXPECT_EQ(ORNCDisconnect(h), ORNC_OK);
    EXPECT_EQ(log.count_containing("Still not stopped"), 0);
}

}  // namespace
