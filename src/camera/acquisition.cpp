// Starting and stopping acquisition on a connected handle, at two levels:
// the server (the acquisition worker, the optional description dump and
// the device event sink) and the acquisition itself (trigger and
// acquisition mode, the stream buffers at the current payload size, the
// device's streaming and its AcquisitionStart/AcquisitionStop commands).
#include <cstdio>

#include "ORNC.h"
#include "base/log.h"
#include "base/worker_thread.h"
#include "camera/acquisition_internal.h"
#include "camera/acquisition_state.h"
#include "camera/frame_tracking.h"
#include "camera/handle_casts.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "platform/PvBuffer.h"
#include "platform/PvDevice.h"
#include "platform/PvGenCommand.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvStream.h"

namespace {

// The state of a handle that may acquire; null with `*status` saying why
// not: `unset` for a null handle, ORNC_ERR_DEVICE_OPEN_FAILED for a
// monitor (it acquires nothing).
ornc_priv_t* ORNC_AcquiringState(const ornc_t* ornc, ornc_status_t unset, ornc_status_t* status) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        *status = unset;
        return nullptr;
    }
    *status = ornc->priv->monitor != 0 ? ORNC_ERR_DEVICE_OPEN_FAILED : ORNC_OK;
    return *status == ORNC_OK ? ornc->priv : nullptr;
}

constexpr uint32_t kStreamChannel = 0;
constexpr uint32_t kDrainTimeoutMs = 1;
// The drain before requeueing ends when the stream reports no queued
// buffer; a stream that never does (a transport fault) must not hold the
// start forever. Aborted buffers come back at once, so this is far more
// passes than any stream needs.
constexpr int kMaxDrainPasses = 4096;
constexpr const char* kDefaultDumpFile = "dump.xml.zip";

// Reads the device's current trigger mode when `triggermode` is negative,
// otherwise writes it (with FrameStart selected first for trigger on).
ornc_status_t ORNC_ApplyTriggerMode(ornc_t* ornc, int* triggermode) {
    ornc_priv_t* priv = ornc->priv;
    PvResult result;
    if (*triggermode < 0) {
        if (priv->lTriggerMode == nullptr) {
            *triggermode = 0;
            return ORNC_OK;
        }
        int64_t current = 0;
        result = priv->lTriggerMode->GetValue(current);
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Failed to set AcquisitionMode %d %s",
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
            return ORNC_ERR_PARAM_READ_FAILED;
        }
        *triggermode = static_cast<int>(current);
        return ORNC_OK;
    }
    if (*triggermode == 0) {
        return ORNCSetTriggerMode(ornc, 0);
    }
    if (priv->lTriggerSelector == nullptr) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER, "ORNC: No TriggerSelector present %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
    } else {
        const PvString frame_start("FrameStart");
        const PvGenEnumEntry* entry = nullptr;
        result = priv->lTriggerSelector->GetEntryByName(frame_start, &entry);
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER,
                     "ORNC: Failed to locate TriggerSelector FrameStart entry %d %s",
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
            return ORNC_ERR_ENUM_ENTRY_NOT_FOUND;
        }
        result = priv->lTriggerSelector->SetValue(frame_start);
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER,
                     "ORNC: Failed to select TriggerSelector FrameStart entry %d %s",
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
            return ORNC_ERR_PARAM_WRITE_FAILED;
        }
    }
    return ORNCSetTriggerMode(ornc, *triggermode);
}

// Reads the device's current acquisition mode when `acquimode` is
// negative, otherwise selects it by name.
ornc_status_t ORNC_ApplyAcquisitionMode(ornc_t* ornc, int* acquimode) {
    ornc_priv_t* priv = ornc->priv;
    if (*acquimode >= 0) {
        return ORNCSetAcquisitionMode(ornc, *acquimode);
    }
    if (priv->lAcquisitionMode == nullptr) {
        *acquimode = 0;
        return ORNC_OK;
    }
    int64_t current = 0;
    if (priv->lAcquisitionMode->GetValue(current).IsFailure()) {
        return ORNC_ERR_PARAM_READ_FAILED;
    }
    *acquimode = static_cast<int>(current);
    return ORNC_OK;
}

int ORNC_ReadPayloadSize(ornc_priv_t* priv) {
    int payload = 0;
    ornc_param_t* param = ORNCParamsGetParamByName(ORNC_FromParams(priv->lDeviceParams), "PayloadSize");
    if (param != nullptr) {
        ORNCParamGetIntegerValue(param, &payload);
    }
    return payload;
}

// Takes back every buffer the stream still holds (aborted ones come back
// with operation result ABORTED, which is expected and not logged).
void ORNC_DrainStream(ornc_priv_t* priv) {
    PvStream* stream = priv->lStream;
    for (int pass = 0; pass < kMaxDrainPasses && stream->GetQueuedBufferCount() != 0; ++pass) {
        PvBuffer* buffer = nullptr;
        PvResult operation;
        const PvResult result = stream->RetrieveBuffer(&buffer, &operation, kDrainTimeoutMs);
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: AcquisitionStart RetrieveBuffer fail %d %s",
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
        } else if (operation.IsFailure() && operation.GetCode() != PvResult::ABORTED) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER,
                     "ORNC: AcquisitionStart RetrieveBuffer op fail %d %s %s", static_cast<int>(operation.GetCode()),
                     operation.GetCodeString().GetAscii(), operation.GetDescription().GetAscii());
        }
    }
}

