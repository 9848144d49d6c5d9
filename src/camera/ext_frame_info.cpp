// The identity of the frame being delivered (ORNCGetFrameInfo) and its
// parts' bytes as they arrived (ORNCGetFramePartData): what the
// receiver read from the frame's leader, the gap in block ids since the
// previous delivered frame, the packets that came by resend, and the
// device timestamp placed on the host's clock.
#include <cstring>
#include <ctime>

#include "ORNCExt.h"
#include "base/log.h"
#include "camera/acquisition_state.h"
#include "camera/frame_tracking.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "platform/IPvImage.h"
#include "platform/IPvMultiPartContainer.h"
#include "platform/IPvMultiPartSection.h"
#include "platform/PvBuffer.h"
#include "platform/PvDeviceGEV.h"
#include "platform/PvStream.h"
#include "platform/device_clock.h"

namespace {

// The device clock drifts against the host's (tens of microseconds per
// second for a plain crystal): the mapping is taken again this often.
constexpr int64_t kClockMapLifetimeNs = 10 * 1000000000LL;
// 16-bit block ids run from 1 to this and then start at 1 again.
constexpr uint64_t kLastShortBlockId = 0xFFFF;

thread_local const ORNC_FrameInDelivery* t_current_frame = nullptr;

int64_t monotonic_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

// Blocks between two delivered ones. A 16-bit id that falls back by more
// than half its range has wrapped; any other fall means the device
// counts afresh.
uint64_t blocks_between(uint64_t last, uint64_t id) {
    if (id > last) {
        return id - last - 1;
    }
    if (last <= kLastShortBlockId && last - id > kLastShortBlockId / 2) {
        return (kLastShortBlockId - last) + (id - 1);
    }
    return 0;
}

// Takes the device clock's mapping again when the acquisition is new or
// the mapping has aged (acquisition thread).
void refresh_clock(ornc_priv_t* priv) {
    ornc_frame_tracking_t& frames = priv->frames;
    const orn_int32_t serial = ornc_state::LoadField(&frames.acquisition_serial);
    const int64_t now = monotonic_ns();
    if (frames.clock_taken != 0 && frames.clock_serial == serial && now - frames.clock_taken_ns < kClockMapLifetimeNs) {
        return;
    }
    platform::DeviceClockMap map;
    const PvResult result = priv->lDeviceGEV != nullptr
                                ? priv->lDeviceGEV->MapClock(&map)
                                : PvResult(PvResult::NOT_CONNECTED, "the device is not connected");
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Frame times stay on the device clock: %s",
                 result.GetDescription().GetAscii());
    }
    frames.clock_taken = 1;
    frames.clock_serial = serial;
    frames.clock_taken_ns = now;
    frames.clock_mapped = map.mapped ? 1 : 0;
    frames.clock_tick_frequency = map.tick_frequency;
    frames.clock_offset_ns = map.offset_ns;
}

void describe_parts(PvBuffer* buffer, ornc_frame_info_t* info) {
    if (buffer->GetPayloadType() != PvPayloadTypeMultiPart) {
        IPvImage* image = buffer->GetImage();
        info->part_count = 1;
        info->part[0].pixel_format = static_cast<uint32_t>(image->GetPixelType());
        info->part[0].width = image->GetWidth();
        info->part[0].height = image->GetHeight();
        return;
    }
    IPvMultiPartContainer* container = buffer->GetMultiPartContainer();
    info->part_count = container->GetPartCount();
    for (uint32_t i = 0; i < info->part_count && i < ORNC_FRAME_MAX_PARTS; ++i) {
        IPvMultiPartSection* section = container->GetPart(i);
        if (section == nullptr) {
            continue;
        }
        ornc_part_info_t& part = info->part[i];
        part.pixel_format = static_cast<uint32_t>(section->GetPixelType());
        part.width = section->GetWidth();
        part.height = section->GetHeight();
        part.data_type = static_cast<uint32_t>(section->GetDataType());
        part.data_purpose_id = section->GetDataPurposeID();
    }
}

}  // namespace

