// Adapter and device details, access type and immediate IP configuration.
#include "ORNC.h"
#include "base/log.h"
#include "camera/handle_casts.h"
#include "platform/PvDeviceGEV.h"
#include "platform/PvDeviceInfoGEV.h"
#include "platform/PvNetworkAdapter.h"

namespace {

const PvNetworkAdapter* ORNC_Adapter(const ornc_interface_t* interf) {
    return interf != nullptr ? dynamic_cast<const PvNetworkAdapter*>(ORNC_ToInterface(interf)) : nullptr;
}

const PvDeviceInfoGEV* ORNC_DeviceGEV(const ornc_device_t* device) {
    return device != nullptr ? dynamic_cast<const PvDeviceInfoGEV*>(ORNC_ToDeviceInfo(device)) : nullptr;
}

// The failure answer of the text getters: an empty text where there is
// room for one, and 0.
int ORNC_EmptyText(char* text, int len) {
    if (text != nullptr && len >= 1) {
        text[0] = '\0';
    }
    return 0;
}

orn_bool_t ORNC_Bool(bool value) { return value ? 1 : 0; }

using AdapterText = const PvString& (PvNetworkAdapter::*)() const;
using DeviceText = const PvString& (PvDeviceInfo::*)() const;
using DeviceGEVText = const PvString& (PvDeviceInfoGEV::*)() const;
using DeviceGEVFlag = bool (PvDeviceInfoGEV::*)() const;

// An adapter's or a device's text: empty for a null handle.
int ORNC_AdapterText(const ornc_interface_t* interf, AdapterText getter, char* text, int len) {
    const PvNetworkAdapter* adapter = ORNC_Adapter(interf);
    return adapter != nullptr ? ORN_StringCopy(text, (adapter->*getter)().GetAscii(), len) : ORNC_EmptyText(text, len);
}

int ORNC_DeviceText(const ornc_device_t* device, DeviceText getter, char* text, int len) {
    return device != nullptr ? ORN_StringCopy(text, (ORNC_ToDeviceInfo(device)->*getter)().GetAscii(), len)
                             : ORNC_EmptyText(text, len);
}

// The network texts and flags of a GigE Vision device; for another device
// 0 and false, the text left as it is.
int ORNC_DeviceGEVText(const ornc_device_t* device, DeviceGEVText getter, char* text, int len) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return gev != nullptr ? ORN_StringCopy(text, (gev->*getter)().GetAscii(), len) : 0;
}

orn_bool_t ORNC_DeviceGEVFlag(const ornc_device_t* device, DeviceGEVFlag flag) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return ORNC_Bool(gev != nullptr && (gev->*flag)());
}

}  // namespace

