#include "parameter_text.h"

#include <cstring>
#include <vector>

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

ornc_status_t param_value_text(const ornc_param_t* param, bool numeric, std::string* text) {
    text->clear();
    const orn_param_type_t type = ORNCParamGetType(param);
    if (type == ORN_PARAM_COMMAND || type == ORN_PARAM_REGISTER) return ORNC_OK;
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
    return ORNCParamSetValueText(param, text.c_str());
}

ornc_parameters_t* parameter_map(const ornc_t* ornc, const std::string& map_name) {
    if (map_name == "stream") return ORNCGetStreamParams(ornc);
    if (map_name == "communication") return ORNCGetCommunicationParams(ornc);
    return ORNCGetDeviceParams(ornc);
}

}  // namespace ornctool
