// The opaque public handles are transport objects passed through
// unchanged; these are the only places where they change type.
#pragma once

#include "ORNC.h"
#include "platform/PvDeviceInfo.h"
#include "platform/PvInterface.h"

inline const PvInterface* ORNC_ToInterface(const ornc_interface_t* interf) {
    return reinterpret_cast<const PvInterface*>(interf);
}
inline const ornc_interface_t* ORNC_FromInterface(const PvInterface* interf) {
    return reinterpret_cast<const ornc_interface_t*>(interf);
}
inline const PvDeviceInfo* ORNC_ToDeviceInfo(const ornc_device_t* device) {
    return reinterpret_cast<const PvDeviceInfo*>(device);
}
inline const ornc_device_t* ORNC_FromDeviceInfo(const PvDeviceInfo* device) {
    return reinterpret_cast<const ornc_device_t*>(device);
}
