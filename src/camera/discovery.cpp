// The system handle, discovery and the selection of one device.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "ORNC.h"
#include "base/log.h"
#include "camera/device_search.h"
#include "camera/handle_casts.h"
#include "camera/system_priv.h"
#include "platform/PvDeviceInfoGEV.h"
#include "platform/PvNetworkAdapter.h"
#include "platform/PvSystem.h"

namespace {

// Shared system handle for calls made without one.
ornc_system_t tmpsys = {nullptr};
// States that tmpsys held before its latest renewal: device handles handed
// out from them may still be in use, so they live until ORNCDestroy.
std::vector<ornc_system_priv_t*> retired_tmpsys_states;

bool ORNC_SysReady(const ornc_system_t* sys) {
    return sys != nullptr && sys->priv != nullptr && sys->priv->system != nullptr;
}

const PvNetworkAdapter* ORNC_AsNetworkAdapter(const PvInterface* interf) {
    return dynamic_cast<const PvNetworkAdapter*>(interf);
}

}  // namespace

ornc_system_t* ORNC_RenewTmpSys() {
    if (tmpsys.priv != nullptr) {
        retired_tmpsys_states.push_back(tmpsys.priv);
        tmpsys.priv = nullptr;
    }
    ORNCSysInit(&tmpsys);
    return &tmpsys;
}

void ORNC_ReleaseTmpSys() {
    if (tmpsys.priv != nullptr) {
        ORNCSysDestroy(&tmpsys);
    }
    for (ornc_system_priv_t* state : retired_tmpsys_states) {
        ornc_system_t retired = {state};
        ORNCSysDestroy(&retired);
    }
    retired_tmpsys_states.clear();
}

bool ORNC_SelectPattern(const PvDeviceInfo* device, const char* pattern) {
    if (pattern == nullptr || pattern[0] == '\0') {
        return true;
    }
    return device != nullptr && std::strstr(device->GetDisplayID().GetAscii(), pattern) != nullptr;
}

bool ORNC_SelectIP(const PvDeviceInfo* device, const char* ip) {
    const auto* gev = dynamic_cast<const PvDeviceInfoGEV*>(device);
    return gev != nullptr && ip != nullptr && gev->GetIPAddress() == PvString(ip);
}

bool ORNC_SelectSerial(const PvDeviceInfo* device, const char* sn) {
    return device != nullptr && sn != nullptr && device->GetSerialNumber() == PvString(sn);
}

const PvDeviceInfo* ORNC_FindDevice(const ornc_system_t* sys, ORNC_SelectFunc select, const char* select_data, int nth,
                                    const ornc_interface_t* onlyinterf, int* count) {
    if (count != nullptr) {
        *count = 0;
    }
    if (sys == nullptr) {
        sys = ORNC_RenewTmpSys();
    }
    if (!ORNC_SysReady(sys)) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Device not found");
        return nullptr;
    }
    if (sys->priv->system->GetDeviceCount() < 1) {
        ORNCSysFindDevices(sys);
        if (sys->priv->system->GetDeviceCount() < 1) {
            ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: No devices found");
            return nullptr;
        }
    }
    const int interfaces = onlyinterf != nullptr ? 1 : ORNCSysGetInterfaceCount(sys);
    if (interfaces <= 0) {
        if (count != nullptr) {
            *count = 0;
            ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: %d matching devices found", 0);
        } else {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Device not found");
        }
        return nullptr;
    }
    int matches = 0;
    for (int i = 0; i < interfaces; ++i) {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Find iterate device interface %d/%d", i + 1, interfaces);
        const PvInterface* interf =
            onlyinterf != nullptr ? ORNC_ToInterface(onlyinterf) : ORNC_ToInterface(ORNCSysGetInterface(sys, i));
        if (interf == nullptr) {
            break;
        }
        const int devices = static_cast<int>(interf->GetDeviceCount());
        for (int j = 0; j < devices; ++j) {
            ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Find iterate device %d/%d", j + 1, devices);
            const PvDeviceInfo* device = interf->GetDeviceInfo(static_cast<uint32_t>(j));
            if (device == nullptr) {
                break;
            }
            // The predicate first: the model file is read only for devices
            // the caller asked about.
            if (!select(device, select_data) || !ORNC_IsAllowedDevice(device, interf, devices, j)) {
                continue;
            }
            if (nth < 0 || nth == matches) {
                ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Found device %s",
                         device->GetDisplayID().GetAscii());
                if (count == nullptr) {
                    return device;
                }
            }
            ++matches;
        }
    }
    if (count != nullptr) {
        *count = matches;
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: %d matching devices found", matches);
    } else {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Device not found");
    }
    return nullptr;
}