extern "C" {

int ORNCInterfaceGetIPAddressCount(const ornc_interface_t* interf) {
    const PvNetworkAdapter* adapter = ORNC_Adapter(interf);
    return adapter != nullptr ? static_cast<int>(adapter->GetIPAddressCount()) : 0;
}

int ORNCInterfaceGetIPAddress(const ornc_interface_t* interf, int i, char* text, int len) {
    const PvNetworkAdapter* adapter = ORNC_Adapter(interf);
    if (adapter == nullptr || i < 0 || len < 0) {
        return ORNC_EmptyText(text, len);
    }
    return ORN_StringCopy(text, adapter->GetIPAddress(static_cast<uint32_t>(i)).GetAscii(), len);
}

int ORNCInterfaceGetSubnetMask(const ornc_interface_t* interf, int i, char* text, int len) {
    const PvNetworkAdapter* adapter = ORNC_Adapter(interf);
    if (adapter == nullptr || i < 0) {
        return ORNC_EmptyText(text, len);
    }
    return ORN_StringCopy(text, adapter->GetSubnetMask(static_cast<uint32_t>(i)).GetAscii(), len);
}

int ORNCInterfaceGetMACAddress(const ornc_interface_t* interf, char* text, int len) {
    return ORNC_AdapterText(interf, &PvNetworkAdapter::GetMACAddress, text, len);
}

int ORNCInterfaceGetDefaultGateway(const ornc_interface_t* interf, char* text, int len) {
    return ORNC_AdapterText(interf, &PvNetworkAdapter::GetDefaultGateway, text, len);
}

int ORNCInterfaceGetDescription(const ornc_interface_t* interf, char* text, int len) {
    const PvNetworkAdapter* adapter = ORNC_Adapter(interf);
    return ORN_StringCopy(text, adapter != nullptr ? adapter->GetDescription().GetAscii() : "", len);
}

int ORNCDeviceGetID(const ornc_device_t* device, char* text, int len) {
    return ORNC_DeviceText(device, &PvDeviceInfo::GetDisplayID, text, len);
}

int ORNCDeviceGetModelName(const ornc_device_t* device, char* text, int len) {
    return ORNC_DeviceText(device, &PvDeviceInfo::GetModelName, text, len);
}

int ORNCDeviceGetVendorName(const ornc_device_t* device, char* text, int len) {
    return ORNC_DeviceText(device, &PvDeviceInfo::GetVendorName, text, len);
}

int ORNCDeviceGetSerialNumber(const ornc_device_t* device, char* text, int len) {
    return ORNC_DeviceText(device, &PvDeviceInfo::GetSerialNumber, text, len);
}

int ORNCDeviceGetIPAddress(const ornc_device_t* device, char* text, int len) {
    return ORNC_DeviceGEVText(device, &PvDeviceInfoGEV::GetIPAddress, text, len);
}

int ORNCDeviceGetMACAddress(const ornc_device_t* device, char* text, int len) {
    return ORNC_DeviceGEVText(device, &PvDeviceInfoGEV::GetMACAddress, text, len);
}

int ORNCDeviceGetSubnetMask(const ornc_device_t* device, char* text, int len) {
    return ORNC_DeviceGEVText(device, &PvDeviceInfoGEV::GetSubnetMask, text, len);
}

int ORNCDeviceGetDefaultGateway(const ornc_device_t* device, char* text, int len) {
    return ORNC_DeviceGEVText(device, &PvDeviceInfoGEV::GetDefaultGateway, text, len);
}

orn_bool_t ORNCDeviceIsDHCPAvailable(const ornc_device_t* device) {
    return ORNC_DeviceGEVFlag(device, &PvDeviceInfoGEV::IsDHCPAvailable);
}

orn_bool_t ORNCDeviceIsDHCPEnabled(const ornc_device_t* device) {
    return ORNC_DeviceGEVFlag(device, &PvDeviceInfoGEV::IsDHCPEnabled);
}

orn_bool_t ORNCDeviceIsLLAAvailable(const ornc_device_t* device) {
    return ORNC_DeviceGEVFlag(device, &PvDeviceInfoGEV::IsLLAAvailable);
}

orn_bool_t ORNCDeviceIsLLAEnabled(const ornc_device_t* device) {
    return ORNC_DeviceGEVFlag(device, &PvDeviceInfoGEV::IsLLAEnabled);
}

orn_bool_t ORNCDeviceIsPersistentAvailable(const ornc_device_t* device) {
    return ORNC_DeviceGEVFlag(device, &PvDeviceInfoGEV::IsPersistentAvailable);
}

orn_bool_t ORNCDeviceIsPersistentEnabled(const ornc_device_t* device) {
    return ORNC_DeviceGEVFlag(device, &PvDeviceInfoGEV::IsPersistentEnabled);
}

ornc_status_t ORNCDeviceGetGEVVersion(const ornc_device_t* device, int* majorpt, int* minorpt) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    if (gev == nullptr) {
        return ORNC_ERROR;
    }
    const uint32_t version = gev->GetGEVVersion();
    if (majorpt != nullptr) {
        *majorpt = static_cast<int>(version >> 16);
    }
    if (minorpt != nullptr) {
        *minorpt = static_cast<int>(version & 0xFFFFu);
    }
    return ORNC_OK;
}

ornc_access_type_t ORNCGetAccessTypeByIPAddress(const char* ip) {
    if (ip == nullptr || ip[0] == '\0') {
        return ORNC_ACCESS_TYPE_UNKNOWN;
    }
    PvAccessType type = PvAccessUnknown;
    const PvResult result = PvDeviceGEV::GetAccessType(PvString(ip), type);
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: GetAccessType failed");
        return ORNC_ACCESS_TYPE_UNKNOWN;
    }
    // By name: the two numberings differ for read-only and exclusive.
    switch (type) {
        case PvAccessOpen:
            return ORNC_ACCESS_TYPE_OPEN;
        case PvAccessControl:
            return ORNC_ACCESS_TYPE_CONTROL;
        case PvAccessReadOnly:
            return ORNC_ACCESS_TYPE_READONLY;
        case PvAccessExclusive:
            return ORNC_ACCESS_TYPE_EXCLUSIVE;
        case PvAccessUnknown:
            break;
    }
    return ORNC_ACCESS_TYPE_UNKNOWN;
}

ornc_status_t ORNCDeviceSetIPConfiguration(const ornc_device_t* device, const char* ip, const char* mask,
                                           const char* gateway) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    if (gev == nullptr) {
        return ORNC_ERROR;
    }
    const PvResult result =
        PvDeviceGEV::SetIPConfiguration(gev->GetMACAddress(), PvString(ip), PvString(mask), PvString(gateway));
    return result.IsOK() ? ORNC_OK : ORNC_ERROR;
}

}  // extern "C"