// Sizes every buffer of the list to `payload` (only where it differs) and
// queues it.
void ORNC_RequeueBuffers(ornc_priv_t* priv, int payload) {
    if (priv->lBufferList == nullptr) {
        return;
    }
    const uint32_t size = static_cast<uint32_t>(payload);
    for (PvBuffer* buffer : *priv->lBufferList) {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Realloc Buffer %p %d -> %d",
                 static_cast<void*>(buffer), static_cast<int>(buffer->GetSize()), payload);
        if (buffer->GetSize() != size) {
            buffer->Free();
            buffer->Alloc(size);
        }
        const PvResult result = priv->lStream->QueueBuffer(buffer);
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: AcquisitionStart QueueBuffer fail %d %s",
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
        } else {
            ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Buffer %p requeued", static_cast<void*>(buffer));
        }
    }
}

// The common start of ORNCAcquisitionStart and ORNCAcquisitionStartMode.
// acquimode: 0 continuous, 1 single frame, negative keeps the device's;
// triggermode: 0 off, 1 on, negative keeps the device's.
ornc_status_t ORNC_AcquisitionStart(ornc_t* ornc, int acquimode, int triggermode) {
    ORNCReading reading(ornc);
    ornc_status_t status = ORNC_OK;
    ornc_priv_t* priv = ORNC_AcquiringState(ornc, ORNC_ERR_UNINITIALIZED, &status);
    if (priv == nullptr) {
        return status;
    }
    if (ornc_state::Load(&priv->acquistate).mode != ORNC_ACQUI_MODE_IDLE) {
        return ORNC_ERR_ACQUI_ALREADY_STARTED;
    }
    // Without a server (ORNCStart) there is no worker to activate, and
    // without a connection nothing to start.
    if (priv->acquisition_thread.priv == nullptr || priv->lDevice == nullptr || priv->lStream == nullptr ||
        priv->lDeviceParams == nullptr || priv->lAcquisitionStart == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }

    status = ORNC_ApplyTriggerMode(ornc, &triggermode);
    if (status != ORNC_OK) {
        return status;
    }
    status = ORNC_ApplyAcquisitionMode(ornc, &acquimode);
    if (status != ORNC_OK) {
        return status;
    }

    const int payload = ORNC_ReadPayloadSize(priv);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Enabling streaming and sending AcquisitionStart command");
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Streaming: queued %d/%d Payload %d",
             static_cast<int>(priv->lStream->GetQueuedBufferCount()),
             static_cast<int>(priv->lStream->GetQueuedBufferMaximum()), payload);

    PvResult result = priv->lStream->AbortQueuedBuffers();
    ORNC_NewAcquisitionForFrames(priv);
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: AcquisitionStart AbortQueuedBuffers Fail %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
    }
    result = priv->lDeviceParams->DetachDataChunks();
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: AcquisitionStart DetachDataChunks Fail %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
    }
    if (payload >= 1) {
        ORNC_DrainStream(priv);
        ORNC_RequeueBuffers(priv, payload);
    }

    if (priv->lDevice->StreamEnable(kStreamChannel).IsFailure()) {
        return ORNC_ERROR;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Acquisition starting");
    result = priv->lAcquisitionStart->Execute();
    if (result.IsFailure()) {
        priv->lDevice->StreamDisable(kStreamChannel);
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Acquisition start failed %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
        return ORNC_ERR_COMMAND_FAILED;
    }

    // One write: trigger from the mode used, any non-zero acquisition mode
    // of the device counts as single frame, a pending trigger stays.
    ornc_acqui_state_t state = ornc_state::Load(&priv->acquistate);
    state.trig = static_cast<unsigned>(triggermode) & 1u;
    state.mode = acquimode == 0 ? ORNC_ACQUI_MODE_CONT : ORNC_ACQUI_MODE_SINGLE;
    ornc_state::Store(&priv->acquistate, state);

    ORNThreadActive(&priv->acquisition_thread, 1);
    return ORNC_OK;
}

}  // namespace

void ORNC_AbortQueuedBuffers(ornc_priv_t* priv) {
    if (priv->lStream == nullptr) {
        return;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Aborting %d buffers still in stream",
             static_cast<int>(priv->lStream->GetQueuedBufferCount()));
    priv->lStream->AbortQueuedBuffers();
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: After aborting %d buffers still in stream",
             static_cast<int>(priv->lStream->GetQueuedBufferCount()));
}

