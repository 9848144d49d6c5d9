#include "device_session.h"

#include <cstdio>

#include "ORNCExt.h"
#include "device_choice.h"

namespace ornctool {

Discovery::Discovery() { initialised_ = ORNCSysInit(&system_) == ORNC_OK; }

Discovery::~Discovery() {
    if (initialised_) ORNCSysDestroy(&system_);
}

ornc_status_t Discovery::run() {
    if (!initialised_) return ORNC_ERR_UNINITIALIZED;
    return ORNCSysFindDevices(&system_);
}

const ornc_device_t* Discovery::find(const std::string& key) const {
    if (is_ipv4_address(key)) return ORNCSysGetDeviceByIP(&system_, key.c_str());
    if (!key.empty()) {
        const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&system_, key.c_str());
        if (device != nullptr) return device;
    }
    return ORNCSysGetDeviceByPattern(&system_, key.c_str());
}

const ornc_interface_t* Discovery::adapter_of(const ornc_device_t* device) const {
    const int adapters = ORNCSysGetInterfaceCount(&system_);
    for (int a = 0; a < adapters; ++a) {
        const ornc_interface_t* adapter = ORNCSysGetInterface(&system_, a);
        const int devices = ORNCInterfaceGetDeviceCount(&system_, adapter);
        for (int d = 0; d < devices; ++d) {
            if (ORNCInterfaceGetDevice(&system_, adapter, d) == device) return adapter;
        }
    }
    return nullptr;
}

Connection::Connection() { ORNCInitEmpty(&ornc_); }

Connection::~Connection() {
    if (ornc_.priv != nullptr) {
        if (connected_) ORNCDisconnect(&ornc_);
        ORNCDestroy(&ornc_);
    }
}

ornc_status_t Connection::open(const ornc_device_t* device) {
    if (ornc_.priv == nullptr) {
        const ornc_status_t status = ORNCInit(&ornc_);
        if (status != ORNC_OK) return status;
    }
    // A connect that fails part-way keeps what it opened: disconnect in
    // every case so that the device is released.
    connected_ = true;
    return ORNCConnectByDevice(&ornc_, device);
}

ornc_status_t Connection::open_monitor(const ornc_device_t* device) {
    if (connected_) ORNCDisconnect(&ornc_);
    monitor_ = true;
    return ORNCConnectByDeviceMonitor(&ornc_, device);
}

const ornc_device_t* find_device(const CommandLine& cli, const std::string& key, Discovery* discovery, int* exit_code) {
    const ornc_status_t status = discovery->run();
    if (status != ORNC_OK) {
        *exit_code = cli.fail_status("discovery failed", status);
        return nullptr;
    }
    const ornc_device_t* device = discovery->find(key);
    if (device == nullptr) {
        const int count = ORNCSysGetDeviceCount(discovery->system());
        std::string text = "no supported device matches '" + key + "' (" + std::to_string(count) + " supported device" +
                           (count == 1 ? "" : "s") + " found; see ornc-tool list; " + hidden_device_hint() + ")";
        *exit_code = cli.fail(kExitNotFound, text);
        return nullptr;
    }
    note_other_matches(cli.command().c_str(), *discovery, key, device);
    return device;
}

bool connect_device(const CommandLine& cli, const std::string& key, Discovery* discovery, Connection* connection,
                    int* exit_code, Need need) {
    const ornc_device_t* device = find_device(cli, key, discovery, exit_code);
    if (device == nullptr) return false;
    ornc_status_t status = connection->open(device);
    const std::string ip = text_of(ORNCDeviceGetIPAddress, device);
    if (status == ORNC_ERR_DEVICE_CONNECT_FAILED && need == Need::Reading &&
        ORNCGetAccessTypeByIPAddress(ip.c_str()) == ORNC_ACCESS_TYPE_CONTROL) {
        status = connection->open_monitor(device);
        if (status == ORNC_OK) {
            std::fprintf(stderr, "ornc-tool: another application controls %s; connected as a monitor (read only)\n",
                         text_of(ORNCDeviceGetSerialNumber, device).c_str());
        }
    }
    if (status == ORNC_ERR_PARAM_UNDEFINED) {
        // A camera without multipart selectors: the connection stays usable,
        // only the component table is empty.
        std::fprintf(stderr, "ornc-tool: %s has no multipart selectors (SourceSelector); no component table\n",
                     text_of(ORNCDeviceGetSerialNumber, device).c_str());
        return true;
    }
    if (status != ORNC_OK) {
        *exit_code =
            cli.fail_status("cannot connect to " + text_of(ORNCDeviceGetSerialNumber, device) + " at " + ip, status);
        return false;
    }
    return true;
}

std::string adapter_address_text(int (*getter)(const ornc_interface_t*, int, char*, int),
                                 const ornc_interface_t* adapter, int index) {
    char text[64] = "";
    if (getter(adapter, index, text, static_cast<int>(sizeof text)) <= 0) return "";
    return text;
}

const char* access_type_name(ornc_access_type_t access) {
    switch (access) {
        case ORNC_ACCESS_TYPE_OPEN:
            return "open";
        case ORNC_ACCESS_TYPE_CONTROL:
            return "controlled";
        case ORNC_ACCESS_TYPE_READONLY:
            return "read-only";
        case ORNC_ACCESS_TYPE_EXCLUSIVE:
            return "exclusive";
        case ORNC_ACCESS_TYPE_UNKNOWN:
            break;
    }
    return "unknown";
}

}  // namespace ornctool