extern "C" {

ornc_status_t ORNCSysInit(ornc_system_t* sys) {
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Initializing system");
    if (sys == nullptr) {
        return ORNC_ERROR;
    }
    sys->priv = static_cast<ornc_system_priv_t*>(std::calloc(1, sizeof(ornc_system_priv_t)));
    if (sys->priv == nullptr) {
        return ORNC_ERR_OUT_OF_MEMORY;
    }
    sys->priv->system = new (std::nothrow) PvSystem();
    return ORNC_OK;
}

void ORNCSysDestroy(ornc_system_t* sys) {
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Destroying system");
    if (sys == nullptr) {
        return;
    }
    if (sys->priv != nullptr) {
        delete sys->priv->system;
        std::free(sys->priv);
    }
    sys->priv = nullptr;
}

ornc_status_t ORNCSysFindDevices(const ornc_system_t* sys) {
    if (!ORNC_SysReady(sys)) {
        return ORNC_ERR_UNINITIALIZED;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Finding devices");
    const PvResult result = sys->priv->system->Find();
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Finding devices failed %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
        return ORNC_ERROR;
    }
    sys->priv->find_devices_available = 1;
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Devices retrieved");
    return ORNC_OK;
}

int ORNCSysGetInterfaceCount(const ornc_system_t* sys) {
    if (!ORNC_SysReady(sys)) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (sys->priv->find_devices_available == 0) {
        const ornc_status_t status = ORNCSysFindDevices(sys);
        if (status != ORNC_OK) {
            return status;
        }
    }
    const PvSystem* system = sys->priv->system;
    int adapters = 0;
    for (uint32_t i = 0; i < system->GetInterfaceCount(); ++i) {
        if (ORNC_AsNetworkAdapter(system->GetInterface(i)) != nullptr) {
            ++adapters;
        }
    }
    return adapters;
}

const ornc_interface_t* ORNCSysGetInterface(const ornc_system_t* sys, int nr) {
    if (!ORNC_SysReady(sys)) {
        return nullptr;
    }
    if (sys->priv->find_devices_available == 0 && ORNCSysFindDevices(sys) != ORNC_OK) {
        return nullptr;
    }
    if (nr < 0) {
        return nullptr;
    }
    const PvSystem* system = sys->priv->system;
    int position = 0;
    for (uint32_t i = 0; i < system->GetInterfaceCount(); ++i) {
        const PvInterface* interf = system->GetInterface(i);
        if (ORNC_AsNetworkAdapter(interf) == nullptr) {
            continue;
        }
        if (position == nr) {
            return ORNC_FromInterface(interf);
        }
        ++position;
    }
    return nullptr;
}

int ORNCSysGetDeviceCount(const ornc_system_t* sys) {
    if (sys != nullptr) {
        if (!ORNC_SysReady(sys)) {
            return ORNC_ERR_UNINITIALIZED;
        }
        if (sys->priv->find_devices_available == 0 && ORNCSysFindDevices(sys) != ORNC_OK) {
            return 0;
        }
    }
    int count = 0;
    ORNC_FindDevice(sys, ORNC_SelectPattern, nullptr, -1, nullptr, &count);
    return count;
}

const ornc_device_t* ORNCSysGetDevice(const ornc_system_t* sys, int nr) {
    if (nr < 0) {
        return nullptr;
    }
    if (sys != nullptr) {
        if (!ORNC_SysReady(sys)) {
            return nullptr;
        }
        if (sys->priv->find_devices_available == 0 && ORNCSysFindDevices(sys) != ORNC_OK) {
            return nullptr;
        }
    }
    return ORNC_FromDeviceInfo(ORNC_FindDevice(sys, ORNC_SelectPattern, nullptr, nr, nullptr, nullptr));
}

int ORNCInterfaceGetDeviceCount(const ornc_system_t* sys, const ornc_interface_t* interf) {
    // Without an adapter the search covers all of them.
    int count = 0;
    ORNC_FindDevice(sys, ORNC_SelectPattern, nullptr, -1, interf, &count);
    return count;
}

const ornc_device_t* ORNCInterfaceGetDevice(const ornc_system_t* sys, const ornc_interface_t* interf, int nr) {
    return ORNC_FromDeviceInfo(ORNC_FindDevice(sys, ORNC_SelectPattern, nullptr, nr, interf, nullptr));
}

const ornc_device_t* ORNCSysGetDeviceByPattern(const ornc_system_t* sys, const char* pattern) {
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Getting device by pattern");
    return ORNC_FromDeviceInfo(ORNC_FindDevice(sys, ORNC_SelectPattern, pattern, -1, nullptr, nullptr));
}

const ornc_device_t* ORNCSysGetDeviceBySerialNumber(const ornc_system_t* sys, const char* sn) {
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Getting device by serial number");
    return ORNC_FromDeviceInfo(ORNC_FindDevice(sys, ORNC_SelectSerial, sn, -1, nullptr, nullptr));
}

const ornc_device_t* ORNCSysGetDeviceByIP(const ornc_system_t* sys, const char* ip) {
    if (ip == nullptr || ip[0] == '\0') {
        return nullptr;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Getting device by ip");
    int parts[4] = {0, 0, 0, 0};
    if (std::sscanf(ip, "%d.%d.%d.%d", &parts[0], &parts[1], &parts[2], &parts[3]) != 4) {
        return nullptr;
    }
    for (int part : parts) {
        if (static_cast<unsigned int>(part) > 255u) {
            return nullptr;
        }
    }
    return ORNC_FromDeviceInfo(ORNC_FindDevice(sys, ORNC_SelectIP, ip, -1, nullptr, nullptr));
}

}  // extern "C"
