// The supported-device filter and the common search behind every
// selection function of the discovery API.
#pragma once

#include "ORNC.h"
#include "platform/PvDeviceInfo.h"
#include "platform/PvInterface.h"

// Predicate on a device and the caller's selection text.
typedef bool (*ORNC_SelectFunc)(const PvDeviceInfo* device, const char* select_data);

bool ORNC_SelectPattern(const PvDeviceInfo* device, const char* pattern);
bool ORNC_SelectIP(const PvDeviceInfo* device, const char* ip);
bool ORNC_SelectSerial(const PvDeviceInfo* device, const char* sn);

// True when the device's model is supported (built-in names, then the
// lines of "genicam_devices.ini", read anew on every call) and it is not a
// second listing of a device already at an earlier position `devnr` of the
// `devcount` devices of `interf`.
bool ORNC_IsAllowedDevice(const PvDeviceInfo* pvdevice, const PvInterface* interf, int devcount, int devnr);

// The checks every connect starts with: ORNC_ERR_UNINITIALIZED for a null
// handle, ORNC_ERR_DEVICE_NOT_FOUND for a null device,
// ORNC_ERR_DEVICE_UNSUPPORTED (logged) for a model not offered; else
// ORNC_OK with the device's record in `*info`.
ornc_status_t ORNC_CheckConnectTarget(const ornc_t* ornc, const ornc_device_t* device, const PvDeviceInfo** info);

// Visits the adapters (or only `onlyinterf`) and their devices in order.
// Without `count`: returns the match number `nth` (any match when `nth`
// is negative). With `count`: stores the number of matches and returns
// null. A null `sys` uses the library's shared system handle.
const PvDeviceInfo* ORNC_FindDevice(const ornc_system_t* sys, ORNC_SelectFunc select, const char* select_data, int nth,
                                    const ornc_interface_t* onlyinterf, int* count);
