// Enumeration parameters: the current value and its entries, identified by
// their integer values (low 32 bits). Entry indices run over every entry,
// available or not.
#include <cstring>

#include "ORNC.h"
#include "base/log.h"
#include "camera/param_internal.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenEnumEntry.h"
#include "platform/PvGenParameter.h"

namespace {

// Parameter names in the entry-count failure message.
constexpr int kEnumNameSize = 32;

// Entry `nr` of an enumeration, or null when the node has none there.
const PvGenEnumEntry* ORNC_EnumEntry(PvGenEnum* node, int nr) {
    const PvGenEnumEntry* entry = nullptr;
    if (node->GetEntryByIndex(nr, &entry).IsFailure()) {
        return nullptr;
    }
    return entry;
}

// Entry texts are cut silently to the caller's buffer.
void ORNC_CopyCut(char* str, const PvString& text, int len) {
    std::strncpy(str, text.GetAscii(), static_cast<size_t>(len));
    str[len - 1] = '\0';
}

}  // namespace

extern "C" {

ornc_status_t ORNCParamGetEnumValue(const ornc_param_t* param, int* value) {
    if (!ORNC_ParamReadable(param)) {
        return ORNC_ERR_PARAM_NOT_READABLE;
    }
    PvGenEnum* node = ORNC_ParamAs<PvGenEnum>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    if (value == nullptr) {
        return ORNC_ERROR;
    }
    int64_t v = 0;
    if (node->GetValue(v).IsFailure()) {
        *value = 0;
        return ORNC_ERR_PARAM_READ_FAILED;
    }
    *value = static_cast<int>(static_cast<uint32_t>(v));
    return ORNC_OK;
}

// The value is not checked against the entries: the node decides.
ornc_status_t ORNCParamSetEnumValue(ornc_param_t* param, int value) {
    if (!ORNC_ParamWritable(param)) {
        return ORNC_ERR_PARAM_NOT_WRITEABLE;
    }
    PvGenEnum* node = ORNC_ParamAs<PvGenEnum>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    const PvResult result = node->SetValue(static_cast<int64_t>(value));
    if (result.IsFailure()) {
        return ORNC_ParamWriteFailed(param, result);
    }
    return ORNC_OK;
}

// The entry's availability is left to the node to judge.
ornc_status_t ORNCParamSetEnumValueByName(ornc_param_t* param, const char* value) {
    if (!ORNC_ParamWritable(param)) {
        return ORNC_ERR_PARAM_NOT_WRITEABLE;
    }
    PvGenEnum* node = ORNC_ParamAs<PvGenEnum>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    const PvGenEnumEntry* entry = nullptr;
    if (value == nullptr || node->GetEntryByName(PvString(value), &entry).IsFailure() || entry == nullptr) {
        return ORNC_ERR_ENUM_ENTRY_NOT_FOUND;
    }
    int64_t entry_value = 0;
    if (entry->GetValue(entry_value).IsFailure()) {
        return ORNC_ERROR;
    }
    const PvResult result = node->SetValue(entry_value);
    if (result.IsFailure()) {
        return ORNC_ParamWriteFailed(param, result);
    }
    return ORNC_OK;
}

ornc_status_t ORNCParamGetEnumEntryCount(const ornc_param_t* param, int* cnt) {
    PvGenEnum* node = ORNC_ParamAs<PvGenEnum>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    if (cnt == nullptr) {
        return ORNC_ERROR;
    }
    int64_t count = 0;
    const PvResult result = node->GetEntriesCount(count);
    if (result.IsFailure()) {
        char name[kEnumNameSize];
        ORNCParamGetName(param, name, sizeof name);
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM,
                 "Internal error: Getting enum entries for parameter %s failed with code %d", name,
                 static_cast<int>(result.GetCode()));
        return ORNC_ERROR;
    }
    *cnt = static_cast<int>(count);
    return ORNC_OK;
}

ornc_status_t ORNCParamGetEnumEntryValue(const ornc_param_t* param, int nr, int* valuept) {
    PvGenEnum* node = ORNC_ParamAs<PvGenEnum>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    const PvGenEnumEntry* entry = ORNC_EnumEntry(node, nr);
    int64_t value = 0;
    if (entry == nullptr || valuept == nullptr || entry->GetValue(value).IsFailure()) {
        return ORNC_ERROR;
    }
    *valuept = static_cast<int>(static_cast<uint32_t>(value));
    return ORNC_OK;
}

ornc_status_t ORNCParamGetEnumEntryAvailable(const ornc_param_t* param, int nr, orn_bool_t* availpt) {
    PvGenEnum* node = ORNC_ParamAs<PvGenEnum>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    const PvGenEnumEntry* entry = ORNC_EnumEntry(node, nr);
    bool available = false;
    if (entry == nullptr || availpt == nullptr || entry->IsAvailable(available).IsFailure()) {
        return ORNC_ERROR;
    }
    *availpt = available ? 1 : 0;
    return ORNC_OK;
}

ornc_status_t ORNCParamGetEnumEntryName(const ornc_param_t* param, int nr, char* str, int len) {
    PvGenEnum* node = ORNC_ParamAs<PvGenEnum>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    const PvGenEnumEntry* entry = ORNC_EnumEntry(node, nr);
    PvString text;
    if (entry == nullptr || str == nullptr || len <= 0 || entry->GetName(text).IsFailure()) {
        return ORNC_ERROR;
    }
    ORNC_CopyCut(str, text, len);
    return ORNC_OK;
}

ornc_status_t ORNCParamGetEnumEntryDisplayName(const ornc_param_t* param, int nr, char* str, int len) {
    PvGenEnum* node = ORNC_ParamAs<PvGenEnum>(param);
    if (node == nullptr) {
        return ORNC_ERR_PARAM_TYPE_MISMATCH;
    }
    const PvGenEnumEntry* entry = ORNC_EnumEntry(node, nr);
    PvString text;
    if (entry == nullptr || str == nullptr || len <= 0 || entry->GetDisplayName(text).IsFailure()) {
        return ORNC_ERROR;
    }
    ORNC_CopyCut(str, text, len);
    return ORNC_OK;
}

}  // extern "C"
