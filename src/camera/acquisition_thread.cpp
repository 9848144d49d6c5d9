// The acquisition worker's periodic function: up to the handle's number of
// filled buffers per pass (one in the base pacing), each delivered to the
// application's image or image-vector callback straight from the stream
// buffer (never copied), then requeued.
//
// The records handed to a callback point into the stream buffer, which is
// queued again as soon as the callback returns: the data is valid only
// during the callback.
#include <cstdio>

#include "ORNC.h"
#include "base/log.h"
#include "base/pixel_types.h"
#include "camera/acquisition_internal.h"
#include "camera/acquisition_state.h"
#include "camera/frame_tracking.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "platform/IPvImage.h"
#include "platform/IPvMultiPartContainer.h"
#include "platform/IPvMultiPartSection.h"
#include "platform/PvBuffer.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvStream.h"

namespace {

constexpr uint32_t kRetrieveTimeoutMs = 1;
// How long a pass of a handle that set its pacing waits for its first
// buffer: the wait ends as soon as one is filled (or buffers are aborted),
// so the worker sleeps instead of polling, yet a pass stays well inside
// the 50 ms poll of a stopping worker.
constexpr uint32_t kPacedRetrieveTimeoutMs = 20;

// Binds the device's chunk features to this buffer's chunk data.
void ORNC_AttachChunks(ornc_priv_t* priv, PvBuffer* buffer, const char* failure_text) {
    if (buffer->GetChunkCount() == 0) {
        return;
    }
    const PvResult result = priv->lDeviceParams->AttachDataChunks(buffer->GetDataPointer(), buffer->GetPayloadSize());
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "%s %d %s", failure_text,
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
    }
}

void ORNC_DeliverSingleImage(ornc_priv_t* priv, PvBuffer* buffer) {
    IPvImage* image = buffer->GetImage();
    const PvResult detached = priv->lDeviceParams->DetachDataChunks();
    if (detached.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Single Image Detach Fail %d %s",
                 static_cast<int>(detached.GetCode()), detached.GetDescription().GetAscii());
    }
    ORNC_AttachChunks(priv, buffer, "ORNC: Single Image Attach Fail");
    if (image == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Unexpected image null pointer");
        ornc_state::ClearTriggered(&priv->acquistate);
        return;
    }
    const int width = static_cast<int>(image->GetWidth());
    const int height = static_cast<int>(image->GetHeight());
    const PvPixelType pixel_type = image->GetPixelType();
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Single image type 0x%x size %d x %d",
             static_cast<unsigned>(pixel_type), width, height);
    void (*callback)(orn_image_t*, void*) = ornc_state::LoadField(&priv->image_callback);
    if (callback != nullptr) {
        orn_image_t record;
        record.data = image->GetDataPointer();
        record.width = width;
        record.height = height;
        record.type = ORN_ConvertPixelTypeToORN(pixel_type);
        record.pixelsize = ORN_GetPixelSize(record.type);
        record.dontfree = 1;  // the memory is the stream buffer's
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Single Image callback");
        callback(&record, ornc_state::LoadField(&priv->image_callback_data));
    }
    ornc_state::ClearTriggered(&priv->acquistate);
}

// Entry i of the vector is part i of the buffer. A trailing part without
// an image (chunk data) is left out; a non-image part elsewhere keeps its
// slot as an empty entry.
void ORNC_DeliverMultipart(ornc_priv_t* priv, PvBuffer* buffer) {
    IPvMultiPartContainer* container = buffer->GetMultiPartContainer();
    const int count = container != nullptr ? static_cast<int>(container->GetPartCount()) : 0;
    if (count < 1) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Unexpected part count %d payload %d", count,
                 static_cast<int>(buffer->GetPayloadSize()));
    }
    ORNC_AttachChunks(priv, buffer, "ORNC: Multipart Image Attach Fail");
    void (*callback)(orn_image_vec_t*, void*) = ornc_state::LoadField(&priv->imagevec_callback);
    if (callback == nullptr) {
        ornc_state::ClearTriggered(&priv->acquistate);
        return;
    }
    int n = 0;
    if (count < 1) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Unexpected part count %d", count);
    } else {
        IPvMultiPartSection* last = container->GetPart(static_cast<uint32_t>(count - 1));
        if (last == nullptr) {
            // Nothing is known about the parts then: an empty vector.
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Unexpected section null pointer");
        } else {
            n = last->GetImage() != nullptr ? count : count - 1;
        }
    }

    orn_image_vec_t vec;
    ORNImageVecInitEmpty(&vec);
    ORNImageVecInit(&vec, n);
    const int filled = vec.allocated < n ? vec.allocated : n;
    for (int i = 0; i < filled; ++i) {
        IPvMultiPartSection* section = container->GetPart(static_cast<uint32_t>(i));
        IPvImage* image = section != nullptr ? section->GetImage() : nullptr;
        if (image == nullptr) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Unexpected image null pointer");
            continue;
        }
        const int width = static_cast<int>(image->GetWidth());
        const int height = static_cast<int>(image->GetHeight());
        const PvPixelType pixel_type = image->GetPixelType();
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Image %d type 0x%x size %d x %d", i,
                 static_cast<unsigned>(pixel_type), width, height);
        // A pixel type without a known size leaves the entry empty.
        ORNImageInitData(&vec.image[i], width, height, ORN_ConvertPixelTypeToORN(pixel_type), image->GetDataPointer());
    }
    vec.used = filled;
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Image vector callback");
    callback(&vec, ornc_state::LoadField(&priv->imagevec_callback_data));
    ORNImageVecDestroy(&vec);
    ornc_state::ClearTriggered(&priv->acquistate);
}

