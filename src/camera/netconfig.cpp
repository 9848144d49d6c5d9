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
    const PvNetworkAdapter* adapter = ORNC_Adapter(interf);
    if (adapter == nullptr) {
        return ORNC_EmptyText(text, len);
    }
    return ORN_StringCopy(text, adapter->GetMACAddress().GetAscii(), len);
}

int ORNCInterfaceGetDefaultGateway(const ornc_interface_t* interf, char* text, int len) {
    const PvNetworkAdapter* adapter = ORNC_Adapter(interf);
    if (adapter == nullptr) {
        return ORNC_EmptyText(text, len);
    }
    return ORN_StringCopy(text, adapter->GetDefaultGateway().GetAscii(), len);
}

int ORNCInterfaceGetDescription(const ornc_interface_t* interf, char* text, int len) {
    const PvNetworkAdapter* adapter = ORNC_Adapter(interf);
    return ORN_StringCopy(text, adapter != nullptr ? adapter->GetDescription().GetAscii() : "", len);
}

int ORNCDeviceGetID(const ornc_device_t* device, char* text, int len) {
    if (device == nullptr) {
        return ORNC_EmptyText(text, len);
    }
    return ORN_StringCopy(text, ORNC_ToDeviceInfo(device)->GetDisplayID().GetAscii(), len);
}

int ORNCDeviceGetModelName(const ornc_device_t* device, char* text, int len) {
    if (device == nullptr) {
        return ORNC_EmptyText(text, len);
    }
    return ORN_StringCopy(text, ORNC_ToDeviceInfo(device)->GetModelName().GetAscii(), len);
}

int ORNCDeviceGetVendorName(const ornc_device_t* device, char* text, int len) {
    if (device == nullptr) {
        return ORNC_EmptyText(text, len);
    }
    return ORN_StringCopy(text, ORNC_ToDeviceInfo(device)->GetVendorName().GetAscii(), len);
}

int ORNCDeviceGetSerialNumber(const ornc_device_t* device, char* text, int len) {
    if (device == nullptr) {
        return ORNC_EmptyText(text, len);
    }
    return ORN_StringCopy(text, ORNC_ToDeviceInfo(device)->GetSerialNumber().GetAscii(), len);
}

int ORNCDeviceGetIPAddress(const ornc_device_t* device, char* text, int len) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return gev != nullptr ? ORN_StringCopy(text, gev->GetIPAddress().GetAscii(), len) : 0;
}

int ORNCDeviceGetMACAddress(const ornc_device_t* device, char* text, int len) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return gev != nullptr ? ORN_StringCopy(text, gev->GetMACAddress().GetAscii(), len) : 0;
}

int ORNCDeviceGetSubnetMask(const ornc_device_t* device, char* text, int len) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return gev != nullptr ? ORN_StringCopy(text, gev->GetSubnetMask().GetAscii(), len) : 0;
}

int ORNCDeviceGetDefaultGateway(const ornc_device_t* device, char* text, int len) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return gev != nullptr ? ORN_StringCopy(text, gev->GetDefaultGateway().GetAscii(), len) : 0;
}

orn_bool_t ORNCDeviceIsDHCPAvailable(const ornc_device_t* device) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return ORNC_Bool(gev != nullptr && gev->IsDHCPAvailable());
}

orn_bool_t ORNCDeviceIsDHCPEnabled(const ornc_device_t* device) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return ORNC_Bool(gev != nullptr && gev->IsDHCPEnabled());
}

orn_bool_t ORNCDeviceIsLLAAvailable(const ornc_device_t* device) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return ORNC_Bool(gev != nullptr && gev->IsLLAAvailable());
}

orn_bool_t ORNCDeviceIsLLAEnabled(const ornc_device_t* device) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return ORNC_Bool(gev != nullptr && gev->IsLLAEnabled());
}

orn_bool_t ORNCDeviceIsPersistentAvailable(const ornc_device_t* device) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return ORNC_Bool(gev != nullptr && gev->IsPersistentAvailable());
}

orn_bool_t ORNCDeviceIsPersistentEnabled(const ornc_device_t* device) {
    const PvDeviceInfoGEV* gev = ORNC_DeviceGEV(device);
    return ORNC_Bool(gev != nullptr && gev->IsPersistentEnabled());
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
