// A monitor: a handle connected without control. It reads everything the
// device's node maps offer while another handle or program may control
// the device; it opens no stream, no message channel and keeps no
// heartbeat. The platform refuses its writes before they are sent (its
// node maps are read-only as a whole), and the acquisition calls refuse
// a monitor.
#include "ORNCExt.h"
#include "base/log.h"
#include "camera/acquisition_internal.h"
#include "camera/components.h"
#include "camera/device_search.h"
#include "camera/ornc_priv.h"
#include "platform/PvDevice.h"
#include "platform/PvDeviceGEV.h"

extern "C" {

ornc_status_t ORNCConnectByDeviceMonitor(const ornc_t* ornc, const ornc_device_t* device) {
    const PvDeviceInfo* info = nullptr;
    ornc_status_t status = ORNC_CheckConnectTarget(ornc, device, &info);
    if (status == ORNC_OK && ornc->priv->lDevice != nullptr) {
        status = ORNC_ERR_DEVICE_CONNECT_FAILED;  // a connected handle disconnects first
    }
    if (status != ORNC_OK) {
        return status;
    }
    ornc_priv_t* priv = ornc->priv;
    PvResult result;
    priv->lDevice = PvDevice::CreateAndConnectMonitor(info, &result);
    if (priv->lDevice == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Monitor connect failed %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
        return ORNC_ERR_DEVICE_CONNECT_FAILED;
    }
    priv->monitor = 1;
    priv->lDeviceGEV = dynamic_cast<PvDeviceGEV*>(priv->lDevice);
    priv->lDeviceParams = priv->lDevice->GetParameters();
    priv->lCommunicationParams = priv->lDevice->GetCommunicationParameters();
    ORNC_LookupAcquisitionNodes(priv);
    ORNC_LookupComponentNodes(ornc);  // a device without them still reads
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Connected as a monitor");
    return ORNC_OK;
}

}  // extern "C"
