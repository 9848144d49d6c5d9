#include "grab_settings.h"

#include <cstdio>
#include <cstdlib>
#include <map>

#include "parameter_text.h"

namespace ornctool {

namespace {

ornc_param_t* node(ornc_t* ornc, const std::string& name) {
    return ORNCParamsGetParamByName(ORNCGetDeviceParams(ornc), name.c_str());
}

std::string read_text(ornc_t* ornc, const std::string& name) {
    ornc_param_t* param = node(ornc, name);
    std::string text;
    if (param == nullptr || param_value_text(param, false, &text) != ORNC_OK) return "";
    return text;
}

bool write_text(ornc_t* ornc, const std::string& name, const std::string& text) {
    ornc_param_t* param = node(ornc, name);
    return param != nullptr && param_set_text(param, text) == ORNC_OK;
}

bool same_component(const ornc_component_t* a, const ornc_component_t* b) {
    return a->source == b->source && a->region == b->region && a->component == b->component;
}

std::string format_name(ornc_t* ornc, const ornc_component_t* of, int format) {
    for (int i = 0; i < ORNCGetComponentCount(ornc); ++i) {
        const ornc_component_t* entry = ORNCGetComponent(ornc, i);
        if (entry != nullptr && same_component(entry, of) && entry->pixelformat == format) return entry->pixelname;
    }
    return std::to_string(format);
}

// "Range (Coord3D_ABC32f, Coord3D_C16), Intensity (Mono8)"
std::string offered_components(ornc_t* ornc) {
    std::vector<std::pair<std::string, std::string>> offered;
    for (int i = 0; i < ORNCGetComponentCount(ornc); ++i) {
        const ornc_component_t* entry = ORNCGetComponent(ornc, i);
        if (entry == nullptr) continue;
        if (offered.empty() || offered.back().first != entry->compname) {
            offered.emplace_back(entry->compname, entry->pixelname);
        } else {
            offered.back().second += std::string(", ") + entry->pixelname;
        }
    }
    std::string text;
    for (const auto& item : offered) text += (text.empty() ? "" : ", ") + item.first + " (" + item.second + ")";
    return text.empty() ? "none" : text;
}

}  // namespace

int find_components(const CommandLine& cli, ornc_t* ornc, const std::string& list,
                    std::vector<const ornc_component_t*>* found) {
    for (size_t start = 0; start <= list.size();) {
        const size_t comma = list.find(',', start);
        const std::string item = list.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        const size_t colon = item.find(':');
        const std::string name = item.substr(0, colon);
        const std::string pixel = colon == std::string::npos ? "" : item.substr(colon + 1);
        const ornc_component_t* match = nullptr;
        for (int i = 0; i < ORNCGetComponentCount(ornc) && match == nullptr && !item.empty(); ++i) {
            const ornc_component_t* entry = ORNCGetComponent(ornc, i);
            if (entry != nullptr && name == entry->compname && (pixel.empty() || pixel == entry->pixelname)) {
                match = entry;
            }
        }
        if (!item.empty() && match == nullptr) {
            return cli.fail(kExitFailed, "no component '" + item + "': " + status_text(ORNC_ERR_ELEMENT_NOT_FOUND) +
                                             "; the device offers " + offered_components(ornc) +
                                             "; nothing was changed");
        }
        if (match != nullptr) found->push_back(match);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (found->empty()) return cli.fail(kExitUsage, "--components needs at least one component name");
    return kExitOk;
}

int select_components(const CommandLine& cli, ornc_t* ornc, const std::vector<const ornc_component_t*>& wanted) {
    for (const ornc_component_t* comp : wanted) {
        const ornc_status_t status = ORNCComponentEnable(ornc, comp, 1);
        if (status != ORNC_OK) return cli.fail_status(std::string("cannot enable ") + comp->compname, status);
    }
    std::map<std::string, bool> handled;
    for (const ornc_component_t* comp : wanted) handled[comp->compname] = true;
    for (int i = 0; i < ORNCGetComponentCount(ornc); ++i) {
        const ornc_component_t* comp = ORNCGetComponent(ornc, i);
        if (comp == nullptr || handled.count(comp->compname) != 0) continue;
        const ornc_status_t status = ORNCComponentEnable(ornc, comp, 0);
        if (status != ORNC_OK) return cli.fail_status(std::string("cannot disable ") + comp->compname, status);
        handled[comp->compname] = true;
    }
    return kExitOk;
}

DeviceSettings::DeviceSettings(ornc_t* ornc) : ornc_(ornc) {
    ORNCGetSourceSelector(ornc, &selectors_[0]);
    ORNCGetRegionSelector(ornc, &selectors_[1]);
    ORNCGetComponentSelector(ornc, &selectors_[2]);
    for (int i = 0; i < ORNCGetComponentCount(ornc); ++i) {
        const ornc_component_t* entry = ORNCGetComponent(ornc, i);
        bool known = entry == nullptr;
        for (const Component& c : components_) known = known || same_component(c.entry, entry);
        if (known) continue;
        Component component{entry, false, 0};
        component_state(component, &component.format, &component.enabled);
        components_.push_back(component);
    }
    const std::string trigger_selector = read_text(ornc, "TriggerSelector");
    if (!trigger_selector.empty()) {
        settings_.push_back({"", "", "TriggerSelector", trigger_selector});
        if (write_text(ornc, "TriggerSelector", "FrameStart")) {
            settings_.push_back({"TriggerSelector", "FrameStart", "TriggerMode", read_text(ornc, "TriggerMode")});
            write_text(ornc, "TriggerSelector", trigger_selector);
        }
    } else {
        settings_.push_back({"", "", "TriggerMode", read_text(ornc, "TriggerMode")});
    }
    settings_.push_back({"", "", "AcquisitionMode", read_text(ornc, "AcquisitionMode")});
}

std::string DeviceSettings::current(const Setting& setting) const {
    if (!setting.selector.empty()) write_text(ornc_, setting.selector, setting.selector_value);
    return read_text(ornc_, setting.name);
}

// The component's state as "on Mono8" or "off"; querying leaves the
// selectors on it, so PixelFormat reads its own format.
std::string DeviceSettings::component_state(const Component& component, int* format, bool* enabled) const {
    *enabled = ORNCComponentIsEnabled(ornc_, component.entry) != 0;
    ornc_param_t* pixel_format = node(ornc_, "PixelFormat");
    if (pixel_format == nullptr || ORNCParamGetEnumValue(pixel_format, format) != ORNC_OK) *format = 0;
    return *enabled ? "on " + format_name(ornc_, component.entry, *format) : "off";
}

std::vector<std::string> DeviceSettings::changes() const {
    std::vector<std::string> changed;
    for (const Component& component : components_) {
        int format = 0;
        bool enabled = false;
        const std::string now = component_state(component, &format, &enabled);
        const std::string was =
            component.enabled ? "on " + format_name(ornc_, component.entry, component.format) : "off";
        if (now != was)
            changed.push_back(std::string("component ") + component.entry->compname + ": " + was + ", now " + now);
    }
    for (const Setting& setting : settings_) {
        const std::string now = current(setting);
        if (!setting.value.empty() && now != setting.value) {
            changed.push_back(setting.name + ": " + setting.value + ", now " + now);
        }
    }
    return changed;
}

std::vector<std::string> DeviceSettings::restore() const {
    std::vector<std::string> failed;
    for (const Component& component : components_) {
        int format = 0;
        bool enabled = false;
        component_state(component, &format, &enabled);
        if (enabled == component.enabled && (format == component.format || !enabled)) continue;
        const ornc_component_t* entry = nullptr;
        for (int i = 0; i < ORNCGetComponentCount(ornc_) && entry == nullptr; ++i) {
            const ornc_component_t* e = ORNCGetComponent(ornc_, i);
            if (e != nullptr && same_component(e, component.entry) && e->pixelformat == component.format) entry = e;
        }
        // Enabling sets the format; disabling then leaves it.
        if (entry == nullptr || ORNCComponentEnable(ornc_, entry, 1) != ORNC_OK ||
            (!component.enabled && ORNCComponentEnable(ornc_, entry, 0) != ORNC_OK)) {
            failed.push_back(std::string("component ") + component.entry->compname);
        }
    }
    for (auto setting = settings_.rbegin(); setting != settings_.rend(); ++setting) {
        if (setting->value.empty() || current(*setting) == setting->value) continue;
        if (!write_text(ornc_, setting->name, setting->value)) failed.push_back(setting->name);
    }
    ORNCSetSourceSelector(ornc_, selectors_[0]);
    ORNCSetRegionSelector(ornc_, selectors_[1]);
    ORNCSetComponentSelector(ornc_, selectors_[2]);
    return failed;
}

SettingsRestorer::~SettingsRestorer() {
    if (keep_) {
        for (const std::string& change : settings_.changes()) {
            std::fprintf(stderr, "ornc-tool %s: left changed (--keep-settings): %s\n", cli_.command().c_str(),
                         change.c_str());
        }
        return;
    }
    for (const std::string& name : settings_.restore()) {
        std::fprintf(stderr, "ornc-tool %s: could not put back %s; it is left as grab set it\n", cli_.command().c_str(),
                     name.c_str());
    }
}

RangeCalibration read_range_calibration(ornc_t* ornc) {
    RangeCalibration calibration;
    const auto number = [ornc](const char* name, double* value) {
        const std::string text = read_text(ornc, name);
        if (!text.empty()) *value = std::strtod(text.c_str(), nullptr);
        return !text.empty();
    };
    const std::string selected = read_text(ornc, "Scan3dCoordinateSelector");
    if (!selected.empty()) {
        const char* axes[3] = {"CoordinateA", "CoordinateB", "CoordinateC"};
        bool all = true;
        for (int axis = 0; axis < 3; ++axis) {
            all = write_text(ornc, "Scan3dCoordinateSelector", axes[axis]) &&
                  number("Scan3dCoordinateScale", &calibration.scale[axis]) &&
                  number("Scan3dCoordinateOffset", &calibration.offset[axis]) && all;
        }
        calibration.ab_calibrated = all;
        write_text(ornc, "Scan3dCoordinateSelector", "CoordinateC");
    } else {
        number("Scan3dCoordinateScale", &calibration.scale[2]);
        number("Scan3dCoordinateOffset", &calibration.offset[2]);
    }
    calibration.has_invalid =
        number("Scan3dInvalidDataValue", &calibration.invalid) && read_text(ornc, "Scan3dInvalidDataFlag") != "false";
    if (!selected.empty()) write_text(ornc, "Scan3dCoordinateSelector", selected);
    return calibration;
}

}  // namespace ornctool
