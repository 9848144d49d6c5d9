// Enumeration-entry texts: one entry per line, "Name" or "Name:Value", where
// Value is decimal digits or "0x" and hex digits. An entry without a value
// takes the previous value plus one; the first such entry is 0.
//
// The parser reads only: it never writes into the text, so constant and
// read-only texts are fine. Nothing is trimmed, and a value ends at the first
// byte that is not one of its digits; whatever follows (a blank, a carriage
// return) starts the next entry's name.
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstring>

#include "ORNBase.h"

namespace {

bool is_decimal_digit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// 0..15 for a hex digit of either case, -1 for anything else.
int hex_digit_value(char c) {
    static const char kDigits[] = "0123456789abcdef";
    const char* at = c != '\0' ? std::strchr(kDigits, std::tolower(static_cast<unsigned char>(c))) : nullptr;
    return at != nullptr ? static_cast<int>(at - kDigits) : -1;
}

// Hex digits read as by "%x" into an int: accumulated as an unsigned long
// that saturates, then cut to 32 bits.
int parse_hex(const char* begin, const char* end) {
    unsigned long long acc = 0;
    for (const char* p = begin; p < end; ++p) {
        const unsigned digit = static_cast<unsigned>(hex_digit_value(*p));
        acc = acc > (ULLONG_MAX >> 4) ? ULLONG_MAX : (acc << 4) | digit;
    }
    return static_cast<int>(static_cast<uint32_t>(acc));
}

// Decimal digits read as by strtol in base 10 into an int: saturates at
// LONG_MAX, then cut to 32 bits.
int parse_decimal(const char* begin, const char* end) {
    long long acc = 0;
    for (const char* p = begin; p < end; ++p) {
        const int digit = *p - '0';
        acc = acc > (LLONG_MAX - digit) / 10 ? LLONG_MAX : acc * 10 + digit;
    }
    return static_cast<int>(static_cast<uint32_t>(static_cast<unsigned long long>(acc)));
}

// Moves past a value's end: a line feed there ends the entry and is skipped.
char* skip_line_feed(const char* p) { return const_cast<char*>(*p == '\n' ? p + 1 : p); }

}  // namespace

extern "C" {

orn_status_t ORN_GetEnumEntry(char** sptr, char** namestart, size_t* namelen, int* value) {
    if (sptr == nullptr || *sptr == nullptr || value == nullptr) return ORN_ERROR;
    const char* start = *sptr;
    if (*start == '\0') return ORN_ERROR;
    if (namestart != nullptr) *namestart = *sptr;

    const char* p = start;
    while (*p != '\0' && *p != '\n' && *p != ':') ++p;
    if (namelen != nullptr) *namelen = static_cast<size_t>(p - start);

    if (*p != ':') {
        *value = static_cast<int>(static_cast<uint32_t>(*value) + 1u);
        *sptr = skip_line_feed(p);
        return ORN_OK;
    }

    const char* digits = p + 1;
    if (digits[0] == '0' && digits[1] == 'x') {
        const char* hex = digits + 2;
        const char* end = hex;
        while (hex_digit_value(*end) >= 0) ++end;
        // "0x" without digits converts nothing: the running value stays.
        if (end > hex) *value = parse_hex(hex, end);
        *sptr = skip_line_feed(end);
        return ORN_OK;
    }
    const char* end = digits;
    while (is_decimal_digit(*end)) ++end;
    *value = parse_decimal(digits, end);
    *sptr = skip_line_feed(end);
    return ORN_OK;
}

orn_status_t ORN_GetEnumValueFromEntries(char* entries, int entry, int* valuept) {
    if (valuept == nullptr) return ORN_ERROR;
    int value = -1;
    int first_value = -1;
    char* cursor = entries;
    for (int index = 0; entries != nullptr && ORN_GetEnumEntry(&cursor, nullptr, nullptr, &value) == ORN_OK; ++index) {
        if (index == entry) {
            *valuept = value;
            return ORN_OK;
        }
        if (index == 0) first_value = value;
    }
    // A miss still yields the first entry's value as a usable default.
    *valuept = first_value;
    return ORN_ERROR;
}

orn_status_t ORN_GetEnumIndexFromEntries(char* entries, int value, int* index) {
    if (index == nullptr) return ORN_ERROR;
    *index = 0;
    int running = -1;
    char* cursor = entries;
    for (int i = 0; entries != nullptr && ORN_GetEnumEntry(&cursor, nullptr, nullptr, &running) == ORN_OK; ++i) {
        if (running == value) {
            *index = i;
            return ORN_OK;
        }
    }
    return ORN_ERROR;
}

orn_status_t ORN_FindEnumEntry(char* entries, const char* name, int* value, int* index) {
    if (value == nullptr || index == nullptr) return ORN_ERROR;
    *value = 0;
    *index = 0;
    if (name == nullptr) return ORN_ERROR;
    const size_t wanted = std::strlen(name);
    int running = -1;
    char* cursor = entries;
    char* entry_name = nullptr;
    size_t entry_len = 0;
    for (int i = 0; entries != nullptr && ORN_GetEnumEntry(&cursor, &entry_name, &entry_len, &running) == ORN_OK; ++i) {
        if (entry_len == wanted && std::memcmp(entry_name, name, wanted) == 0) {
            *index = i;
            *value = running;
            return ORN_OK;
        }
    }
    return ORN_ERROR;
}

}  // extern "C"
