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

// Entry `nr` of an enumeration parameter: ORNC_ERR_PARAM_TYPE_MISMATCH
// for a parameter of another kind, ORNC_ERROR when the node has no entry
// there or the caller gave no output (`given` false).
ornc_status_t ORNC_EnumEntry(const ornc_param_t* param, int nr, bool given, const PvGenEnumEntry** entry) {
    return ORNC_WithParam<PvGenEnum>(param, ORNC_Access::None, true, [&](PvGenEnum* node) {
        *entry = nullptr;
        return node->GetEntryByIndex(nr, entry).IsOK() && *entry != nullptr && given ? ORNC_OK : ORNC_ERROR;
    });
}

using EntryTextGetter = PvResult (PvGenEnumEntry::*)(PvString&) const;

// An entry's text, cut silently to the caller's buffer.
ornc_status_t ORNC_EnumEntryText(const ornc_param_t* param, int nr, EntryTextGetter getter, char* str, int len) {
    const PvGenEnumEntry* entry = nullptr;
    const ornc_status_t status = ORNC_EnumEntry(param, nr, str != nullptr && len > 0, &entry);
    PvString text;
    if (status != ORNC_OK || (entry->*getter)(text).IsFailure()) {
        return status != ORNC_OK ? status : ORNC_ERROR;
    }
    std::strncpy(str, text.GetAscii(), static_cast<size_t>(len));
    str[len - 1] = '\0';
    return ORNC_OK;
}

}  // namespace

extern "C" {

ornc_status_t ORNCParamGetEnumValue(const ornc_param_t* param, int* value) {
    return ORNC_WithParam<PvGenEnum>(param, ORNC_Access::Read, value != nullptr, [&](PvGenEnum* node) {
        int64_t v = 0;
        if (node->GetValue(v).IsFailure()) {
            *value = 0;
            return ORNC_ERR_PARAM_READ_FAILED;
        }
        *value = static_cast<int>(static_cast<uint32_t>(v));
        return ORNC_OK;
    });
}

// The value is not checked against the entries: the node decides.
ornc_status_t ORNCParamSetEnumValue(ornc_param_t* param, int value) {
    return ORNC_WithParam<PvGenEnum>(param, ORNC_Access::Write, true, [&](PvGenEnum* node) {
        return ORNC_ParamWriteStatus(param, node->SetValue(static_cast<int64_t>(value)));
    });
}

// The entry's availability is left to the node to judge.
ornc_status_t ORNCParamSetEnumValueByName(ornc_param_t* param, const char* value) {
    return ORNC_WithParam<PvGenEnum>(param, ORNC_Access::Write, true, [&](PvGenEnum* node) {
        const PvGenEnumEntry* entry = nullptr;
        if (value == nullptr || node->GetEntryByName(PvString(value), &entry).IsFailure() || entry == nullptr) {
            return ORNC_ERR_ENUM_ENTRY_NOT_FOUND;
        }
        int64_t entry_value = 0;
        if (entry->GetValue(entry_value).IsFailure()) {
            return ORNC_ERROR;
        }
        return ORNC_ParamWriteStatus(param, node->SetValue(entry_value));
    });
}

ornc_status_t ORNCParamGetEnumEntryCount(const ornc_param_t* param, int* cnt) {
    return ORNC_WithParam<PvGenEnum>(param, ORNC_Access::None, cnt != nullptr, [&](PvGenEnum* node) {
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
    });
}

ornc_status_t ORNCParamGetEnumEntryValue(const ornc_param_t* param, int nr, int* valuept) {
    const PvGenEnumEntry* entry = nullptr;
    const ornc_status_t status = ORNC_EnumEntry(param, nr, valuept != nullptr, &entry);
    int64_t value = 0;
    if (status != ORNC_OK || entry->GetValue(value).IsFailure()) {
        return status != ORNC_OK ? status : ORNC_ERROR;
    }
    *valuept = static_cast<int>(static_cast<uint32_t>(value));
    return ORNC_OK;
}

ornc_status_t ORNCParamGetEnumEntryAvailable(const ornc_param_t* param, int nr, orn_bool_t* availpt) {
    const PvGenEnumEntry* entry = nullptr;
    const ornc_status_t status = ORNC_EnumEntry(param, nr, availpt != nullptr, &entry);
    bool available = false;
    if (status != ORNC_OK || entry->IsAvailable(available).IsFailure()) {
        return status != ORNC_OK ? status : ORNC_ERROR;
    }
    *availpt = available ? 1 : 0;
    return ORNC_OK;
}

ornc_status_t ORNCParamGetEnumEntryName(const ornc_param_t* param, int nr, char* str, int len) {
    return ORNC_EnumEntryText(param, nr, &PvGenEnumEntry::GetName, str, len);
}

ornc_status_t ORNCParamGetEnumEntryDisplayName(const ornc_param_t* param, int nr, char* str, int len) {
    return ORNC_EnumEntryText(param, nr, &PvGenEnumEntry::GetDisplayName, str, len);
}

}  // extern "C"
