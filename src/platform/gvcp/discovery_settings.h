// How long a discovery listens and which loopback addresses it asks.
//
// Loopback carries no broadcast, so on the loopback adapter discovery asks
// a list of addresses one by one (a device on loopback binds its own
// 127.x.y.z). Every other adapter gets the subnet broadcast (and the
// limited broadcast when the socket can be tied to that adapter).
//
// Environment (read at every discovery):
//   ORNC_DISCOVERY_QUIET_MS   stop this long after the last ack (default 100);
//                             with no ack yet, wait for the time-out
//   ORNC_DISCOVERY_TIMEOUT_MS never listen longer than this (default 1000)
//   ORNC_LOOPBACK_HOSTS       comma-separated addresses or ranges
//                             "127.0.0.1-127.0.0.8" (the default); at most
//                             kMaxLoopbackTargets addresses
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/gvcp/address_list.h"

namespace gvcp {

struct DiscoverySettings {
    int quiet_ms = 100;
    int timeout_ms = 1000;
    AddressList loopback_targets;  // host byte order
};

constexpr int kDefaultQuietMs = 100;
constexpr int kDefaultTimeoutMs = 1000;
constexpr int kMaxTimeoutMs = 10000;
constexpr size_t kMaxLoopbackTargets = 256;
constexpr const char* kDefaultLoopbackHosts = "127.0.0.1-127.0.0.8";

DiscoverySettings discovery_settings_from_environment();

// Parses the ORNC_LOOPBACK_HOSTS syntax; entries outside 127.0.0.0/8 and
// malformed entries are skipped. Duplicates are kept once.
AddressList parse_loopback_hosts(const char* text);

}  // namespace gvcp
