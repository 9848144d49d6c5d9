#include "device_choice.h"

#include <cstdio>
#include <cstring>

#include "device_session.h"

namespace ornctool {

void note_other_matches(const char* command, const Discovery& discovery, const std::string& key,
                        const ornc_device_t* chosen) {
    if (is_ipv4_address(key) || text_of(ORNCDeviceGetSerialNumber, chosen) == key) return;
    std::string others;
    const int count = ORNCSysGetDeviceCount(discovery.system());
    for (int i = 0; i < count; ++i) {
        const ornc_device_t* device = ORNCSysGetDevice(discovery.system(), i);
        if (device == nullptr || device == chosen) continue;
        if (text_of(ORNCDeviceGetID, device).find(key) == std::string::npos) continue;
        others += (others.empty() ? "" : ", ") + text_of(ORNCDeviceGetSerialNumber, device);
    }
    if (others.empty()) return;
    std::fprintf(stderr, "ornc-tool %s: '%s' also matches %s; took %s (give a serial number or address to choose)\n",
                 command, key.c_str(), others.c_str(), text_of(ORNCDeviceGetSerialNumber, chosen).c_str());
}

const char* hidden_device_hint() {
    return "a device of a model the library does not support is not listed: add part of its model name to "
           "genicam_devices.ini in the working directory";
}

}  // namespace ornctool
