// Connecting a library handle to one device: control channel, stream
// channel pointed at this host, stream buffers, the acquisition nodes, the
// three node maps, multipart transfer and the component table; and the
// way back. Connect never rolls back: whatever it built before a failure
// stays in the handle until ORNCDisconnect, which copes with every partly
// built state (a failed component discovery still leaves a usable
// connection).
#include <cstdio>

#include "ORNC.h"
#include "base/log.h"
#include "camera/acquisition_internal.h"
#include "camera/components.h"
#include "camera/device_search.h"
#include "camera/handle_casts.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "camera/param_internal.h"
#include "camera/recovery.h"
#include "platform/PvBuffer.h"
#include "platform/PvDevice.h"
#include "platform/PvDeviceGEV.h"
#include "platform/PvGenBoolean.h"
#include "platform/PvGenCommand.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenFloat.h"
#include "platform/PvGenInteger.h"
#include "platform/PvStream.h"
#include "platform/PvStreamGEV.h"

namespace {

// More buffers than this gain nothing at the frame rates of the sensors.
constexpr uint32_t kMaxStreamBuffers = 16;
constexpr uint32_t kStreamChannel = 0;

const char* ORNC_KeyText(const char* key) { return key != nullptr && key[0] != '\0' ? key : "(empty)"; }

// The node `name` of `params` as the kind `Node`; null when it is absent or
// of another kind.
template <typename Node>
Node* ORNC_Lookup(PvGenParameterArray* params, const char* name) {
    return params != nullptr ? dynamic_cast<Node*>(params->Get(PvString(name))) : nullptr;
}

// Points the device's stream channel at the host end of the stream.
void ORNC_ConfigureStream(ornc_priv_t* priv) {
    priv->lDeviceGEV = dynamic_cast<PvDeviceGEV*>(priv->lDevice);
    if (priv->lDeviceGEV == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Not a GEV device in ConfigureStream");
        return;
    }
    priv->lStreamGEV = dynamic_cast<PvStreamGEV*>(priv->lStream);
    const PvResult result = priv->lDeviceGEV->NegotiatePacketSize(kStreamChannel, 0);
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Failed to negociate packet size %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
    }
    if (priv->lStreamGEV != nullptr) {
        priv->lDeviceGEV->SetStreamDestination(priv->lStreamGEV->GetLocalIPAddress(), priv->lStreamGEV->GetLocalPort(),
                                               kStreamChannel);
    }
}

// Allocates the stream buffers at the current payload size and queues
// every buffer of the list (a reconnect without disconnect queues the old
// ones too).
void ORNC_CreateStreamBuffers(ornc_priv_t* priv) {
    const uint32_t size = priv->lDevice->GetPayloadSize();
    const uint32_t maximum = priv->lStream->GetQueuedBufferMaximum();
    const uint32_t count = maximum < kMaxStreamBuffers ? maximum : kMaxStreamBuffers;
    if (priv->lBufferList == nullptr) {
        priv->lBufferList = new BufferList;
    }
    for (uint32_t i = 0; i < count; ++i) {
        PvBuffer* buffer = new PvBuffer(PvPayloadTypeImage);
        buffer->Alloc(size);
        priv->lBufferList->push_back(buffer);
    }
    for (PvBuffer* buffer : *priv->lBufferList) {
        priv->lStream->QueueBuffer(buffer);
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Streaming buffers created");
}

}  // namespace

void ORNC_LookupAcquisitionNodes(ornc_priv_t* priv) {
    PvGenParameterArray* params = priv->lDeviceParams;
    priv->lAcquisitionStart = ORNC_Lookup<PvGenCommand>(params, "AcquisitionStart");
    priv->lAcquisitionStop = ORNC_Lookup<PvGenCommand>(params, "AcquisitionStop");
    priv->lAcquisitionMode = ORNC_Lookup<PvGenEnum>(params, "AcquisitionMode");
    priv->lTriggerMode = ORNC_Lookup<PvGenEnum>(params, "TriggerMode");
    priv->lTriggerSoftware = ORNC_Lookup<PvGenCommand>(params, "TriggerSoftware");
    priv->lTriggerSource = ORNC_Lookup<PvGenEnum>(params, "TriggerSource");
    priv->lTriggerSelector = ORNC_Lookup<PvGenEnum>(params, "TriggerSelector");
}

namespace {

void ORNC_DumpParameters(PvGenParameterArray* params, const char* title) {
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: --- %s PARAMS -----------------", title);
    const uint32_t count = params != nullptr ? params->GetCount() : 0;
    for (uint32_t i = 0; i < count; ++i) {
        ORNC_DumpParameter(static_cast<int>(i), params->Get(i));
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: --- END %s PARAMS -----------------", title);
}

// Multipart transfer on stream channel 0. Nothing here stops the connect:
// a device without multipart still streams single images.
void ORNC_EnableMultipart(ornc_priv_t* priv) {
    PvGenInteger* selector = ORNC_Lookup<PvGenInteger>(priv->lDeviceParams, "GevStreamChannelSelector");
    PvGenBoolean* multipart = ORNC_Lookup<PvGenBoolean>(priv->lDeviceParams, "GevSCCFGMultiPartEnabled");
    if (selector == nullptr || multipart == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Enabling multipart failed");
        return;
    }
    const bool selected = selector->SetValue(kStreamChannel).IsOK();
    if (!selected) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Writing to GevStreamChannelSelector failed");
    }
    const bool enabled = multipart->SetValue(true).IsOK();
    if (!enabled) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Writing to GevSCCFGMultiPartEnabled failed");
    }
    if (selected && enabled) {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: Multipart enabled");
    }
}

}  // namespace

