#include "platform/gvcp/discovery_settings.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "wire/address_text.h"

namespace gvcp {

namespace {

int read_milliseconds(const char* name, int fallback) {
    const char* text = std::getenv(name);
    if (text == nullptr || text[0] == '\0') {
        return fallback;
    }
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 0) {
        return fallback;
    }
    return static_cast<int>(std::min<long>(value, kMaxTimeoutMs));
}

bool is_loopback(uint32_t address) { return (address >> 24) == 127u; }

void add_target(AddressList* targets, uint32_t address) {
    if (targets->size() < kMaxLoopbackTargets && is_loopback(address) &&
        std::find(targets->begin(), targets->end(), address) == targets->end()) {
        targets->push_back(address);
    }
}

}  // namespace

AddressList parse_loopback_hosts(const char* text) {
    AddressList targets;
    if (text == nullptr) {
        return targets;
    }
    const std::string all = text;
    size_t start = 0;
    while (start <= all.size()) {
        size_t end = all.find(',', start);
        if (end == std::string::npos) {
            end = all.size();
        }
        const std::string entry = all.substr(start, end - start);
        const size_t dash = entry.find('-');
        uint32_t first = 0;
        uint32_t last = 0;
        if (dash == std::string::npos) {
            if (wire::parse_ipv4(entry.c_str(), &first)) {
                add_target(&targets, first);
            }
        } else if (wire::parse_ipv4(entry.substr(0, dash).c_str(), &first) &&
                   wire::parse_ipv4(entry.substr(dash + 1).c_str(), &last) && first <= last) {
            for (uint64_t address = first; address <= last && targets.size() < kMaxLoopbackTargets; ++address) {
                add_target(&targets, static_cast<uint32_t>(address));
            }
        }
        start = end + 1;
    }
    return targets;
}

DiscoverySettings discovery_settings_from_environment() {
    DiscoverySettings settings;
    settings.quiet_ms = read_milliseconds("ORNC_DISCOVERY_QUIET_MS", kDefaultQuietMs);
    settings.timeout_ms = std::max(read_milliseconds("ORNC_DISCOVERY_TIMEOUT_MS", kDefaultTimeoutMs), 1);
    const char* hosts = std::getenv("ORNC_LOOPBACK_HOSTS");
    settings.loopback_targets =
        parse_loopback_hosts(hosts != nullptr && hosts[0] != '\0' ? hosts : kDefaultLoopbackHosts);
    return settings;
}

}  // namespace gvcp
