// FORCEIP: gives the device with a given MAC address a new current IP
// configuration at once, whatever subnet it is on now. The command goes out
// on every adapter discovery would use (loopback: to the loopback targets;
// others: broadcast tied to the adapter), and the device acknowledges from
// its new address.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/gvcp/discovery_settings.h"
#include "platform/gvcp/network_adapters.h"
#include "wire/address_text.h"

namespace gvcp {

enum class ForceIpOutcome { kDone, kRefused, kTimeout, kNotSent };

struct ForceIpResult {
    ForceIpOutcome outcome = ForceIpOutcome::kNotSent;
    std::string detail;
};

constexpr int kForceIpTimeoutMs = 500;
constexpr int kForceIpAttempts = 3;

// Addresses in host byte order.
ForceIpResult force_ip(const wire::MacAddress& mac, uint32_t ip, uint32_t mask, uint32_t gateway,
                       const std::vector<NetworkAdapter>& adapters, const DiscoverySettings& settings);

}  // namespace gvcp