ORNC_FrameInDelivery::ORNC_FrameInDelivery(ornc_priv_t* priv, PvBuffer* buffer)
    : priv_(priv), buffer_(buffer), outer_(t_current_frame) {
    ornc_frame_tracking_t& frames = priv->frames;
    const orn_int32_t serial = ornc_state::LoadField(&frames.acquisition_serial);
    const uint64_t block = buffer->GetBlockId();
    if (frames.has_last_block != 0 && frames.serial_seen == serial) {
        const uint64_t missing = blocks_between(frames.last_block, block);
        blocks_missing_ = missing > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(missing);
    }
    frames.serial_seen = serial;
    frames.has_last_block = 1;
    frames.last_block = block;
    t_current_frame = this;
}

ORNC_FrameInDelivery::~ORNC_FrameInDelivery() { t_current_frame = outer_; }

const ORNC_FrameInDelivery* ORNC_FrameInDelivery::Current() { return t_current_frame; }

void ORNC_NewAcquisitionForFrames(ornc_priv_t* priv) {
    __atomic_fetch_add(&priv->frames.acquisition_serial, 1, __ATOMIC_RELEASE);
}

extern "C" {

ornc_status_t ORNCGetFrameInfo(const ornc_t* ornc, ornc_frame_info_t* info) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (info == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: GetFrameInfo without a record to fill");
        return ORNC_ERROR;
    }
    std::memset(info, 0, sizeof *info);
    const ORNC_FrameInDelivery* frame = ORNC_FrameInDelivery::Current();
    if (frame == nullptr || frame->priv() != ornc->priv) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER,
                 "ORNC: GetFrameInfo outside an image callback of this handle: no frame is being delivered");
        return ORNC_ERR_ELEMENT_NOT_FOUND;
    }
    ornc_priv_t* priv = frame->priv();
    PvBuffer* buffer = frame->buffer();
    info->block_id = buffer->GetBlockId();
    info->payload_type = buffer->GetWirePayloadType();
    info->blocks_missing = frame->blocks_missing();
    uint32_t resent = 0;
    if (priv->lStream != nullptr && priv->lStream->FindResentPackets(info->block_id, &resent)) {
        info->packets_resent = resent;
    }
    refresh_clock(priv);
    const ornc_frame_tracking_t& frames = priv->frames;
    if (frames.clock_tick_frequency != 0) {
        info->timestamp_frequency = frames.clock_tick_frequency;
        info->timestamp = platform::ns_to_ticks(buffer->GetTimestampNs(), frames.clock_tick_frequency);
        if (frames.clock_mapped != 0) {
            info->host_time_ns = static_cast<int64_t>(buffer->GetTimestampNs()) + frames.clock_offset_ns;
        }
    }
    describe_parts(buffer, info);
    return ORNC_OK;
}

ornc_status_t ORNCGetFramePartData(const ornc_t* ornc, uint32_t index, const void** data, size_t* size) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (data == nullptr || size == nullptr) {
        return ORNC_ERROR;
    }
    *data = nullptr;
    *size = 0;
    const ORNC_FrameInDelivery* frame = ORNC_FrameInDelivery::Current();
    if (frame == nullptr || frame->priv() != ornc->priv) {
        return ORNC_ERR_ELEMENT_NOT_FOUND;
    }
    PvBuffer* buffer = frame->buffer();
    if (buffer->GetPayloadType() != PvPayloadTypeMultiPart) {
        IPvImage* image = buffer->GetImage();
        if (index == 0 && image != nullptr) {
            *data = image->GetDataPointer();
            *size = image->GetImageSize();
        }
    } else {
        IPvMultiPartContainer* container = buffer->GetMultiPartContainer();
        IPvMultiPartSection* section =
            container != nullptr && index < container->GetPartCount() ? container->GetPart(index) : nullptr;
        if (section != nullptr) {
            *data = section->GetDataPointer();
            *size = section->GetSize();
        }
    }
    if (*data == nullptr) {
        *size = 0;
        return ORNC_ERR_ELEMENT_NOT_FOUND;
    }
    return ORNC_OK;
}

}  // extern "C"
