#include "parameter_text.h"

#include <arpa/inet.h>
#include <strings.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace ornctool {

std::string param_text(int (*getter)(const ornc_param_t*, char*, int), const ornc_param_t* param) {
    const int size = getter(param, nullptr, 0);
    if (size <= 0) return "";
    std::vector<char> text(static_cast<size_t>(size), '\0');
    if (getter(param, text.data(), size) <= 0) return "";
    return text.data();
}

std::string param_name(const ornc_param_t* param) { return param_text(ORNCParamGetName, param); }

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
        if (strcasecmp(text.c_str(), kVisibilityNames[i]) == 0) {
            *visibility = static_cast<orn_param_visibility_t>(i);
            return true;
        }
    }
    return false;
}

namespace {

bool ends_with(const std::string& text, const char* tail) {
    const size_t n = std::strlen(tail);
    return text.size() >= n && text.compare(text.size() - n, n, tail) == 0;
}

std::string dotted(int64_t value) {
    in_addr address{};
    address.s_addr = htonl(static_cast<uint32_t>(value));
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

std::string number_text(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

std::string enum_entries(const ornc_param_t* param) {
    int count = 0;
    if (ORNCParamGetEnumEntryCount(param, &count) != ORNC_OK) return "";
    std::string text;
    for (int i = 0; i < count; ++i) {
        char name[128] = "";
        int value = 0;
        orn_bool_t available = 0;
        if (ORNCParamGetEnumEntryName(param, i, name, static_cast<int>(sizeof name)) != ORNC_OK) continue;
        ORNCParamGetEnumEntryValue(param, i, &value);
        ORNCParamGetEnumEntryAvailable(param, i, &available);
        text += std::string(text.empty() ? "" : ", ") + name + " (" + std::to_string(value) +
                (available ? ")" : ", not available now)");
    }
    return text;
}

}  // namespace

bool is_address_param(const ornc_param_t* param) {
    const orn_param_type_t type = ORNCParamGetType(param);
    if (type != ORN_PARAM_INTEGER && type != ORN_PARAM_UINTEGER && type != ORN_PARAM_NONE) return false;
    const std::string name = param_name(param);
    return ends_with(name, "IPAddress") || ends_with(name, "SubnetMask") || ends_with(name, "DefaultGateway") ||
           name == "GevSCDA" || name == "GevMCDA";
}

std::string range_text(const ornc_param_t* param) {
    const std::string unit = param_text(ORNCParamGetUnit, param);
    std::string range;
    const orn_param_type_t type = ORNCParamGetType(param);
    int64_t min = 0;
    int64_t max = 0;
    int64_t inc = 0;
    float fmin = 0;
    float fmax = 0;
    if (type == ORN_PARAM_FLOAT && ORNCParamGetFloatMinMaxValues(param, &fmin, &fmax) == ORNC_OK) {
        range = number_text(fmin) + ".." + number_text(fmax);
    } else if (type != ORN_PARAM_FLOAT && ORNCParamGetInteger64Range(param, &min, &max, &inc) == ORNC_OK) {
        range = is_address_param(param) ? dotted(min) + ".." + dotted(max)
                                        : std::to_string(min) + ".." + std::to_string(max);
        if (inc > 1) range += " step " + std::to_string(inc);
    }
    if (unit.empty()) return range;
    return range.empty() ? unit : range + " " + unit;
}

std::string accepted_values(const ornc_param_t* param) {
    switch (ORNCParamGetType(param)) {
        case ORN_PARAM_ENUM:
            return "one of " + enum_entries(param);
        case ORN_PARAM_BOOLEAN:
            return "true or false (or 1 or 0)";
        case ORN_PARAM_STRING: {
            int longest = 0;
            if (ORNCParamGetStringMaxSize(param, &longest) != ORNC_OK) return "";
            return "a text of at most " + std::to_string(longest) + " characters";
        }
        case ORN_PARAM_FLOAT:
        case ORN_PARAM_INTEGER:
        case ORN_PARAM_UINTEGER:
        case ORN_PARAM_NONE: {
            const std::string range = range_text(param);
            if (range.empty()) return "";
            return std::string(is_address_param(param) ? "a dotted address or number" : "a number") + " in " + range;
        }
        default:
            break;
    }
    return "";
}

ornc_status_t param_value_text(const ornc_param_t* param, bool numeric, std::string* text) {
    text->clear();
    const orn_param_type_t type = ORNCParamGetType(param);
    if (type == ORN_PARAM_COMMAND || type == ORN_PARAM_REGISTER) return ORNC_OK;
    int64_t address = 0;
    if (!numeric && is_address_param(param) && ORNCParamGetInteger64Value(param, &address) == ORNC_OK) {
        *text = dotted(address);
        return ORNC_OK;
    }
    // Both text forms refuse a buffer that is too small: grow it.
    for (size_t size = 256; size <= 65536; size *= 4) {
        std::vector<char> buffer(size, '\0');
        const ornc_status_t status = numeric && type == ORN_PARAM_ENUM
                                         ? ORNCParamGetValue(param, buffer.data(), buffer.size())
                                         : ORNCParamGetValueText(param, buffer.data(), buffer.size());
        if (status == ORNC_ERR_STRING_TOO_LONG) continue;
        if (status == ORNC_OK) *text = buffer.data();
        return status;
    }
    return ORNC_ERR_STRING_TOO_LONG;
}

ornc_status_t param_set_text(ornc_param_t* param, const std::string& text) {
    const orn_param_type_t type = ORNCParamGetType(param);
    if (type == ORN_PARAM_BOOLEAN) {
        if (strcasecmp(text.c_str(), "true") == 0) return ORNCParamSetValueText(param, "true");
        if (strcasecmp(text.c_str(), "false") == 0) return ORNCParamSetValueText(param, "false");
    }
    if (type == ORN_PARAM_STRING) {
        int longest = 0;
        if (ORNCParamGetStringMaxSize(param, &longest) == ORNC_OK && longest > 0 &&
            text.size() > static_cast<size_t>(longest)) {
            return ORNC_ERR_STRING_TOO_LONG;
        }
    }
    in_addr address{};
    if (is_address_param(param) && inet_pton(AF_INET, text.c_str(), &address) == 1) {
        return ORNCParamSetValueText(param, std::to_string(ntohl(address.s_addr)).c_str());
    }
    return ORNCParamSetValueText(param, text.c_str());
}

ornc_parameters_t* parameter_map(const ornc_t* ornc, const std::string& map_name) {
    if (map_name == "stream") return ORNCGetStreamParams(ornc);
    if (map_name == "communication") return ORNCGetCommunicationParams(ornc);
    return ORNCGetDeviceParams(ornc);
}

}  // namespace ornctool