void ORNC_RetireWorker(ornc_priv_t* priv) {
    if (priv->acquisition_thread.priv == nullptr) {
        return;
    }
    ORNThreadStop(&priv->acquisition_thread);
    if (!ORN_ThreadAwaitEnd(&priv->acquisition_thread, kORNCWorkerEndWaitMs)) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_MISC, "ORNC: The acquisition worker did not end within %d ms",
                 kORNCWorkerEndWaitMs);
    }
    ORNThreadDestroy(&priv->acquisition_thread);
    priv->acquisition_thread.priv = nullptr;
}

extern "C" {

ornc_status_t ORNCStart(ornc_t* ornc) {
    ORNCReading reading(ornc);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Starting server");
    ornc_status_t refused = ORNC_OK;
    ornc_priv_t* priv = ORNC_AcquiringState(ornc, ORNC_ERR_UNINITIALIZED, &refused);
    if (priv == nullptr) {
        return refused;
    }
    // A worker left by an earlier server may still be ending (ORNCStop
    // only asks it to end): starting it again in that instant would be
    // lost, leaving no worker at all. So it is retired first (after any
    // delivery in progress) and a fresh one takes its place.
    ORNC_RetireWorker(priv);
    orn_status_t status =
        ORNThreadInit(&priv->acquisition_thread, ORNC_AcquisitionFunc, priv, ORNC_DeliveryPeriodMs(priv));
    if (status != ORN_OK) {
        return status;
    }
    ORNC_ApplyDeliveryPacing(priv);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: Acquisition thread initialized");
    status = ORNThreadStart(&priv->acquisition_thread);
    if (status != ORN_OK) {
        return status;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: Acquisition thread started");

    if (priv->dump_xml != 0 && priv->lDevice != nullptr) {
        const char* file = priv->dump_xml_file[0] != '\0' ? priv->dump_xml_file : kDefaultDumpFile;
        if (priv->lDevice->DumpGenICamXML(PvString(file)).IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Error when dumping xml file");
        }
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: XML dumped");
    }

    ORNC_AttachEventSink(priv);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Server started");
    return ORNC_OK;
}

// Waits for a running delivery to return before the device is stopped.
// `mode` stays as it was: a running acquisition still counts as started.
ornc_status_t ORNCStop(ornc_t* ornc) {
    ORNCReading reading(ornc);
    ornc_status_t status = ORNC_OK;
    ornc_priv_t* priv = ORNC_AcquiringState(ornc, ORNC_OK, &status);
    if (priv == nullptr) {
        return status;
    }
    ORNThreadStop(&priv->acquisition_thread);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Sending AcquisitionStop command to the device");
    if (priv->lAcquisitionStop != nullptr) {
        priv->lAcquisitionStop->Execute();
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Disable streaming on the controller");
    if (priv->lDevice != nullptr) {
        priv->lDevice->StreamDisable(kStreamChannel);
    }
    ornc_state::ClearTriggered(&priv->acquistate);
    ORNC_AbortQueuedBuffers(priv);
    return ORNC_OK;
}

ornc_status_t ORNCAcquisitionStart(ornc_t* ornc) { return ORNC_AcquisitionStart(ornc, -1, -1); }

ornc_status_t ORNCAcquisitionStartMode(ornc_t* ornc, int mode, int triggered) {
    return ORNC_AcquisitionStart(ornc, mode, triggered);
}

// Only deactivates the worker: a delivery in progress finishes on its own
// while the device is stopped.
ornc_status_t ORNCAcquisitionStop(ornc_t* ornc) {
    ORNCReading reading(ornc);
    ornc_status_t status = ORNC_OK;
    ornc_priv_t* priv = ORNC_AcquiringState(ornc, ORNC_ERR_UNINITIALIZED, &status);
    if (priv == nullptr) {
        return status;
    }
    if (ornc_state::Load(&priv->acquistate).mode == ORNC_ACQUI_MODE_IDLE) {
        return ORNC_ERR_ACQUI_NOT_STARTED;
    }
    ORNThreadActive(&priv->acquisition_thread, 0);
    if (priv->lAcquisitionStop == nullptr || priv->lAcquisitionStop->Execute().IsFailure()) {
        return ORNC_ERR_COMMAND_FAILED;
    }
    if (priv->lDevice == nullptr || priv->lDevice->StreamDisable(kStreamChannel).IsFailure()) {
        return ORNC_ERROR;
    }
    ornc_acqui_state_t state = ornc_state::Load(&priv->acquistate);
    state.triggered = 0;
    state.mode = ORNC_ACQUI_MODE_IDLE;
    ornc_state::Store(&priv->acquistate, state);
    ORNC_AbortQueuedBuffers(priv);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "Acquisition stopped");
    return ORNC_OK;
}

void ORNC_ReallocateBuffers(ornc_priv_t* priv) {
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Reallocateing buffers");
    if (priv == nullptr || priv->lBufferList == nullptr) {
        return;
    }
    for (PvBuffer* buffer : *priv->lBufferList) {
        ORNC_ReallocateBuffer(buffer);
    }
}

void ORNC_ReallocateBuffer(PvBuffer* buf) {
    if (buf != nullptr) {
        buf->Reset(PvPayloadTypeImage);
    }
}

}  // extern "C"
