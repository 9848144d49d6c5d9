// What grab changes on a device for its run -- the components and their
// pixel formats, the selectors, the trigger and acquisition modes -- taken
// before the change and put back after it; and how the device's range data
// becomes millimetres.
#pragma once

#include <string>
#include <vector>

#include "ORNC.h"
#include "command_line.h"
#include "point_clouds.h"

namespace ornctool {

// The table entries that --components LIST names ("Name" or
// "Name:PixelFormat"), all found before anything is written. kExitOk, or
// the exit code of a refusal that names the components offered.
int find_components(const CommandLine& cli, ornc_t* ornc, const std::string& list,
                    std::vector<const ornc_component_t*>* found);
// Enables `wanted` and disables every other component.
int select_components(const CommandLine& cli, ornc_t* ornc, const std::vector<const ornc_component_t*>& wanted);

class DeviceSettings {
public:
    // Takes the settings grab may change (this selects TriggerSelector
    // FrameStart for a moment to read its TriggerMode, and puts it back).
    explicit DeviceSettings(ornc_t* ornc);
    // What differs now from what was taken: "TriggerMode: On, now Off".
    std::vector<std::string> changes() const;
    // Writes back every setting that differs; returns what could not be.
    std::vector<std::string> restore() const;

private:
    struct Setting {
        std::string selector, selector_value;  // written first, when not empty
        std::string name, value;
    };
    struct Component {
        const ornc_component_t* entry;  // any entry of the component
        bool enabled;
        int format;
    };
    std::string current(const Setting& setting) const;
    std::string component_state(const Component& component, int* format, bool* enabled) const;

    ornc_t* ornc_;
    std::vector<Setting> settings_;
    std::vector<Component> components_;
    int selectors_[3] = {0, 0, 0};
};

// Puts the settings back when it goes out of scope (the acquisition
// stopped by then), or with `keep` says on standard error what grab left
// changed; says so too for what could not be put back.
class SettingsRestorer {
public:
    SettingsRestorer(const CommandLine& cli, const DeviceSettings& settings, bool keep)
        : cli_(cli), settings_(settings), keep_(keep) {}
    ~SettingsRestorer();
    SettingsRestorer(const SettingsRestorer&) = delete;
    SettingsRestorer& operator=(const SettingsRestorer&) = delete;

private:
    const CommandLine& cli_;
    const DeviceSettings& settings_;
    bool keep_;
};

// The device's Scan3d calibration: with Scan3dCoordinateSelector, the
// scale and offset of CoordinateA, B and C; without it,
// Scan3dCoordinateScale and Offset for C only.
// Scan3dInvalidDataValue marks invalid C values unless
// Scan3dInvalidDataFlag says it is not used.
RangeCalibration read_range_calibration(ornc_t* ornc);

}  // namespace ornctool
