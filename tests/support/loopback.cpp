#include "loopback.h"

#include <cstdio>

namespace orntest {

std::string loopback(Block block, int host) {
    return "127.0." + std::to_string(static_cast<int>(block)) + "." + std::to_string(host);
}

std::string loopback_mac(Block block, int host) {
    char mac[32];
    std::snprintf(mac, sizeof mac, "02:00:00:00:%02x:%02x", static_cast<unsigned>(block) & 0xFFu,
                  static_cast<unsigned>(host) & 0xFFu);
    return mac;
}

}  // namespace orntest
