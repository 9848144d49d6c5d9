// The three parameter arrays of a connection, their categories, and the
// lookups of parameters by index, name and category.
#include <cstring>

#include "ORNC.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "camera/param_internal.h"
#include "platform/PvGenCategory.h"
#include "platform/PvGenParameter.h"
#include "platform/PvGenParameterArray.h"

namespace {

// Category paths may carry the root category in front of the name.
constexpr const char* kRootPrefix = "Root\\";
constexpr size_t kRootPrefixLength = 5;

bool ORNC_PathNamesCategory(const PvString& path, const PvString& category) {
    if (path == category) {
        return true;
    }
    const std::string& text = path.str();
    return text.size() > kRootPrefixLength && text.compare(0, kRootPrefixLength, kRootPrefix) == 0 &&
           text.compare(kRootPrefixLength, std::string::npos, category.str()) == 0;
}

PvGenParameterArray* ORNC_DeviceParamsOf(const ornc_t* ornc) {
    ORNCReading reading(ornc);
    return ornc != nullptr && ornc->priv != nullptr ? ornc->priv->lDeviceParams : nullptr;
}
PvGenParameterArray* ORNC_StreamParamsOf(const ornc_t* ornc) {
    ORNCReading reading(ornc);
    return ornc != nullptr && ornc->priv != nullptr ? ornc->priv->lStreamParams : nullptr;
}
PvGenParameterArray* ORNC_CommunicationParamsOf(const ornc_t* ornc) {
    ORNCReading reading(ornc);
    return ornc != nullptr && ornc->priv != nullptr ? ornc->priv->lCommunicationParams : nullptr;
}

int ORNC_ParamsCount(PvGenParameterArray* params) {
    return params != nullptr ? static_cast<int>(params->GetCount()) : 0;
}

}  // namespace

extern "C" {

// A null or unconnected handle has no arrays: count 0, null array.
int ORNCGetDeviceParamsCount(const ornc_t* ornc) {
    ORNCReading reading(ornc);
    return ORNC_ParamsCount(ORNC_DeviceParamsOf(ornc));
}

ornc_parameters_t* ORNCGetDeviceParams(const ornc_t* ornc) { return ORNC_FromParams(ORNC_DeviceParamsOf(ornc)); }

int ORNCGetStreamParamsCount(const ornc_t* ornc) {
    ORNCReading reading(ornc);
    return ORNC_ParamsCount(ORNC_StreamParamsOf(ornc));
}

ornc_parameters_t* ORNCGetStreamParams(const ornc_t* ornc) { return ORNC_FromParams(ORNC_StreamParamsOf(ornc)); }

int ORNCGetCommunicationParamsCount(const ornc_t* ornc) {
    ORNCReading reading(ornc);
    return ORNC_ParamsCount(ORNC_CommunicationParamsOf(ornc));
}

ornc_parameters_t* ORNCGetCommunicationParams(const ornc_t* ornc) {
    return ORNC_FromParams(ORNC_CommunicationParamsOf(ornc));
}

// Index lookups hand the index to the array, which answers null outside
// its range; a null array handle finds nothing.
int ORNCParamsGetCategoryCount(const ornc_parameters_t* ornc_params) {
    return ornc_params != nullptr ? static_cast<int>(ORNC_ToParams(ornc_params)->GetCategoryCount()) : 0;
}

ornc_category_t* ORNCParamsGetCategory(const ornc_parameters_t* ornc_params, int nr) {
    if (ornc_params == nullptr) {
        return nullptr;
    }
    return ORNC_FromCategory(ORNC_ToParams(ornc_params)->GetCategory(static_cast<unsigned int>(nr)));
}

ornc_category_t* ORNCParamsGetCategoryByName(const ornc_parameters_t* ornc_params, const char* name) {
    if (ornc_params == nullptr || name == nullptr) {
        return nullptr;
    }
    return ORNC_FromCategory(ORNC_ToParams(ornc_params)->GetCategory(PvString(name)));
}

ornc_param_t* ORNCParamsGetParam(const ornc_parameters_t* ornc_params, int nr) {
    if (ornc_params == nullptr) {
        return nullptr;
    }
    return ORNC_FromParam(ORNC_ToParams(ornc_params)->Get(static_cast<unsigned int>(nr)));
}

ornc_param_t* ORNCParamsGetParamByName(const ornc_parameters_t* ornc_params, const char* name) {
    if (ornc_params == nullptr || name == nullptr) {
        return nullptr;
    }
    return ORNC_FromParam(ORNC_ToParams(ornc_params)->Get(PvString(name)));
}

ornc_param_t* ORNCParamsGetParamInCategory(const ornc_parameters_t* ornc_params, ornc_category_t* cat, int nr) {
    if (ornc_params == nullptr || cat == nullptr || nr < 0) {
        return nullptr;
    }
    PvGenParameterArray* params = ORNC_ToParams(ornc_params);
    PvString category_name;
    ORNC_ToCategory(cat)->GetName(category_name);
    const uint32_t count = params->GetCount();
    int members = 0;
    for (uint32_t i = 0; i < count; ++i) {
        PvGenParameter* param = params->Get(i);
        if (param == nullptr) {
            continue;
        }
        PvString path;
        param->GetCategory(path);
        if (!ORNC_PathNamesCategory(path, category_name)) {
            continue;
        }
        if (members == nr) {
            return ORNC_FromParam(param);
        }
        ++members;
    }
    return nullptr;
}

}  // extern "C"
