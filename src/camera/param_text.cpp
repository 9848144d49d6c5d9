// Any parameter read and written as text, so that a configuration tool
// can show and set every node through one pair of calls. The text form of
// an enumeration is its integer value, not an entry name.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ORNC.h"
#include "camera/param_internal.h"
#include "platform/PvGenParameter.h"

namespace {

// Holds any "%d", "%u" or "%f" text of the values read (a float printed
// with "%f" takes up to 47 characters).
constexpr size_t kValueTextSize = 64;

ornc_status_t ORNC_SetIntegerFromText(ornc_param_t* param, const char* str) {
    const bool readable = ORNCParamIsReadable(param) != 0;
    int64_t min = 0;
    int64_t max = 0;
    if (readable && ORNC_ParamGetIntegerMinMaxInc64Values(param, &min, &max, nullptr) != ORNC_OK) {
        return ORNC_ERR_PARAM_INVALID_VALUE;
    }
    if (!readable || ORNC_IsSigned32View(min, max)) {
        int value = 0;
        if (std::sscanf(str, "%d", &value) != 1) {
            return ORNC_ERR_PARAM_INVALID_VALUE;
        }
        return ORNCParamSetIntegerValue(param, value);
    }
    if (min >= 0 && max <= static_cast<int64_t>(UINT32_MAX)) {
        unsigned int value = 0;
        if (std::sscanf(str, "%u", &value) != 1) {
            return ORNC_ERR_PARAM_INVALID_VALUE;
        }
        return ORNCParamSetUIntegerValue(param, value);
    }
    return ORNC_ERR_PARAM_INVALID_VALUE;
}

// "0..." and "1..." are numbers ("10" is true, "1x" is true); otherwise
// only the exact words "true" and "false".
ornc_status_t ORNC_SetBooleanFromText(ornc_param_t* param, const char* str) {
    int value = 0;
    if (str[0] == '0' || str[0] == '1') {
        value = static_cast<int>(std::strtol(str, nullptr, 10));
    } else if (std::strcmp(str, "true") == 0) {
        value = 1;
    } else if (std::strcmp(str, "false") == 0) {
        value = 0;
    } else {
        return ORNC_ERR_PARAM_INVALID_VALUE;
    }
    return ORNCParamSetBooleanValue(param, value);
}

// Integer text by the node's 32-bit view; -1 without one.
ornc_status_t ORNC_IntegerText(const ornc_param_t* param, char* text, size_t size) {
    int64_t min = 0;
    int64_t max = 0;
    if (ORNC_ParamGetIntegerMinMaxInc64Values(param, &min, &max, nullptr) != ORNC_OK) {
        return ORNC_ERROR;
    }
    if (ORNC_IsSigned32View(min, max)) {
        int value = 0;
        const ornc_status_t status = ORNCParamGetIntegerValue(param, &value);
        if (status == ORNC_OK) {
            std::snprintf(text, size, "%d", value);
        }
        return status;
    }
    if (min >= 0 && max <= static_cast<int64_t>(UINT32_MAX)) {
        unsigned int value = 0;
        const ornc_status_t status = ORNCParamGetUIntegerValue(param, &value);
        if (status == ORNC_OK) {
            std::snprintf(text, size, "%u", value);
        }
        return status;
    }
    return ORNC_ERROR;
}

}  // namespace

extern "C" {

ornc_status_t ORNCParamSetValue(ornc_param_t* param, const char* str) {
    if (!ORNC_ParamWritable(param)) {
        return ORNC_ERR_PARAM_NOT_WRITEABLE;
    }
    if (param == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    if (str == nullptr) {
        return ORNC_ERR_PARAM_INVALID_VALUE;
    }
    PvGenType type = PvGenTypeUndefined;
    ORNC_ToParam(param)->GetType(type);
    switch (type) {
        case PvGenTypeInteger:
            return ORNC_SetIntegerFromText(param, str);
        case PvGenTypeEnum: {
            // Entry names are not accepted here; ORNCParamSetEnumValueByName takes them.
            unsigned int value = 0;
            if (std::sscanf(str, "%u", &value) != 1) {
                return ORNC_ERR_PARAM_INVALID_VALUE;
            }
            return ORNCParamSetEnumValue(param, static_cast<int>(value));
        }
        case PvGenTypeBoolean:
            return ORNC_SetBooleanFromText(param, str);
        case PvGenTypeString:
            return ORNCParamSetStringValue(param, str);
        case PvGenTypeFloat: {
            float value = 0.0f;
            if (std::sscanf(str, "%f", &value) != 1) {
                return ORNC_ERR_PARAM_INVALID_VALUE;
            }
            return ORNCParamSetFloatValue(param, value);
        }
        default:
            return ORNC_ERR_INTERNAL;
    }
}

// Either the whole text or an empty one (strings excepted: they are cut
// to the buffer by ORNCParamGetStringValue).
ornc_status_t ORNCParamGetValue(const ornc_param_t* param, char* value, size_t maxlen) {
    if (value == nullptr || maxlen == 0) {
        return ORNC_ERR_STRING_TOO_LONG;
    }
    if (param == nullptr) {
        value[0] = '\0';
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    if (!ORNC_ToParam(param)->IsReadable()) {
        value[0] = '\0';
        return ORNC_ERR_PARAM_NOT_READABLE;
    }
    PvGenType type = PvGenTypeUndefined;
    ORNC_ToParam(param)->GetType(type);
    char text[kValueTextSize];
    text[0] = '\0';
    ornc_status_t status = ORNC_ERROR;
    switch (type) {
        case PvGenTypeInteger:
            status = ORNC_IntegerText(param, text, sizeof text);
            break;
        case PvGenTypeEnum: {
            int number = 0;
            status = ORNCParamGetEnumValue(param, &number);
            if (status == ORNC_OK) {
                std::snprintf(text, sizeof text, "%d", number);
            }
            break;
        }
        case PvGenTypeBoolean: {
            int flag = 0;
            status = ORNCParamGetBooleanValue(param, &flag);
            if (status == ORNC_OK) {
                std::snprintf(text, sizeof text, "%s", flag != 0 ? "true" : "false");
            }
            break;
        }
        case PvGenTypeString:
            return ORNCParamGetStringValue(param, value, maxlen);
        case PvGenTypeFloat: {
            float number = 0.0f;
            status = ORNCParamGetFloatValue(param, &number);
            if (status == ORNC_OK) {
                std::snprintf(text, sizeof text, "%f", static_cast<double>(number));
            }
            break;
        }
        default:
            status = ORNC_ERROR;
            break;
    }
    if (std::strlen(text) < maxlen) {
        std::strncpy(value, text, maxlen);
        value[maxlen - 1] = '\0';
        return status;
    }
    value[0] = '\0';
    return ORNC_ERR_STRING_TOO_LONG;
}

}  // extern "C"