// Takes one filled buffer (waiting up to `timeout_ms` for it), delivers it
// and requeues it. False when there was none to take (or the acquisition
// has stopped), so a pass goes no further.
bool ORNC_DeliverOneBuffer(ornc_priv_t* priv, uint32_t timeout_ms) {
    if (ornc_state::Load(&priv->acquistate).mode == ORNC_ACQUI_MODE_IDLE || priv->lStream == nullptr) {
        return false;
    }
    PvBuffer* buffer = nullptr;
    PvResult operation;
    const PvResult result = priv->lStream->RetrieveBuffer(&buffer, &operation, timeout_ms);
    if (result.GetCode() == PvResult::TIMEOUT) {
        return false;
    }
    if (!result.IsOK() || buffer == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_QUEUE, "ORNC: RetrieveBuffer: %d %s %s",
                 static_cast<int>(result.GetCode()), result.GetCodeString().GetAscii(),
                 result.GetDescription().GetAscii());
        return false;
    }
    if (operation.GetCode() == PvResult::ABORTED && ornc_state::Load(&priv->acquistate).mode == ORNC_ACQUI_MODE_IDLE) {
        // The acquisition stopped while this pass waited, and the abort
        // woke it: no transfer failed, the buffer just goes back.
        priv->lStream->QueueBuffer(buffer);
        return false;
    }
    if (!operation.IsOK()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Retrievebuffer operation %s",
                 operation.GetCodeString().GetAscii());
        void (*vec_callback)(orn_image_vec_t*, void*) = ornc_state::LoadField(&priv->imagevec_callback);
        if (vec_callback != nullptr) {
            vec_callback(nullptr, ornc_state::LoadField(&priv->imagevec_callback_data));
        }
        void (*image_callback)(orn_image_t*, void*) = ornc_state::LoadField(&priv->image_callback);
        if (image_callback != nullptr) {
            image_callback(nullptr, ornc_state::LoadField(&priv->image_callback_data));
        }
        ornc_state::ClearTriggered(&priv->acquistate);
        priv->lStream->QueueBuffer(buffer);
        return true;
    }

    // The stream's frame rate and bandwidth are not read here: the platform
    // keeps them current by itself, and a node-map read per pass would
    // only cost time on the delivery path.
    switch (buffer->GetPayloadType()) {
        case PvPayloadTypeImage: {
            const ORNC_FrameInDelivery delivering(priv, buffer);
            ORNC_DeliverSingleImage(priv, buffer);
            break;
        }
        case PvPayloadTypeMultiPart: {
            const ORNC_FrameInDelivery delivering(priv, buffer);
            ORNC_DeliverMultipart(priv, buffer);
            break;
        }
        default:
            // A pending software trigger stays pending until an image comes.
            ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER, "ORNC: Buffer does not contain image");
            break;
    }
    priv->lStream->QueueBuffer(buffer);
    return true;
}

}  // namespace

// The first buffer of a pass is waited for (1 ms in the base pacing, up to
// kPacedRetrieveTimeoutMs once the handle set its pacing), further ones
// are taken only if already filled.
void ORNC_AcquisitionFunc(void* userdata) {
    ornc_priv_t* priv = static_cast<ornc_priv_t*>(userdata);
    if (priv == nullptr) {
        return;
    }
    ORNCDelivering delivering(priv);
    const int buffers = ORNC_DeliveryBuffersPerPass(priv);
    const uint32_t first_wait_ms = ORNC_DeliveryPaced(priv) ? kPacedRetrieveTimeoutMs : kRetrieveTimeoutMs;
    for (int i = 0; i < buffers; ++i) {
        if (!ORNC_DeliverOneBuffer(priv, i == 0 ? first_wait_ms : 0)) {
            return;
        }
    }
}
