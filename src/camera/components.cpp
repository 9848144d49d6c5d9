// Multipart components: which combinations of source, region, component
// and pixel format the device offers (found by moving its selectors at
// connect), the selectors themselves, and switching one component on or
// off. Operations that move the selectors leave them on the component they
// worked on.
#include "camera/components.h"

#include <cstring>

#include "ORNC.h"
#include "base/log.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"

namespace {

// Entry names are read into this much of the record's 32-byte fields.
constexpr int kComponentNameRead = 16;

bool ORNC_HasState(const ornc_t* ornc) { return ornc != nullptr && ornc->priv != nullptr; }

ornc_status_t ORNC_GetSelector(const ornc_t* ornc, ornc_param_t* ornc_priv_::*field, int* value) {
    ORNCReading reading(ornc);
    if (!ORNC_HasState(ornc) || ornc->priv->*field == nullptr || value == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    return ORNCParamGetEnumValue(ornc->priv->*field, value);
}

ornc_status_t ORNC_SetSelector(const ornc_t* ornc, ornc_param_t* ornc_priv_::*field, int value) {
    ORNCReading reading(ornc);
    if (!ORNC_HasState(ornc) || ornc->priv->*field == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    return ORNCParamSetEnumValue(ornc->priv->*field, value);
}

// Moves the three selectors onto `comp`, in the order source, region,
// component.
ornc_status_t ORNC_SelectComponent(const ornc_t* ornc, const ornc_component_t* comp) {
    ornc_status_t status = ORNCSetSourceSelector(ornc, comp->source);
    if (status != ORNC_OK) {
        return status;
    }
    status = ORNCSetRegionSelector(ornc, comp->region);
    if (status != ORNC_OK) {
        return status;
    }
    return ORNCSetComponentSelector(ornc, comp->component);
}

struct SelectorNode {
    const char* name;
    ornc_param_t* ornc_priv_::*field;
};

constexpr SelectorNode kComponentNodes[] = {
    {"SourceSelector", &ornc_priv_::param_source},       {"RegionSelector", &ornc_priv_::param_region},
    {"ComponentSelector", &ornc_priv_::param_component}, {"ComponentEnable", &ornc_priv_::param_compenable},
    {"PixelFormat", &ornc_priv_::param_pixelformat},
};

// Adds one table entry per available pixel format of the selected
// component. An entry whose availability, name or value cannot be read is
// skipped.
ornc_status_t ORNC_AddPixelFormats(ornc_priv_t* priv, int source, int region, int component, const char* compname) {
    for (int p = 0; p < priv->pixelformats; ++p) {
        orn_bool_t available = 0;
        if (ORNCParamGetEnumEntryAvailable(priv->param_pixelformat, p, &available) != ORNC_OK || available == 0) {
            continue;
        }
        char pixelname[sizeof(ornc_component_t::pixelname)] = {};
        if (ORNCParamGetEnumEntryName(priv->param_pixelformat, p, pixelname, kComponentNameRead) != ORNC_OK) {
            continue;
        }
        int pixelformat = 0;
        if (ORNCParamGetEnumEntryValue(priv->param_pixelformat, p, &pixelformat) != ORNC_OK) {
            continue;
        }
        if (priv->comp_count > kORNCMaxComponents - 1) {
            return ORNC_ERR_TOO_MANY_ELEMENTS;
        }
        ornc_component_t& entry = priv->comp_array[priv->comp_count];
        entry.source = source;
        entry.region = region;
        entry.component = component;
        std::memcpy(entry.compname, compname, sizeof entry.compname);
        entry.pixelformat = pixelformat;
        std::memcpy(entry.pixelname, pixelname, sizeof entry.pixelname);
        ++priv->comp_count;
    }
    return ORNC_OK;
}

// The walk over every source, region and component; a failed read or
// selector write ends it (the selectors are then left where they are).
ornc_status_t ORNC_WalkComponents(const ornc_t* ornc) {
    ornc_priv_t* priv = ornc->priv;
    for (int s = 0; s < priv->sources; ++s) {
        int source = 0;
        ornc_status_t status = ORNCParamGetEnumEntryValue(priv->param_source, s, &source);
        if (status == ORNC_OK) status = ORNCSetSourceSelector(ornc, source);
        if (status != ORNC_OK) return status;
        for (int r = 0; r < priv->regions; ++r) {
            int region = 0;
            status = ORNCParamGetEnumEntryValue(priv->param_region, r, &region);
            if (status == ORNC_OK) status = ORNCSetRegionSelector(ornc, region);
            if (status != ORNC_OK) return status;
            for (int c = 0; c < priv->components; ++c) {
                int component = 0;
                status = ORNCParamGetEnumEntryValue(priv->param_component, c, &component);
                if (status == ORNC_OK) status = ORNCSetComponentSelector(ornc, component);
                if (status != ORNC_OK) return status;
                if (!ORNCParamIsReadable(priv->param_compenable)) {
                    continue;
                }
                // Whatever the name read leaves in the buffer is kept.
                char compname[sizeof(ornc_component_t::compname)] = {};
                ORNCParamGetEnumEntryName(priv->param_component, c, compname, kComponentNameRead);
                status = ORNC_AddPixelFormats(priv, source, region, component, compname);
                if (status != ORNC_OK) return status;
            }
        }
    }
    return ORNC_OK;
}

}  // namespace

ornc_status_t ORNC_LookupComponentNodes(const ornc_t* ornc) {
    if (!ORNC_HasState(ornc)) {
        return ORNC_ERR_UNINITIALIZED;
    }
    ornc_parameters_t* params = ORNCGetDeviceParams(ornc);
    for (const SelectorNode& node : kComponentNodes) {
        ornc->priv->*node.field = ORNCParamsGetParamByName(params, node.name);
        if (ornc->priv->*node.field == nullptr) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "Could not find parameter %s\n", node.name);
            return ORNC_ERR_PARAM_UNDEFINED;
        }
    }
    return ORNC_OK;
}

