// What a parameter is: its name texts, kind, access and visibility flags,
// and its selector relations; plus the one-line dump used at connect.
#include <cstring>

#include "ORNC.h"
#include "base/log.h"
#include "camera/param_internal.h"
#include "platform/PvGenCategory.h"
#include "platform/PvGenParameter.h"
#include "platform/PvGenParameterList.h"

namespace {

// Name texts are copied all-or-nothing; a null handle has no text at all.
int ORNC_NoText(char* str, int len) {
    if (str != nullptr && len > 0) {
        str[0] = '\0';
    }
    return 0;
}

// One of the texts of a parameter or category.
template <typename Node>
int ORNC_NodeText(const Node* node, PvResult (Node::*getter)(PvString&) const, char* str, int len) {
    if (node == nullptr) {
        return ORNC_NoText(str, len);
    }
    PvString text;
    if ((node->*getter)(text).IsFailure()) {
        text = PvString();
    }
    return ORN_StringCopy(str, text.GetAscii(), len);
}

int ORNC_ParamText(const ornc_param_t* param, PvResult (PvGenParameter::*getter)(PvString&) const, char* str, int len) {
    return ORNC_NodeText(ORNC_ToParam(param), getter, str, len);
}

int ORNC_CategoryText(const ornc_category_t* category, PvResult (PvGenCategory::*getter)(PvString&) const, char* str,
                      int len) {
    return ORNC_NodeText(ORNC_ToCategory(category), getter, str, len);
}

using ParamFlagGetter = PvResult (PvGenParameter::*)(bool&) const;

// The flag the node reports; false when it reports none.
orn_bool_t ORNC_ParamFlag(const ornc_param_t* param, ParamFlagGetter getter) {
    if (param == nullptr) {
        return 0;
    }
    bool flag = false;
    if ((ORNC_ToParam(param)->*getter)(flag).IsFailure()) {
        return 0;
    }
    return flag ? 1 : 0;
}

using ParamListGetter = PvResult (PvGenParameter::*)(PvGenParameterList&) const;

int ORNC_ListCount(const ornc_param_t* param, ParamListGetter getter) {
    if (param == nullptr) {
        return 0;
    }
    PvGenParameterList list;
    (ORNC_ToParam(param)->*getter)(list);
    return static_cast<int>(list.GetSize());
}

ornc_param_t* ORNC_ListItem(const ornc_param_t* param, ParamListGetter getter, int index) {
    if (param == nullptr || index < 0) {
        return nullptr;
    }
    PvGenParameterList list;
    (ORNC_ToParam(param)->*getter)(list);
    if (static_cast<uint32_t>(index) >= list.GetSize()) {
        return nullptr;
    }
    return ORNC_FromParam(list.GetItem(static_cast<uint32_t>(index)));
}

// Fills `arr` with the whole list, or nulls its `len` entries and returns
// -1 when the list does not fit; -2 for arguments that disagree.
int ORNC_ListArray(const ornc_param_t* param, ParamListGetter getter, ornc_param_t** arr, int len) {
    if ((len == 0 && arr != nullptr) || (len > 0 && arr == nullptr) || len < 0) {
        return -2;
    }
    PvGenParameterList list;
    if (param != nullptr) {
        (ORNC_ToParam(param)->*getter)(list);
    }
    const int n = static_cast<int>(list.GetSize());
    if (len < n) {
        for (int i = 0; i < len; ++i) {
            arr[i] = nullptr;
        }
        return -1;
    }
    for (int i = 0; i < n; ++i) {
        arr[i] = ORNC_FromParam(list.GetItem(static_cast<uint32_t>(i)));
    }
    return n;
}

// An integer node's kind by the 32-bit view its range allows.
orn_param_type_t ORNC_IntegerKind(const ornc_param_t* param) {
    if (!ORNCParamIsReadable(param)) {
        return ORN_PARAM_INTEGER;
    }
    int64_t min = 0;
    int64_t max = 0;
    if (ORNC_ParamGetIntegerMinMaxInc64Values(param, &min, &max, nullptr) != ORNC_OK) {
        return ORN_PARAM_NONE;
    }
    if (ORNC_IsSigned32View(min, max)) {
        return ORN_PARAM_INTEGER;
    }
    return ORNC_IsUnsigned32View(min, max) ? ORN_PARAM_UINTEGER : ORN_PARAM_NONE;
}

}  // namespace

