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

// The numbers of the text form: "%d", "%u" and "%f" both ways.
bool ORNC_Scan(const char* str, int* value) { return std::sscanf(str, "%d", value) == 1; }
bool ORNC_Scan(const char* str, unsigned int* value) { return std::sscanf(str, "%u", value) == 1; }
bool ORNC_Scan(const char* str, float* value) { return std::sscanf(str, "%f", value) == 1; }
void ORNC_Print(char* text, size_t size, int value) { std::snprintf(text, size, "%d", value); }
void ORNC_Print(char* text, size_t size, unsigned int value) { std::snprintf(text, size, "%u", value); }
void ORNC_Print(char* text, size_t size, float value) { std::snprintf(text, size, "%f", static_cast<double>(value)); }

// Writes the number `str` holds through the typed setter `set`.
template <typename T>
ornc_status_t ORNC_SetFromText(ornc_param_t* param, const char* str, ornc_status_t (*set)(ornc_param_t*, T)) {
    T value = 0;
    if (!ORNC_Scan(str, &value)) {
        return ORNC_ERR_PARAM_INVALID_VALUE;
    }
    return set(param, value);
}

// Reads the number through the typed getter `get` into `text`.
template <typename T>
ornc_status_t ORNC_TextFrom(const ornc_param_t* param, char* text, size_t size,
                            ornc_status_t (*get)(const ornc_param_t*, T*)) {
    T value = 0;
    const ornc_status_t status = get(param, &value);
    if (status == ORNC_OK) {
        ORNC_Print(text, size, value);
    }
    return status;
}

// Entry names are not accepted here; ORNCParamSetEnumValueByName takes them.
ornc_status_t ORNC_SetEnumNumber(ornc_param_t* param, unsigned int value) {
    return ORNCParamSetEnumValue(param, static_cast<int>(value));
}

ornc_status_t ORNC_SetIntegerFromText(ornc_param_t* param, const char* str) {
    const bool readable = ORNCParamIsReadable(param) != 0;
    int64_t min = 0;
    int64_t max = 0;
    if (readable && ORNC_ParamGetIntegerMinMaxInc64Values(param, &min, &max, nullptr) != ORNC_OK) {
        return ORNC_ERR_PARAM_INVALID_VALUE;
    }
    if (!readable || ORNC_IsSigned32View(min, max)) {
        return ORNC_SetFromText(param, str, ORNCParamSetIntegerValue);
    }
    if (ORNC_IsUnsigned32View(min, max)) {
        return ORNC_SetFromText(param, str, ORNCParamSetUIntegerValue);
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
        return ORNC_TextFrom(param, text, size, ORNCParamGetIntegerValue);
    }
    if (ORNC_IsUnsigned32View(min, max)) {
        return ORNC_TextFrom(param, text, size, ORNCParamGetUIntegerValue);
    }
    return ORNC_ERROR;
}

}  // namespace

ornc_status_t ORNC_TextWriteCheck(const ornc_param_t* param, const char* text) {
    if (!ORNC_ParamWritable(param)) {
        return ORNC_ERR_PARAM_NOT_WRITEABLE;
    }
    if (param == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    return text != nullptr ? ORNC_OK : ORNC_ERR_PARAM_INVALID_VALUE;
}

extern "C" {

ornc_status_t ORNCParamSetValue(ornc_param_t* param, const char* str) {
    const ornc_status_t check = ORNC_TextWriteCheck(param, str);
    if (check != ORNC_OK) {
        return check;
    }
    switch (ORNC_ParamKind(param)) {
        case PvGenTypeInteger:
            return ORNC_SetIntegerFromText(param, str);
        case PvGenTypeEnum:
            return ORNC_SetFromText(param, str, ORNC_SetEnumNumber);
        case PvGenTypeBoolean:
            return ORNC_SetBooleanFromText(param, str);
        case PvGenTypeString:
            return ORNCParamSetStringValue(param, str);
        case PvGenTypeFloat:
            return ORNC_SetFromText(param, str, ORNCParamSetFloatValue);
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
    const PvGenType type = ORNC_ParamKind(param);
    char text[kValueTextSize];
    text[0] = '\0';
    ornc_status_t status = ORNC_ERROR;
    switch (type) {
        case PvGenTypeInteger:
            status = ORNC_IntegerText(param, text, sizeof text);
            break;
        case PvGenTypeEnum:
            status = ORNC_TextFrom(param, text, sizeof text, ORNCParamGetEnumValue);
            break;
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
        case PvGenTypeFloat:
            status = ORNC_TextFrom(param, text, sizeof text, ORNCParamGetFloatValue);
            break;
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
