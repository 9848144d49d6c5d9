// Discovery of GigE Vision devices on the host's IPv4 adapters.
//
// One DISCOVERY_CMD goes out per adapter (see discovery_settings.h for the
// targets); the acks are collected per adapter in the order they arrive.
// Listening ends a quiet period after the last ack (on loopback as soon as
// every asked address has answered or was refused), and never later than
// the time-out; before a first ack, only the time-out ends it. Acks of
// devices with different MAC addresses from one IP address are different
// devices. Invalid acks are dropped and logged.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/gvcp/discovery_ack.h"
#include "platform/gvcp/discovery_settings.h"
#include "platform/gvcp/network_adapters.h"

namespace gvcp {

struct DiscoveredDevice {
    DeviceIdentity identity;
    uint32_t local_address = 0;  // the adapter address the ack came in on
};

struct AdapterDiscovery {
    std::vector<DiscoveredDevice> devices;  // in arrival order
    int dropped_acks = 0;
};

// At most this many devices are kept per adapter.
constexpr size_t kMaxDevicesPerAdapter = 1024;

// `results` receives one entry per adapter, in the order of `adapters`.
// Returns false (with `error`) when not a single adapter could be asked
// although there were adapters to ask.
bool discover_devices(const std::vector<NetworkAdapter>& adapters, const DiscoverySettings& settings,
                      std::vector<AdapterDiscovery>* results, std::string* error);

}  // namespace gvcp