bool ORNC_ParamReadable(const ornc_param_t* param) { return param == nullptr || ORNC_ToParam(param)->IsReadable(); }

bool ORNC_ParamWritable(const ornc_param_t* param) { return param == nullptr || ORNC_ToParam(param)->IsWritable(); }

const char* ORNC_PvGenType2String(PvGenType type) {
    switch (type) {
        case PvGenTypeInteger:
            return "int";
        case PvGenTypeEnum:
            return "enum";
        case PvGenTypeBoolean:
            return "bool";
        case PvGenTypeString:
            return "str";
        case PvGenTypeCommand:
            return "cmd";
        case PvGenTypeFloat:
            return "flt";
        case PvGenTypeRegister:
            return "reg";
        default:
            return "unknown";
    }
}

void ORNC_DumpParameter(int i, PvGenParameter* pvparam) {
    if (pvparam == nullptr) {
        return;
    }
    PvString category;
    PvString description;
    PvString display_name;
    PvGenType type = PvGenTypeUndefined;
    pvparam->GetCategory(category);
    pvparam->GetDescription(description);  // read with the rest, not printed
    pvparam->GetDisplayName(display_name);
    const PvString name = pvparam->GetName();
    pvparam->GetType(type);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: Parameter %3d: Cat %s Name %s Type %s Disp %s", i,
             category.GetAscii(), name.GetAscii(), ORNC_PvGenType2String(type), display_name.GetAscii());
}

