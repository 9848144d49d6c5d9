// The host's IPv4 network adapters as discovery sees them: name, addresses
// with masks and broadcast addresses, MAC address and default gateway.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "wire/address_text.h"

namespace gvcp {

struct AdapterAddress {
    uint32_t address = 0;  // host byte order
    uint32_t mask = 0;
    uint32_t broadcast = 0;  // 0 when the adapter has none
};

struct NetworkAdapter {
    std::string name;
    unsigned int index = 0;  // kernel interface index
    bool loopback = false;
    bool has_mac = false;
    wire::MacAddress mac{};
    uint32_t default_gateway = 0;  // 0 when there is no default route through it
    std::vector<AdapterAddress> addresses;
};

// Adapters that are up and hold at least one IPv4 address, in kernel index
// order. When `name_filter` is non-null and non-empty (comma-separated
// names) only the named adapters are listed.
std::vector<NetworkAdapter> list_network_adapters(const char* name_filter);

// True when `name` appears in the comma-separated `filter`.
bool adapter_name_in_filter(const std::string& name, const char* filter);

// The environment variable that limits discovery to named adapters.
constexpr const char* kInterfacesVariable = "ORNC_INTERFACES";

}  // namespace gvcp
