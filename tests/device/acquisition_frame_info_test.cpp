// Each delivered frame's identity through ORNCGetFrameInfo: what the
// sensor put in the leader (block id, timestamp, parts), the device clock
// placed on the host's, the blocks that never became a frame and the
// packets that came by resend; and nothing outside a callback.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "ORNCExt.h"
#include "acquisition_test_support.h"
#include "ornsim/components.h"
#include "wire/pixel_formats.h"

namespace {

using namespace std::chrono_literals;

using FrameInfo = acqtest::SensorTest;

TEST_F(FrameInfo, DescribesEachMultipartFrameAsSentAndNothingOutsideACallback) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(18, "AQ000018")));
    ornc_t* h = connection_->get();
    // The sensor starts with every component on, Range in Coord3D_ABC32f.
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(true));
    int64_t frequency = 0;
    ASSERT_EQ(ORNCParamGetInteger64Value(orntest::device_param(h, "GevTimestampTickFrequency"), &frequency), ORNC_OK);

    acqtest::Recorder recorder(true);
    ASSERT_NO_FATAL_FAILURE(acquire(6, recorder));
    const std::vector<acqtest::Delivered> seen = recorder.delivered();
    ASSERT_GE(seen.size(), 6u);
    const uint32_t formats[] = {wire::kPixelFormatCoord3D_ABC32f, wire::kPixelFormatMono8,
                                wire::kPixelFormatConfidence8};
    const uint32_t purposes[] = {ornsim::kRangeComponentId, ornsim::kIntensityComponentId,
                                 ornsim::kConfidenceComponentId};
    for (size_t i = 0; i < seen.size(); ++i) {
        SCOPED_TRACE(i);
        const ornc_frame_info_t& f = seen[i].info;
        ASSERT_EQ(seen[i].status, ORNC_OK);
        EXPECT_EQ(f.payload_type, 10u);
        ASSERT_EQ(f.part_count, 4u) << "three images and the chunk part";
        for (int p = 0; p < 3; ++p) {
            EXPECT_EQ(
                std::make_tuple(f.part[p].pixel_format, f.part[p].width, f.part[p].height, f.part[p].data_purpose_id),
                std::make_tuple(formats[p], 128u, 96u, purposes[p]));
        }
        EXPECT_EQ(f.part[3].data_type, 0x0Au) << "chunk data";
        EXPECT_EQ(f.timestamp_frequency, static_cast<uint64_t>(frequency));
        // The sensor stamps a frame as it starts building it: on the host's
        // clock that is before the callback, and not long before.
        EXPECT_GT(f.host_time_ns, 0);
        EXPECT_LE(f.host_time_ns, seen[i].host_ns);
        EXPECT_LT(seen[i].host_ns - f.host_time_ns, 2000000000LL);
        if (i > 0) {
            const ornc_frame_info_t& before = seen[i - 1].info;
            EXPECT_EQ(f.block_id, before.block_id + 1);
            EXPECT_EQ(f.blocks_missing, 0u);
            EXPECT_GT(f.timestamp, before.timestamp);
        }
    }
    // The stamps are ticks of timestamp_frequency: over the run they span
    // what the same frames span on the host's clock. (The loaded sensor's
    // own pace, late frames and all, is no reference.)
    const ornc_frame_info_t& first = seen.front().info;
    const ornc_frame_info_t& last = seen.back().info;
    EXPECT_NEAR(static_cast<double>(last.timestamp - first.timestamp) / static_cast<double>(frequency),
                static_cast<double>(last.host_time_ns - first.host_time_ns) / 1e9,
                2.0 / static_cast<double>(frequency));

    ornc_frame_info_t outside;
    std::memset(&outside, 0xA5, sizeof outside);
    EXPECT_EQ(ORNCGetFrameInfo(h, &outside), ORNC_ERR_ELEMENT_NOT_FOUND);
    EXPECT_EQ(outside.block_id, 0u) << "a refused call leaves a zeroed record";
    EXPECT_EQ(ORNCGetFrameInfo(nullptr, &outside), ORNC_ERR_UNINITIALIZED);
    EXPECT_EQ(ORNCGetFrameInfo(h, nullptr), ORNC_ERROR);
}

// Every 4th frame is cut (never completes: the next delivered frame counts
// it missing), every 3rd loses its tail on the first send (the receiver
// asks for it again: the frame counts the packets).
TEST_F(FrameInfo, CountsBlocksThatNeverCameAndPacketsThatCameByResend) {
    ASSERT_NO_FATAL_FAILURE(start_sensor(acqtest::sensor_config(19, "AQ000019")));
    connection_->configure_component("Range", true, "Coord3D_ABC32f");
    ASSERT_NO_FATAL_FAILURE(connection_->set_chunks(false));
    ornsim::FaultSwitches faults;
    faults.cut_frame_every = 4;
    faults.hold_tail_every = 3;
    sensor().set_faults(faults);

    acqtest::Recorder recorder(true);
    ASSERT_NO_FATAL_FAILURE(acquire(14, recorder, true));
    const int failed = recorder.null_calls();
    const std::vector<acqtest::Delivered> seen = recorder.delivered();
    ASSERT_GE(seen.size(), 14u);
    uint32_t missing = 0;
    int resent_frames = 0;
    for (size_t i = 0; i < seen.size(); ++i) {
        const ornc_frame_info_t& f = seen[i].info;
        ASSERT_EQ(seen[i].status, ORNC_OK);
        if (i > 0) {
            EXPECT_EQ(f.blocks_missing, f.block_id - seen[i - 1].info.block_id - 1) << "frame " << i;
        }
        missing += i > 0 ? f.blocks_missing : 0;
        resent_frames += f.packets_resent > 0 ? 1 : 0;
    }
    EXPECT_GE(missing, 2u);
    EXPECT_LE(static_cast<int>(missing), failed) << "each missing block is a transfer that failed";
    EXPECT_GE(resent_frames, 2);
    EXPECT_LE(resent_frames, static_cast<int>(seen.size()) / 2 + 1) << "only the held frames need resends";
}

}  // namespace