extern "C" {

int ORNCCategoryGetName(const ornc_category_t* category, char* str, int len) {
    return ORNC_CategoryText(category, &PvGenCategory::GetName, str, len);
}

int ORNCCategoryGetDisplayName(const ornc_category_t* category, char* str, int len) {
    return ORNC_CategoryText(category, &PvGenCategory::GetDisplayName, str, len);
}

int ORNCParamGetCategoryName(const ornc_param_t* param, char* str, int len) {
    return ORNC_ParamText(param, &PvGenParameter::GetCategory, str, len);
}

int ORNCParamGetName(const ornc_param_t* param, char* str, int len) {
    if (param == nullptr) {
        return ORNC_NoText(str, len);
    }
    return ORN_StringCopy(str, ORNC_ToParam(param)->GetName().GetAscii(), len);
}

int ORNCParamGetDisplayName(const ornc_param_t* param, char* str, int len) {
    return ORNC_ParamText(param, &PvGenParameter::GetDisplayName, str, len);
}

int ORNCParamGetDescription(const ornc_param_t* param, char* str, int len) {
    return ORNC_ParamText(param, &PvGenParameter::GetDescription, str, len);
}

int ORNCParamGetTooltip(const ornc_param_t* param, char* str, int len) {
    return ORNC_ParamText(param, &PvGenParameter::GetToolTip, str, len);
}

orn_param_type_t ORNCParamGetType(const ornc_param_t* param) {
    if (param == nullptr) {
        return ORN_PARAM_NONE;
    }
    switch (ORNC_ParamKind(param)) {
        case PvGenTypeInteger:
            return ORNC_IntegerKind(param);
        case PvGenTypeEnum:
            return ORN_PARAM_ENUM;
        case PvGenTypeBoolean:
            return ORN_PARAM_BOOLEAN;
        case PvGenTypeString:
            return ORN_PARAM_STRING;
        case PvGenTypeCommand:
            return ORN_PARAM_COMMAND;
        case PvGenTypeFloat:
            return ORN_PARAM_FLOAT;
        case PvGenTypeRegister:
            return ORN_PARAM_REGISTER;
        default:
            return ORN_PARAM_NONE;
    }
}

orn_bool_t ORNCParamIsAvailable(const ornc_param_t* param) {
    return ORNC_ParamFlag(param, &PvGenParameter::IsAvailable);
}

orn_bool_t ORNCParamIsReadable(const ornc_param_t* param) { return ORNC_ParamFlag(param, &PvGenParameter::IsReadable); }

orn_bool_t ORNCParamIsWritable(const ornc_param_t* param) { return ORNC_ParamFlag(param, &PvGenParameter::IsWritable); }

orn_bool_t ORNCParamIsCached(const ornc_param_t* param) {
    return param != nullptr && ORNC_ToParam(param)->IsValueCached() ? 1 : 0;
}

// The caller's visibility is not used: the node is asked about the widest
// audience, as the interface has always done.
orn_bool_t ORNCParamIsVisible(const ornc_param_t* param, orn_param_visibility_t visibility) {
    (void)visibility;
    return param != nullptr && ORNC_ToParam(param)->IsVisible(PvGenVisibilityUndefined) ? 1 : 0;
}

orn_param_visibility_t ORNCParamGetVisibility(const ornc_param_t* param) {
    if (param == nullptr) {
        return ORN_VIS_UNDEFINED;
    }
    PvGenVisibility visibility = PvGenVisibilityUndefined;
    ORNC_ToParam(param)->GetVisibility(visibility);
    switch (visibility) {
        case PvGenVisibilityBeginner:
            return ORN_VIS_BEGINNER;
        case PvGenVisibilityExpert:
            return ORN_VIS_EXPERT;
        case PvGenVisibilityGuru:
            return ORN_VIS_GURU;
        case PvGenVisibilityInvisible:
            return ORN_VIS_INVISIBLE;
        default:
            return ORN_VIS_UNDEFINED;
    }
}

orn_bool_t ORNCParamIsSelector(const ornc_param_t* param) { return ORNC_ParamFlag(param, &PvGenParameter::IsSelector); }

orn_bool_t ORNCParamIsSelected(const ornc_param_t* param) {
    return ORNC_ListCount(param, &PvGenParameter::GetSelectingParameters) > 0 ? 1 : 0;
}

int ORNCParamGetSelectedCount(const ornc_param_t* param) {
    return ORNC_ListCount(param, &PvGenParameter::GetSelectedParameters);
}

ornc_param_t* ORNCParamGetSelectedIndex(const ornc_param_t* param, int index) {
    return ORNC_ListItem(param, &PvGenParameter::GetSelectedParameters, index);
}

int ORNCParamGetSelectedArray(const ornc_param_t* param, ornc_param_t** arr, int len) {
    return ORNC_ListArray(param, &PvGenParameter::GetSelectedParameters, arr, len);
}

int ORNCParamGetSelectingCount(const ornc_param_t* param) {
    return ORNC_ListCount(param, &PvGenParameter::GetSelectingParameters);
}

ornc_param_t* ORNCParamGetSelectingIndex(const ornc_param_t* param, int index) {
    return ORNC_ListItem(param, &PvGenParameter::GetSelectingParameters, index);
}

int ORNCParamGetSelectingArray(const ornc_param_t* param, ornc_param_t** arr, int len) {
    return ORNC_ListArray(param, &PvGenParameter::GetSelectingParameters, arr, len);
}

int ORNCParamGetSelectingRange(const ornc_param_t* param) {
    if (!ORNCParamIsSelector(param)) {
        return 0;
    }
    switch (ORNCParamGetType(param)) {
        case ORN_PARAM_INTEGER:
        case ORN_PARAM_UINTEGER: {
            int64_t min = 0;
            int64_t max = 0;
            int64_t inc = 0;
            if (ORNC_ParamGetIntegerMinMaxInc64Values(param, &min, &max, &inc) != ORNC_OK || inc <= 0) {
                return 0;
            }
            // Wrapping difference: a full 64-bit range must not overflow.
            const int64_t span = static_cast<int64_t>(static_cast<uint64_t>(max) - static_cast<uint64_t>(min));
            return static_cast<int>(span / inc + 1);
        }
        case ORN_PARAM_ENUM: {
            int count = 0;
            return ORNCParamGetEnumEntryCount(param, &count) == ORNC_OK ? count : 0;
        }
        default:
            return 0;
    }
}

}  // extern "C"
