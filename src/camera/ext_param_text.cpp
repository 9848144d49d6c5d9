// The strict text form of any parameter: a text is read in the form a
// person types it back (enumerations by entry name, integers in full 64
// bits), and a written text is taken only when all of it is a value of
// the node's kind. Fitting into the range is left to the typed writes.
#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ORNCExt.h"
#include "camera/param_internal.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenEnumEntry.h"
#include "platform/PvGenFloat.h"
#include "platform/PvGenString.h"

namespace {

// The text without the blanks around it.
std::string ORNC_Trimmed(const char* text) {
    const char* begin = text;
    while (std::isspace(static_cast<unsigned char>(*begin))) ++begin;
    const char* end = begin + std::strlen(begin);
    while (end > begin && std::isspace(static_cast<unsigned char>(end[-1]))) --end;
    return std::string(begin, end);
}

// A whole decimal number that fits 64 bits signed, or 0x and up to 64 bits
// of hexadecimal (taken as two's complement).
bool ORNC_ParseInteger(const std::string& text, int64_t* value) {
    const char* str = text.c_str();
    const bool hex = (str[0] == '0' && (str[1] == 'x' || str[1] == 'X'));
    const char* digits = hex ? str + 2 : (str[0] == '-' || str[0] == '+' ? str + 1 : str);
    if (!(hex ? std::isxdigit(static_cast<unsigned char>(*digits))
              : std::isdigit(static_cast<unsigned char>(*digits)))) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    if (hex) {
        *value = static_cast<int64_t>(std::strtoull(digits, &end, 16));
    } else {
        *value = std::strtoll(str, &end, 10);
    }
    return errno == 0 && *end == '\0';
}

// A whole finite floating-point number.
bool ORNC_ParseFloat(const std::string& text, double* value) {
    char* end = nullptr;
    *value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && std::isfinite(*value);
}

ornc_status_t ORNC_SetEnumText(ornc_param_t* param, const std::string& text) {
    return ORNC_WithParam<PvGenEnum>(param, ORNC_Access::Write, true, [&](PvGenEnum* node) {
        const PvGenEnumEntry* entry = nullptr;
        int64_t number = 0;
        if (node->GetEntryByName(PvString(text), &entry).IsFailure() &&
            (!ORNC_ParseInteger(text, &number) || node->GetEntryByValue(number, &entry).IsFailure())) {
            return ORNC_ERR_PARAM_INVALID_VALUE;
        }
        if (entry == nullptr || entry->GetValue(number).IsFailure()) {
            return ORNC_ERR_PARAM_INVALID_VALUE;
        }
        return ORNC_ParamWriteStatus(param, node->SetValue(number));
    });
}

// The text of a readable node of kind `type` in `out`.
ornc_status_t ORNC_ReadText(const ornc_param_t* param, PvGenType type, std::string* out) {
    char number[32];
    switch (type) {
        case PvGenTypeInteger: {
            int64_t value = 0;
            const ornc_status_t status = ORNCParamGetInteger64Value(param, &value);
            std::snprintf(number, sizeof number, "%" PRId64, value);
            *out = number;
            return status;
        }
        case PvGenTypeFloat: {
            double value = 0.0;
            if (ORNC_ParamAs<PvGenFloat>(param)->GetValue(value).IsFailure()) {
                return ORNC_ERR_PARAM_READ_FAILED;
            }
            std::snprintf(number, sizeof number, "%.10g", value);
            *out = number;
            return ORNC_OK;
        }
        case PvGenTypeBoolean: {
            int flag = 0;
            const ornc_status_t status = ORNCParamGetBooleanValue(param, &flag);
            *out = flag != 0 ? "true" : "false";
            return status;
        }
        case PvGenTypeEnum:
        case PvGenTypeString: {
            PvString text;
            const bool read = type == PvGenTypeEnum ? ORNC_ParamAs<PvGenEnum>(param)->GetValue(text).IsOK()
                                                    : ORNC_ParamAs<PvGenString>(param)->GetValue(text).IsOK();
            *out = text.GetAscii();
            return read ? ORNC_OK : ORNC_ERR_PARAM_READ_FAILED;
        }
        default:
            return ORNC_ERROR;
    }
}

}  // namespace

extern "C" {

ornc_status_t ORNCParamGetValueText(const ornc_param_t* param, char* text, size_t len) {
    if (text == nullptr || len == 0) {
        return ORNC_ERR_STRING_TOO_LONG;
    }
    text[0] = '\0';
    if (param == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    const PvGenType type = ORNC_ParamKind(param);
    if (type == PvGenTypeCommand || type == PvGenTypeRegister) {
        return ORNC_ERROR;
    }
    if (!ORNC_ParamReadable(param)) {
        return ORNC_ERR_PARAM_NOT_READABLE;
    }
    std::string value;
    const ornc_status_t status = ORNC_ReadText(param, type, &value);
    if (status != ORNC_OK) {
        return status;
    }
    if (value.size() >= len) {
        return ORNC_ERR_STRING_TOO_LONG;
    }
    std::memcpy(text, value.c_str(), value.size() + 1);
    return ORNC_OK;
}

ornc_status_t ORNCParamSetValueText(ornc_param_t* param, const char* text) {
    const ornc_status_t check = ORNC_TextWriteCheck(param, text);
    if (check != ORNC_OK) {
        return check;
    }
    const std::string trimmed = ORNC_Trimmed(text);
    int64_t number = 0;
    double real = 0.0;
    switch (ORNC_ParamKind(param)) {
        case PvGenTypeInteger:
            return ORNC_ParseInteger(trimmed, &number) ? ORNC_ParamSetInteger64Value(param, number)
                                                       : ORNC_ERR_PARAM_INVALID_VALUE;
        case PvGenTypeFloat:
            return ORNC_ParseFloat(trimmed, &real) ? ORNC_ParamSetFloat64Value(param, real)
                                                   : ORNC_ERR_PARAM_INVALID_VALUE;
        case PvGenTypeEnum:
            return ORNC_SetEnumText(param, trimmed);
        case PvGenTypeBoolean:
            if (trimmed == "true" || trimmed == "1" || trimmed == "false" || trimmed == "0") {
                return ORNCParamSetBooleanValue(param, trimmed == "true" || trimmed == "1" ? 1 : 0);
            }
            return ORNC_ERR_PARAM_INVALID_VALUE;
        case PvGenTypeString:
            return ORNCParamSetStringValue(param, text);
        default:
            return ORNC_ERROR;
    }
}

}  // extern "C"