ornc_status_t ORNC_CheckConnectTarget(const ornc_t* ornc, const ornc_device_t* device, const PvDeviceInfo** info) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (device == nullptr) {
        return ORNC_ERR_DEVICE_NOT_FOUND;
    }
    *info = ORNC_ToDeviceInfo(device);
    if (!ORNC_IsAllowedDevice(*info, nullptr, 0, 0)) {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "Device %s not supported", (*info)->GetModelName().GetAscii());
        return ORNC_ERR_DEVICE_UNSUPPORTED;
    }
    return ORNC_OK;
}

extern "C" {

ornc_status_t ORNCConnectByDevice(const ornc_t* ornc, const ornc_device_t* device) {
    const PvDeviceInfo* info = nullptr;
    const ornc_status_t checked = ORNC_CheckConnectTarget(ornc, device, &info);
    if (checked != ORNC_OK) {
        return checked;
    }
    ornc_priv_t* priv = ornc->priv;

    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Connecting to device");
    PvResult result;
    priv->lDevice = PvDevice::CreateAndConnect(info, &result);
    if (priv->lDevice == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Unable to connect to device");
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Device connect failed");
        return ORNC_ERR_DEVICE_CONNECT_FAILED;
    }

    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Opening stream from device");
    priv->lStream = PvStream::CreateAndOpen(info, &result);
    if (priv->lStream == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Unable to stream from device");
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Stream open failed");
        return ORNC_ERR_STREAM_OPEN_FAILED;
    }

    ORNC_ConfigureStream(priv);
    ORNC_CreateStreamBuffers(priv);

    priv->lDeviceParams = priv->lDevice->GetParameters();
    ORNC_LookupAcquisitionNodes(priv);
    priv->lStreamParams = priv->lStream->GetParameters();
    priv->lCommunicationParams = priv->lDevice->GetCommunicationParameters();

    if (ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM)) {
        ORNC_DumpParameters(priv->lStreamParams, "STREAM");
        ORNC_DumpParameters(priv->lDeviceParams, "DEVICE");
        ORNC_DumpParameters(priv->lCommunicationParams, "COMMUNICATION");
    }

    priv->lFrameRate = ORNC_Lookup<PvGenFloat>(priv->lStreamParams, "AcquisitionRate");
    priv->lBandwidth = ORNC_Lookup<PvGenFloat>(priv->lStreamParams, "Bandwidth");

    ORNC_EnableMultipart(priv);
    const ornc_status_t status = ORNC_InitComponents(ornc);
    ORNC_RecoveryConnected(priv, info);
    return status;
}

ornc_status_t ORNCConnectBySerialNumber(const ornc_t* ornc, const ornc_system_t* sys, const char* sn) {
    if (ornc == nullptr) {
        return ORNC_ERROR;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Connecting by serial number %s", ORNC_KeyText(sn));
    return ORNCConnectByDevice(ornc, ORNCSysGetDeviceBySerialNumber(sys, sn));
}

ornc_status_t ORNCConnectByPattern(const ornc_t* ornc, const ornc_system_t* sys, const char* pattern) {
    if (ornc == nullptr) {
        return ORNC_ERROR;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Connecting by pattern %s", ORNC_KeyText(pattern));
    return ORNCConnectByDevice(ornc, ORNCSysGetDeviceByPattern(sys, pattern));
}

ornc_status_t ORNCConnectByIPAddress(const ornc_t* ornc, const ornc_system_t* sys, const char* ip) {
    if (ornc == nullptr) {
        return ORNC_ERROR;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Connecting by ip address %s", ORNC_KeyText(ip));
    return ORNCConnectByDevice(ornc, ORNCSysGetDeviceByIP(sys, ip));
}

// Leaves the node pointers, node maps, callbacks, acquisition state and
// component table as they are (the maps die with the device and stream;
// the next connect overwrites the pointers and appends to the table).
ornc_status_t ORNCDisconnect(ornc_t* ornc) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    ornc_priv_t* priv = ornc->priv;
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Disconnecting");
    ORNC_RecoveryCancel(priv);
    // The link loss this disconnect causes is not news to the application.
    ORNC_DisableDisconnectNotification(priv);

    // No image callback may run while the stream and its buffers go.
    ORNC_RetireWorker(priv);
    if (priv->lStream != nullptr) {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Closing stream");
        priv->lStream->Close();
        PvStream::Free(priv->lStream);
        priv->lStream = nullptr;
    }
    if (priv->lDevice != nullptr) {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Disconnecting device");
        priv->lDevice->Disconnect();
        PvDevice::Free(priv->lDevice);
        priv->lDevice = nullptr;
    }
    if (priv->lBufferList != nullptr) {
        for (PvBuffer* buffer : *priv->lBufferList) {
            delete buffer;
        }
        delete priv->lBufferList;
        priv->lBufferList = nullptr;
    }
    // Again, for a notification that raced with the teardown above.
    ORNC_DisableDisconnectNotification(priv);
    priv->monitor = 0;
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Disconnected");
    return ORNC_OK;
}

ornc_status_t ORNCDumpXML(ornc_t* ornc, const char* filename) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr || filename == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    const PvResult result = ornc->priv->lDevice != nullptr ? ornc->priv->lDevice->DumpGenICamXML(PvString(filename))
                                                           : PvResult(PvResult::NOT_CONNECTED);
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: ORNCDumpXML %d %s\n", static_cast<int>(result.GetCode()),
                 result.GetDescription().GetAscii());
        return ORNC_ERROR;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: XML dumped");
    return ORNC_OK;
}

}  // extern "C"
