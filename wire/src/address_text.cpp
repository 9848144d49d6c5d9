#include "wire/address_text.h"

#include <cstdio>

namespace wire {
namespace {

constexpr bool is_decimal_digit(char c) { return c >= '0' && c <= '9'; }

// The value of a hex digit of either case, or -1 for any other byte.
constexpr int hex_digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string format_ipv4(uint32_t address) {
    char text[16];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", (address >> 24) & 0xFFu, (address >> 16) & 0xFFu,
                  (address >> 8) & 0xFFu, address & 0xFFu);
    return text;
}

std::string format_mac(const MacAddress& mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}

bool parse_ipv4(const char* text, uint32_t* address) {
    if (text == nullptr || address == nullptr) {
        return false;
    }
    uint32_t value = 0;
    const char* p = text;
    for (int field = 0; field < 4; ++field) {
        if (field > 0 && *p++ != '.') {
            return false;
        }
        if (!is_decimal_digit(*p) || (p[0] == '0' && is_decimal_digit(p[1]))) {
            return false;  // empty field or a leading zero
        }
        uint32_t number = 0;
        for (int digits = 0; is_decimal_digit(*p); ++digits, ++p) {
            number = number * 10u + static_cast<uint32_t>(*p - '0');
            if (digits >= 3 || number > 255u) {
                return false;
            }
        }
        value = (value << 8) | number;
    }
    if (*p != '\0') {
        return false;
    }
    *address = value;
    return true;
}

bool parse_mac(const char* text, MacAddress* mac) {
    if (text == nullptr || mac == nullptr) {
        return false;
    }
    MacAddress bytes{};
    const char* p = text;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0 && *p != ':' && *p != '-') {
            return false;
        }
        p += i > 0 ? 1 : 0;
        const int high = hex_digit_value(p[0]);
        const int low = high >= 0 ? hex_digit_value(p[1]) : -1;
        if (low < 0) {
            return false;
        }
        bytes[i] = static_cast<uint8_t>(high * 16 + low);
        p += 2;
    }
    if (*p != '\0') {
        return false;
    }
    *mac = bytes;
    return true;
}

}  // namespace wire
