// Text forms of IPv4 and MAC addresses as the library shows and accepts
// them: dotted decimal ("192.168.0.1") and colon-separated lower-case hex
// ("02:00:00:00:00:01"). IPv4 values are host byte order.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace gvcp {

using MacAddress = std::array<uint8_t, 6>;

std::string format_ipv4(uint32_t address);
std::string format_mac(const MacAddress& mac);
// Strict: four decimal parts 0..255, nothing before or after.
bool parse_ipv4(const char* text, uint32_t* address);
// Six hex pairs separated by ':' or '-'.
bool parse_mac(const char* text, MacAddress* mac);

}  // namespace gvcp
