#include "parameter_text.h"

#include <cstring>
#include <vector>

#include "command_line.h"

namespace ornctool {

std::string param_name(const ornc_param_t* param) {
    const int size = ORNCParamGetName(param, nullptr, 0);
    if (size <= 0) return "";
    std::vector<char> text(static_cast<size_t>(size), '\0');
    if (ORNCParamGetName(param, text.data(), size) <= 0) return "";
    return text.data();
}

const char* param_type_name(orn_param_type_t type) {
    switch (type) {
        case ORN_PARAM_BOOLEAN:
            return "Boolean";
        case ORN_PARAM_COMMAND:
            return "Command";
        case ORN_PARAM_ENUM:
            return "Enumeration";
        case ORN_PARAM_FLOAT:
            return "Float";
        case ORN_PARAM_INTEGER:
            return "Integer";
        case ORN_PARAM_UINTEGER:
            return "UInteger";
        case ORN_PARAM_STRING:
            return "String";
        case ORN_PARAM_REGISTER:
            return "Register";
        default:
            break;
    }
    return "Other";  // ORN_PARAM_NONE: e.g. an integer wider than 32 bits
}

std::string param_access(const ornc_param_t* param) {
    if (!ORNCParamIsAvailable(param)) return "NA";
    const bool readable = ORNCParamIsReadable(param) != 0;
    const bool writable = ORNCParamIsWritable(param) != 0;
    if (readable && writable) return "RW";
    if (readable) return "RO";
    if (writable) return "WO";
    return "NA";
}

namespace {
const char* const kVisibilityNames[] = {"beginner", "expert", "guru", "invisible"};
}

const char* visibility_name(orn_param_visibility_t visibility) {
    const int index = static_cast<int>(visibility);
    return index >= 0 && index < 4 ? kVisibilityNames[index] : "undefined";
}

bool parse_visibility(const std::string& text, orn_param_visibility_t* visibility) {
    for (int i = 0; i < 4; ++i) {
        if (text == kVisibilityNames[i]) {
            *visibility = static_cast<orn_param_visibility_t>(i);
            return true;
        }
    }
    return false;
}

namespace {

ornc_status_t enum_entry_name(const ornc_param_t* param, int value, std::string* name) {
    int count = 0;
    ornc_status_t status = ORNCParamGetEnumEntryCount(param, &count);
    if (status != ORNC_OK) return status;
    for (int i = 0; i < count; ++i) {
        int entry_value = 0;
        if (ORNCParamGetEnumEntryValue(param, i, &entry_value) != ORNC_OK || entry_value != value) continue;
        char text[256] = "";
        status = ORNCParamGetEnumEntryName(param, i, text, static_cast<int>(sizeof text));
        if (status != ORNC_OK) return status;
        *name = text;
        return ORNC_OK;
    }
    *name = std::to_string(value);
    return ORNC_OK;
}

// The text form has no view of an integer node whose range is wider than
// 32 bits (event data such as frame ids and timestamps span 64 bits), yet
// its current value often fits one of the 32-bit reads. `failed` is what the
// text form said, kept when neither read can show the value.
ornc_status_t wide_integer_text(const ornc_param_t* param, std::string* text, ornc_status_t failed) {
    int value = 0;
    if (ORNCParamGetIntegerValue(param, &value) == ORNC_OK) {
        *text = std::to_string(value);
        return ORNC_OK;
    }
    unsigned int unsigned_value = 0;
    if (ORNCParamGetUIntegerValue(param, &unsigned_value) == ORNC_OK) {
        *text = std::to_string(unsigned_value);
        return ORNC_OK;
    }
    return failed;
}

}  // namespace

ornc_status_t param_value_text(const ornc_param_t* param, bool numeric, std::string* text) {
    text->clear();
    const orn_param_type_t type = ORNCParamGetType(param);
    if (type == ORN_PARAM_COMMAND || type == ORN_PARAM_REGISTER) return ORNC_OK;
    if (type == ORN_PARAM_ENUM && !numeric) {
        int value = 0;
        const ornc_status_t status = ORNCParamGetEnumValue(param, &value);
        if (status != ORNC_OK) return status;
        return enum_entry_name(param, value, text);
    }
    // The text form refuses a buffer that is too small: grow it.
    for (size_t size = 256; size <= 65536; size *= 4) {
        std::vector<char> buffer(size, '\0');
        const ornc_status_t status = ORNCParamGetValue(param, buffer.data(), buffer.size());
        if (status == ORNC_ERR_STRING_TOO_LONG) continue;
        if (status == ORNC_OK) *text = buffer.data();
        if (status == ORNC_ERROR) return wide_integer_text(param, text, status);
        return status;
    }
    return ORNC_ERR_STRING_TOO_LONG;
}

ornc_status_t param_set_text(ornc_param_t* param, const std::string& text) {
    long long number = 0;
    if (ORNCParamGetType(param) == ORN_PARAM_ENUM && !parse_int(text, &number)) {
        return ORNCParamSetEnumValueByName(param, text.c_str());
    }
    return ORNCParamSetValue(param, text.c_str());
}

ornc_parameters_t* parameter_map(const ornc_t* ornc, const std::string& map_name) {
    if (map_name == "stream") return ORNCGetStreamParams(ornc);
    if (map_name == "communication") return ORNCGetCommunicationParams(ornc);
    return ORNCGetDeviceParams(ornc);
}

}  // namespace ornctool
