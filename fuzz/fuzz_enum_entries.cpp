// Enumeration-entry texts ("Off\nOn\nAuto:0x10"), the form applications and
// configuration files hand to ORN_GetEnumEntry and the three lookups. The
// text is given exactly as large as the input plus its terminator, so any
// read past the terminator is caught; the text is checked to stay unchanged,
// since the parser promises to read only.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ORNBase.h"

namespace {

// The first byte splits the input: a name to look for, then the text.
struct Split {
    std::string name;
    std::vector<char> text;  // NUL-terminated
};

Split split_input(const uint8_t* data, size_t size) {
    Split split;
    const size_t name_size = size > 0 ? std::min<size_t>(data[0] % 16, size - 1) : 0;
    const uint8_t* rest = size > 0 ? data + 1 : data;
    split.name.assign(reinterpret_cast<const char*>(rest), name_size);
    const size_t text_size = size > 0 ? size - 1 - name_size : 0;
    split.text.assign(reinterpret_cast<const char*>(rest) + name_size,
                      reinterpret_cast<const char*>(rest) + name_size + text_size);
    split.text.push_back('\0');
    return split;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Split input = split_input(data, size);
    const std::vector<char> original = input.text;
    char* text = input.text.data();
    const char* text_end = text + std::strlen(text);

    // Walk every entry: each call must move forward and stay inside the text.
    int entries = 0;
    int value = -1;
    char* cursor = text;
    char* name = nullptr;
    size_t name_length = 0;
    while (ORN_GetEnumEntry(&cursor, &name, &name_length, &value) == ORN_OK) {
        if (name < text || name + name_length > text_end) __builtin_trap();
        if (cursor <= name || cursor > text_end) __builtin_trap();
        if (++entries > static_cast<int>(original.size())) __builtin_trap();  // no progress
    }

    int found_value = 0;
    int found_index = 0;
    if (ORN_FindEnumEntry(text, input.name.c_str(), &found_value, &found_index) == ORN_OK) {
        if (found_index < 0 || found_index >= entries) __builtin_trap();
        int by_index = 0;
        if (ORN_GetEnumValueFromEntries(text, found_index, &by_index) != ORN_OK || by_index != found_value) {
            __builtin_trap();
        }
        int index_of_value = -1;
        // The first entry with that value, which is at or before the found one.
        if (ORN_GetEnumIndexFromEntries(text, found_value, &index_of_value) != ORN_OK || index_of_value > found_index) {
            __builtin_trap();
        }
    }
    int any = 0;
    ORN_GetEnumValueFromEntries(text, entries, &any);  // one past the end: a miss, no overread
    ORN_GetEnumIndexFromEntries(text, value, &found_index);
    // Null pieces are refused, never followed.
    ORN_GetEnumEntry(nullptr, nullptr, nullptr, &value);
    ORN_FindEnumEntry(nullptr, input.name.c_str(), &found_value, &found_index);
    ORN_GetEnumValueFromEntries(nullptr, 0, &any);
    ORN_GetEnumIndexFromEntries(nullptr, 0, &found_index);

    if (input.text != original) __builtin_trap();  // the parser wrote into the text
    return 0;
}
