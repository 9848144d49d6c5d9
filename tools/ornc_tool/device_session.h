// Finding a device and connecting to it through the public API, with the
// handles released at the end of their scope.
//
// Ownership: a Discovery owns its system handle; the interface and device
// handles it lends stay valid until it is destroyed. A Connection owns its
// library handle and disconnects it at the end of its scope.
#pragma once

#include <string>

#include "ORNC.h"
#include "command_line.h"

namespace ornctool {

class Discovery {
public:
    Discovery();
    ~Discovery();
    Discovery(const Discovery&) = delete;
    Discovery& operator=(const Discovery&) = delete;

    // Runs a discovery on the adapters the environment allows.
    ornc_status_t run();
    const ornc_system_t* system() const { return &system_; }
    ornc_system_t* system() { return &system_; }

    // DEVICE as the user gives it: an IPv4 address, a serial number, or a
    // pattern matched against the device's identity ("" = first device).
    // NULL when nothing matches.
    const ornc_device_t* find(const std::string& key) const;
    // The adapter that found `device`, or NULL.
    const ornc_interface_t* adapter_of(const ornc_device_t* device) const;

private:
    ornc_system_t system_{nullptr};
    bool initialised_ = false;
};

class Connection {
public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    ornc_status_t open(const ornc_device_t* device);
    // Connects again as a monitor (reads only), after a failed open.
    ornc_status_t open_monitor(const ornc_device_t* device);
    bool monitor() const { return monitor_; }
    ornc_t* handle() { return &ornc_; }
    const ornc_t* handle() const { return &ornc_; }

private:
    ornc_t ornc_{nullptr};
    bool connected_ = false;
    bool monitor_ = false;
};

// What a subcommand needs of the device: control, or reading only (then a
// device that another application controls is opened as a monitor).
enum class Need { Control, Reading };

// Discovers, finds DEVICE and connects: the usual start of a subcommand
// that talks to one device. On failure the message is printed and
// `exit_code` says how the tool ends.
bool connect_device(const CommandLine& cli, const std::string& key, Discovery* discovery, Connection* connection,
                    int* exit_code, Need need = Need::Control);
// A discovery and a connection made from it, for a subcommand that talks to
// one device; the connection ends before the discovery's handles do.
struct DeviceSession {
    Discovery discovery;
    Connection connection;

    // connect_device for DEVICE `key`.
    bool open(const CommandLine& cli, const std::string& key, int* exit_code, Need need = Need::Control) {
        return connect_device(cli, key, &discovery, &connection, exit_code, need);
    }
};

// Discovers and finds DEVICE without connecting.
const ornc_device_t* find_device(const CommandLine& cli, const std::string& key, Discovery* discovery, int* exit_code);

// Texts of the ORN_StringCopy family as std::string ("" on failure).
template <typename Handle>
std::string text_of(int (*getter)(const Handle*, char*, int), const Handle* handle) {
    if (handle == nullptr) return "";
    const int size = getter(handle, nullptr, 0);
    if (size <= 0) return "";
    std::string text(static_cast<size_t>(size), '\0');
    if (getter(handle, &text[0], size) <= 0) return "";
    text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
    return text;
}

// The i-th IPv4 address (or mask) of an adapter.
std::string adapter_address_text(int (*getter)(const ornc_interface_t*, int, char*, int),
                                 const ornc_interface_t* adapter, int index);

const char* access_type_name(ornc_access_type_t access);

}  // namespace ornctool