ornc_status_t ORNC_InitComponents(const ornc_t* ornc) {
    ornc_status_t status = ORNC_LookupComponentNodes(ornc);
    if (status != ORNC_OK) {
        return status;
    }
    ornc_priv_t* priv = ornc->priv;
    int saved_source = 0;
    int saved_region = 0;
    int saved_component = 0;
    status = ORNCGetSourceSelector(ornc, &saved_source);
    if (status == ORNC_OK) status = ORNCGetRegionSelector(ornc, &saved_region);
    if (status == ORNC_OK) status = ORNCGetComponentSelector(ornc, &saved_component);
    if (status == ORNC_OK) status = ORNCParamGetEnumEntryCount(priv->param_source, &priv->sources);
    if (status == ORNC_OK) status = ORNCParamGetEnumEntryCount(priv->param_region, &priv->regions);
    if (status == ORNC_OK) status = ORNCParamGetEnumEntryCount(priv->param_component, &priv->components);
    if (status == ORNC_OK) status = ORNCParamGetEnumEntryCount(priv->param_pixelformat, &priv->pixelformats);
    if (status == ORNC_OK) status = ORNC_WalkComponents(ornc);
    if (status == ORNC_OK) status = ORNCSetSourceSelector(ornc, saved_source);
    if (status == ORNC_OK) status = ORNCSetRegionSelector(ornc, saved_region);
    if (status == ORNC_OK) status = ORNCSetComponentSelector(ornc, saved_component);
    if (status != ORNC_OK) {
        return status;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "Number of available components: %d", priv->comp_count);
    return ORNC_OK;
}

