// components: the multipart component table of a device, and switching
// components on and off.
#include <cstdio>
#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "device_session.h"
#include "parameter_text.h"
#include "text_table.h"

namespace ornctool {

namespace {

const char kComponentsUsage[] =
    "Usage: ornc-tool components DEVICE [enable|disable COMPONENT...]\n"
    "Without an action: lists the device's multipart components, one line per\n"
    "combination of source, region, component and pixel format. ENABLED is yes\n"
    "for the pixel format a component sends, \"other format\" for the other formats\n"
    "of an enabled component, no for a disabled one.\n"
    "\n"
    "enable COMPONENT...   switches components on (and sets their pixel format)\n"
    "disable COMPONENT...  switches components off\n"
    "\n"
    "COMPONENT is an index from the list, a component name (Range, Intensity,\n"
    "Confidence: its first pixel format), or NAME:PIXELFORMAT\n"
    "(e.g. Range:Coord3D_C16). The table is printed again afterwards.\n";

// The table entry COMPONENT names, or NULL.
const ornc_component_t* resolve(ornc_t* ornc, const std::string& key) {
    const int count = ORNCGetComponentCount(ornc);
    long long index = 0;
    if (parse_int(key, &index)) {
        return index >= 0 && index < count ? ORNCGetComponent(ornc, static_cast<int>(index)) : nullptr;
    }
    const size_t colon = key.find(':');
    const std::string name = key.substr(0, colon);
    const std::string pixel = colon == std::string::npos ? "" : key.substr(colon + 1);
    for (int i = 0; i < count; ++i) {
        const ornc_component_t* comp = ORNCGetComponent(ornc, i);
        if (comp != nullptr && name == comp->compname && (pixel.empty() || pixel == comp->pixelname)) return comp;
    }
    return nullptr;
}

// What COMPONENT may be: NAME:PIXELFORMAT of each entry, or its index.
std::string offered(ornc_t* ornc) {
    const int count = ORNCGetComponentCount(ornc);
    std::string text;
    for (int i = 0; i < count; ++i) {
        const ornc_component_t* comp = ORNCGetComponent(ornc, i);
        if (comp != nullptr) text += std::string(text.empty() ? "" : ", ") + comp->compname + ":" + comp->pixelname;
    }
    return text + " (or an index 0.." + std::to_string(count - 1) + ")";
}

// "yes" when the component is on with this entry's pixel format, "other
// format" when it is on with another, "no" when it is off.
std::string enabled_text(ornc_t* ornc, const ornc_component_t* comp) {
    // Querying leaves the selectors on this component, so PixelFormat reads
    // the component's own format.
    if (!ORNCComponentIsEnabled(ornc, comp)) return "no";
    ornc_parameters_t* params = ORNCGetDeviceParams(ornc);
    ornc_param_t* format = params == nullptr ? nullptr : ORNCParamsGetParamByName(params, "PixelFormat");
    int current = 0;
    if (format == nullptr || ORNCParamGetEnumValue(format, &current) != ORNC_OK) return "yes";
    return current == comp->pixelformat ? "yes" : "other format";
}

void print_table(ornc_t* ornc) {
    TextTable table({"INDEX", "SOURCE", "REGION", "COMPONENT", "NAME", "PIXEL FORMAT", "ENABLED"});
    const int count = ORNCGetComponentCount(ornc);
    for (int i = 0; i < count; ++i) {
        const ornc_component_t* comp = ORNCGetComponent(ornc, i);
        if (comp == nullptr) continue;
        char pixel[64];
        std::snprintf(pixel, sizeof pixel, "%s (0x%08X)", comp->pixelname, static_cast<unsigned>(comp->pixelformat));
        table.add({std::to_string(i), std::to_string(comp->source), std::to_string(comp->region),
                   std::to_string(comp->component), comp->compname, pixel, enabled_text(ornc, comp)});
    }
    table.print(stdout);
    std::printf("%d component entr%s.\n", count, count == 1 ? "y" : "ies");
}

// A monitor cannot walk the table (the walk moves the device's selectors,
// which only the controller may do): what the selectors point at now.
void print_selected(ornc_t* ornc) {
    ornc_parameters_t* params = ORNCGetDeviceParams(ornc);
    TextTable table({"SOURCE", "REGION", "COMPONENT", "ENABLED", "PIXEL FORMAT"});
    std::vector<std::string> row;
    for (const char* name :
         {"SourceSelector", "RegionSelector", "ComponentSelector", "ComponentEnable", "PixelFormat"}) {
        ornc_param_t* param = params == nullptr ? nullptr : ORNCParamsGetParamByName(params, name);
        std::string value;
        if (param == nullptr || param_value_text(param, false, &value) != ORNC_OK) value = "-";
        row.push_back(value);
    }
    table.add(row);
    table.print(stdout);
    std::printf("The selected component only: a monitor cannot move the selectors to list the others.\n");
}

}  // namespace

int run_components(int argc, char** argv) {
    CommandLine cli("components", kComponentsUsage);
    cli.positionals(1, 64);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    const std::vector<std::string>& args = cli.positional();
    std::string action;
    if (args.size() > 1) {
        action = args[1];
        if (action != "enable" && action != "disable") {
            return cli.fail(kExitUsage, "unknown action '" + action + "': enable or disable");
        }
        if (args.size() < 3) return cli.fail(kExitUsage, action + " needs at least one COMPONENT");
    }

    DeviceSession session;
    int exit_code = kExitOk;
    if (!session.open(cli, args[0], &exit_code, action.empty() ? Need::Reading : Need::Control)) return exit_code;
    ornc_t* ornc = session.connection.handle();
    if (session.connection.monitor()) {
        print_selected(ornc);
        return kExitOk;
    }
    if (ORNCGetComponentCount(ornc) <= 0) {
        std::printf("The device offers no multipart components.\n");
        return action.empty() ? kExitOk : cli.fail_status("cannot " + action, ORNC_ERR_ELEMENT_NOT_FOUND);
    }
    // Every COMPONENT is checked before the first is switched.
    std::vector<const ornc_component_t*> chosen;
    for (size_t i = 2; i < args.size(); ++i) {
        chosen.push_back(resolve(ornc, args[i]));
        if (chosen.back() == nullptr) {
            return cli.fail(kExitFailed, "no component '" + args[i] + "': " + status_text(ORNC_ERR_ELEMENT_NOT_FOUND) +
                                             "; the device offers " + offered(ornc));
        }
    }
    for (size_t i = 2; i < args.size(); ++i) {
        const ornc_status_t status = ORNCComponentEnable(ornc, chosen[i - 2], action == "enable" ? 1 : 0);
        if (status != ORNC_OK) return cli.fail_status("cannot " + action + " " + args[i], status);
        std::printf("%s %sd\n", args[i].c_str(), action.c_str());
    }
    print_table(ornc);
    return kExitOk;
}

}  // namespace ornctool
