// Text forms of IPv4 and MAC addresses, the one parser and formatter that
// the library, the sensor and the tools share: dotted decimal
// ("192.168.0.1") and colon-separated lower-case hex ("02:00:00:00:00:01").
// IPv4 values are host byte order.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace wire {

using MacAddress = std::array<uint8_t, 6>;

std::string format_ipv4(uint32_t address);
std::string format_mac(const MacAddress& mac);

// Strict: exactly four decimal fields 0..255 separated by '.', no leading
// zero ("010" is refused), no sign, blank or anything before or after.
// False (and `address` untouched) otherwise.
bool parse_ipv4(const char* text, uint32_t* address);
inline bool parse_ipv4(const std::string& text, uint32_t* address) { return parse_ipv4(text.c_str(), address); }

// Six pairs of hex digits separated by ':' or '-', nothing else.
bool parse_mac(const char* text, MacAddress* mac);
inline bool parse_mac(const std::string& text, MacAddress* mac) { return parse_mac(text.c_str(), mac); }

}  // namespace wire