extern "C" {

int ORNCGetComponentCount(ornc_t* ornc) {
    ORNCReading reading(ornc);
    return ORNC_HasState(ornc) ? ornc->priv->comp_count : 0;
}

ornc_status_t ORNCGetComponentArray(ornc_t* ornc, ornc_component_t** comp_array, int* comp_count) {
    ORNCReading reading(ornc);
    if (!ORNC_HasState(ornc)) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (comp_array != nullptr) *comp_array = ornc->priv->comp_array;
    if (comp_count != nullptr) *comp_count = ornc->priv->comp_count;
    return ORNC_OK;
}

const ornc_component_t* ORNCGetComponent(ornc_t* ornc, int index) {
    ORNCReading reading(ornc);
    if (!ORNC_HasState(ornc) || index < 0 || index >= ornc->priv->comp_count) {
        return nullptr;
    }
    return &ornc->priv->comp_array[index];
}

ornc_status_t ORNCGetSourceSelector(const ornc_t* ornc, int* src) {
    return ORNC_GetSelector(ornc, &ornc_priv_::param_source, src);
}

ornc_status_t ORNCGetRegionSelector(const ornc_t* ornc, int* rgn) {
    return ORNC_GetSelector(ornc, &ornc_priv_::param_region, rgn);
}

ornc_status_t ORNCGetComponentSelector(const ornc_t* ornc, int* cmp) {
    return ORNC_GetSelector(ornc, &ornc_priv_::param_component, cmp);
}

ornc_status_t ORNCSetSourceSelector(const ornc_t* ornc, int src) {
    return ORNC_SetSelector(ornc, &ornc_priv_::param_source, src);
}

ornc_status_t ORNCSetRegionSelector(const ornc_t* ornc, int rgn) {
    return ORNC_SetSelector(ornc, &ornc_priv_::param_region, rgn);
}

ornc_status_t ORNCSetComponentSelector(const ornc_t* ornc, int cmp) {
    return ORNC_SetSelector(ornc, &ornc_priv_::param_component, cmp);
}

ornc_status_t ORNCComponentEnable(ornc_t* ornc, const ornc_component_t* comp, orn_bool_t enable) {
    ORNCReading reading(ornc);
    if (!ORNC_HasState(ornc) || comp == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    ornc_status_t status = ORNC_SelectComponent(ornc, comp);
    if (status != ORNC_OK) {
        return status;
    }
    ornc_priv_t* priv = ornc->priv;
    // Disabling leaves the pixel format as it is.
    if (enable != 0) {
        status = ORNCParamSetEnumValue(priv->param_pixelformat, comp->pixelformat);
        if (status != ORNC_OK) {
            return status;
        }
    }
    if (!ORNCParamIsWritable(priv->param_compenable)) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ComponentEnable not writable");
        return ORNC_ERR_PARAM_NOT_WRITEABLE;
    }
    status = ORNCParamSetBooleanValue(priv->param_compenable, enable != 0 ? 1 : 0);
    if (status == ORNC_OK) {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "%s component s%d r%d c%d %s 0x%x %s",
                 enable != 0 ? "Enabled" : "Disabled", comp->source, comp->region, comp->component, comp->compname,
                 static_cast<unsigned int>(comp->pixelformat), comp->pixelname);
    }
    return status;
}

orn_bool_t ORNCComponentIsEnabled(ornc_t* ornc, const ornc_component_t* comp) {
    ORNCReading reading(ornc);
    if (!ORNC_HasState(ornc) || comp == nullptr) {
        return 0;
    }
    if (ORNC_SelectComponent(ornc, comp) != ORNC_OK) {
        return 0;
    }
    ornc_param_t* enable = ornc->priv->param_compenable;
    if (!ORNCParamIsReadable(enable)) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ComponentEnable not readable");
        return 0;
    }
    int value = 0;
    if (ORNCParamGetBooleanValue(enable, &value) != ORNC_OK) {
        return 0;
    }
    return value != 0 ? 1 : 0;
}

}  // extern "C"
