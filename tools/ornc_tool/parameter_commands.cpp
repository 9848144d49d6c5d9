// params, get, set and exec: the GenICam parameters of one device.
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

const char kMapHelp[] = "  --map M         device (default), stream or communication: which parameter set\n";

const char kParamsUsage[] =
    "Usage: ornc-tool params DEVICE [--category C] [--visibility V] [--long] [--map M]\n"
    "Prints the parameter tree of a device: each category with its parameters,\n"
    "their type, access (RW, RO, WO, or NA when not available) and current value.\n"
    "ornc-tool describe DEVICE NAME tells everything about one of them.\n"
    "\n"
    "  --long          also each number's range, step and unit\n"
    "  --category C    only this category (its name, e.g. AcquisitionControl)\n"
    "  --visibility V  beginner, expert, guru (default) or invisible: the deepest\n"
    "                  level shown (any case)\n";

const char kGetUsage[] =
    "Usage: ornc-tool get DEVICE NAME [--number] [--map M]\n"
    "Prints the current value of one parameter in its text form (integers in\n"
    "64 bits, addresses and masks dotted). Enumerations print their entry name;\n"
    "--number prints the entry's value (and addresses as numbers).\n";

const char kSetUsage[] =
    "Usage: ornc-tool set DEVICE NAME VALUE [--map M]\n"
    "Writes one parameter from its text form, then prints the value the device\n"
    "holds. The whole text must be a value: integers in decimal or 0x hex\n"
    "(rounded to the step and clamped into the range), finite floats, booleans\n"
    "true/false (any case) or 1/0, enumerations by entry name or value, addresses\n"
    "and masks dotted or as a number. A refusal names the values NAME takes\n"
    "(ornc-tool describe DEVICE NAME shows them all).\n";

const char kExecUsage[] =
    "Usage: ornc-tool exec DEVICE COMMAND [--map M]\n"
    "Executes a command parameter (for example AcquisitionStop or\n"
    "TimestampLatch).\n";

const char kDescribeUsage[] =
    "Usage: ornc-tool describe DEVICE NAME [--map M]\n"
    "Tells everything the device says about one parameter: kind, access,\n"
    "current value, range, step and unit, an enumeration's entries with their\n"
    "values and availability, tooltip and description, category, visibility,\n"
    "and the selectors that choose which value it shows (and what a selector\n"
    "selects).\n";

std::string usage_with_map(const char* usage) { return std::string(usage) + "\n" + kMapHelp; }

// The command line get, set and exec share: `positionals` arguments
// (DEVICE, NAME and what the command adds) and --map.
CommandLine parameter_command_line(const char* command, const char* usage, size_t positionals) {
    CommandLine cli(command, usage_with_map(usage));
    cli.option("--map", true).positionals(positionals, positionals);
    return cli;
}

std::string category_text(int (*getter)(const ornc_category_t*, char*, int), const ornc_category_t* category) {
    return text_of(getter, category);
}

// The parameter NAME of the chosen map, or NULL with a message printed.
ornc_param_t* lookup(const CommandLine& cli, const ornc_t* ornc, const std::string& name, int* exit_code) {
    ornc_parameters_t* params = parameter_map(ornc, cli.value("--map", "device"));
    ornc_param_t* param = params == nullptr ? nullptr : ORNCParamsGetParamByName(params, name.c_str());
    if (param == nullptr) {
        *exit_code = cli.fail(kExitFailed, "no parameter '" + name + "' in the " + cli.value("--map", "device") +
                                               " parameters: " + status_text(ORNC_ERR_PARAM_UNDEFINED) +
                                               " (see ornc-tool params)");
    }
    return param;
}

bool valid_map(const CommandLine& cli, int* exit_code) {
    const std::string map = cli.value("--map", "device");
    if (map == "device" || map == "stream" || map == "communication") return true;
    *exit_code = cli.fail(kExitUsage, "--map takes device, stream or communication, not '" + map + "'");
    return false;
}

// The part get, set and exec share: parses the command line, connects to
// DEVICE, finds the parameter NAME (the second positional) in the chosen
// map and answers what `command(name, param)` answers, the device still
// connected; on any failure before, the message is printed and the tool's
// exit code answered. A command that only reads may get a monitor.
template <typename Command>
int with_parameter(CommandLine& cli, Need need, int argc, char** argv, Command command) {
    if (!cli.parse(argc, argv)) return cli.exit_code();
    int exit_code = kExitOk;
    if (!valid_map(cli, &exit_code)) return exit_code;
    DeviceSession session;
    if (!session.open(cli, cli.positional()[0], &exit_code, need)) return exit_code;
    const std::string& name = cli.positional()[1];
    ornc_param_t* param = lookup(cli, session.connection.handle(), name, &exit_code);
    if (param == nullptr) return exit_code;
    return command(name, param);
}

// "Name (value)" for each parameter of a selector relation.
std::string related(int count, ornc_param_t* (*at)(const ornc_param_t*, int), const ornc_param_t* param,
                    bool with_value) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        const ornc_param_t* other = at(param, i);
        if (other == nullptr) continue;
        std::string value;
        if (with_value && ORNCParamIsReadable(other)) param_value_text(other, false, &value);
        text += (text.empty() ? "" : ", ") + param_name(other) + (value.empty() ? "" : " (now " + value + ")");
    }
    return text;
}

void describe_entries(const ornc_param_t* param, TextTable* table) {
    int count = 0;
    if (ORNCParamGetEnumEntryCount(param, &count) != ORNC_OK) return;
    for (int i = 0; i < count; ++i) {
        char name[128] = "";
        char display[128] = "";
        int value = 0;
        orn_bool_t available = 0;
        ORNCParamGetEnumEntryName(param, i, name, static_cast<int>(sizeof name));
        ORNCParamGetEnumEntryDisplayName(param, i, display, static_cast<int>(sizeof display));
        ORNCParamGetEnumEntryValue(param, i, &value);
        ORNCParamGetEnumEntryAvailable(param, i, &available);
        table->add(
            {i == 0 ? "Entries" : "",
             std::string(name) + " = " + std::to_string(value) + (available ? "" : " (not available now)") +
                 (display[0] != '\0' && std::string(display) != name ? "  \"" + std::string(display) + "\"" : "")});
    }
}

}  // namespace

int run_describe(int argc, char** argv) {
    CommandLine cli = parameter_command_line("describe", kDescribeUsage, 2);
    return with_parameter(cli, Need::Reading, argc, argv, [&](const std::string& name, ornc_param_t* param) -> int {
        const orn_param_type_t type = ORNCParamGetType(param);
        TextTable table({"", ""});
        table.add({"Name", name});
        table.add({"Display name", param_text(ORNCParamGetDisplayName, param)});
        table.add({"Kind", param_type_name(type)});
        table.add({"Access", param_access(param)});
        std::string value;
        if (ORNCParamIsReadable(param) && param_value_text(param, false, &value) == ORNC_OK &&
            (type == ORN_PARAM_ENUM || is_address_param(param))) {
            std::string number;
            if (param_value_text(param, true, &number) == ORNC_OK) value += " (" + number + ")";
        }
        if (type != ORN_PARAM_COMMAND && type != ORN_PARAM_REGISTER) table.add({"Value", value});
        const std::string range = range_text(param);
        if (!range.empty()) table.add({"Range", range});
        if (type == ORN_PARAM_STRING) table.add({"Accepts", accepted_values(param)});
        describe_entries(param, &table);
        std::string category = param_text(ORNCParamGetCategoryName, param);
        if (category.rfind("Root\\", 0) == 0) category.erase(0, 5);
        table.add({"Category", category});
        table.add({"Visibility", visibility_name(ORNCParamGetVisibility(param))});
        const std::string tooltip = param_text(ORNCParamGetTooltip, param);
        const std::string description = param_text(ORNCParamGetDescription, param);
        table.add({"Tooltip", tooltip});
        if (!description.empty() && description != tooltip) table.add({"Description", description});
        const std::string selected_by =
            related(ORNCParamGetSelectingCount(param), ORNCParamGetSelectingIndex, param, true);
        if (!selected_by.empty()) table.add({"Selected by", selected_by});
        if (ORNCParamIsSelector(param)) {
            table.add({"Selects", related(ORNCParamGetSelectedCount(param), ORNCParamGetSelectedIndex, param, false)});
        }
        table.print(stdout);
        return kExitOk;
    });
}

int run_params(int argc, char** argv) {
    CommandLine cli("params", std::string(kParamsUsage) + kMapHelp);
    cli.option("--category", true).option("--visibility", true).option("--map", true).option("--long", false);
    cli.positionals(1, 1);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    int exit_code = kExitOk;
    if (!valid_map(cli, &exit_code)) return exit_code;
    orn_param_visibility_t deepest = ORN_VIS_GURU;
    if (cli.has("--visibility") && !parse_visibility(cli.value("--visibility"), &deepest)) {
        return cli.fail(kExitUsage, "--visibility takes beginner, expert, guru or invisible");
    }

    DeviceSession session;
    if (!session.open(cli, cli.positional()[0], &exit_code, Need::Reading)) return exit_code;
    ornc_parameters_t* params = parameter_map(session.connection.handle(), cli.value("--map", "device"));
    if (params == nullptr) return cli.fail_status("no parameters", ORNC_ERR_DEVICE_NOT_CONNECTED);

    const std::string wanted = cli.value("--category");
    bool category_found = wanted.empty();
    int shown = 0;
    const int categories = ORNCParamsGetCategoryCount(params);
    const bool long_form = cli.has("--long");
    TextTable table(std::vector<std::string>(long_form ? 5 : 4, ""));
    for (int c = 0; c < categories; ++c) {
        ornc_category_t* category = ORNCParamsGetCategory(params, c);
        const std::string name = category_text(ORNCCategoryGetName, category);
        if (!wanted.empty() && name != wanted) continue;
        category_found = true;
        const std::string display = category_text(ORNCCategoryGetDisplayName, category);
        bool heading_added = false;
        for (int p = 0;; ++p) {
            ornc_param_t* param = ORNCParamsGetParamInCategory(params, category, p);
            if (param == nullptr) break;
            if (ORNCParamGetVisibility(param) > deepest) continue;
            if (!heading_added) {
                table.add_heading(display.empty() || display == name ? name : name + " (" + display + ")");
                heading_added = true;
            }
            const std::string access = param_access(param);
            const orn_param_type_t type = ORNCParamGetType(param);
            std::string value;
            if (access == "RW" || access == "RO") {
                const ornc_status_t status = param_value_text(param, false, &value);
                if (status != ORNC_OK) value = "<" + status_text(status) + ">";
            }
            std::vector<std::string> row{param_name(param), param_type_name(type), access, value};
            if (long_form) row.push_back(range_text(param));
            table.add(row);
            ++shown;
        }
    }
    table.print(stdout, "  ");
    if (!category_found) {
        return cli.fail(kExitFailed, "no category '" + wanted + "': " + status_text(ORNC_ERR_ELEMENT_NOT_FOUND));
    }
    std::printf("%d parameter%s shown (visibility up to %s).\n", shown, shown == 1 ? "" : "s",
                visibility_name(deepest));
    return kExitOk;
}

int run_get(int argc, char** argv) {
    CommandLine cli = parameter_command_line("get", kGetUsage, 2);
    cli.option("--number", false);
    return with_parameter(cli, Need::Reading, argc, argv, [&](const std::string& name, ornc_param_t* param) -> int {
        const orn_param_type_t type = ORNCParamGetType(param);
        if (type == ORN_PARAM_COMMAND || type == ORN_PARAM_REGISTER) {
            return cli.fail(kExitFailed, name + " has no text form (type " + param_type_name(type) +
                                             "): " + status_text(ORNC_ERR_PARAM_WRONG_TYPE));
        }
        if (!ORNCParamIsReadable(param)) return cli.fail_status("cannot read " + name, ORNC_ERR_PARAM_NOT_READABLE);
        std::string value;
        const ornc_status_t status = param_value_text(param, cli.has("--number"), &value);
        if (status != ORNC_OK) return cli.fail_status("cannot read " + name, status);
        std::printf("%s\n", value.c_str());
        return kExitOk;
    });
}

int run_set(int argc, char** argv) {
    CommandLine cli = parameter_command_line("set", kSetUsage, 3);
    return with_parameter(cli, Need::Control, argc, argv, [&](const std::string& name, ornc_param_t* param) -> int {
        const std::string& text = cli.positional()[2];
        if (ORNCParamGetType(param) == ORN_PARAM_COMMAND) {
            return cli.fail(kExitFailed, name + " is a command, it has no value: run ornc-tool exec DEVICE " + name +
                                             " (" + status_text(ORNC_ERR_PARAM_TYPE_MISMATCH) + ")");
        }
        const ornc_status_t status = param_set_text(param, text);
        if (status != ORNC_OK) {
            const std::string accepted = status == ORNC_ERR_PARAM_NOT_WRITEABLE ? "" : accepted_values(param);
            return cli.fail(kExitFailed, "cannot set " + name + " to '" + text + "': " + status_text(status) +
                                             (accepted.empty() ? "" : "; " + name + " takes " + accepted));
        }
        std::string value;
        if (ORNCParamIsReadable(param) && param_value_text(param, false, &value) == ORNC_OK) {
            std::printf("%s = %s\n", name.c_str(), value.c_str());
        } else {
            std::printf("%s written\n", name.c_str());
        }
        return kExitOk;
    });
}

int run_exec(int argc, char** argv) {
    CommandLine cli = parameter_command_line("exec", kExecUsage, 2);
    return with_parameter(cli, Need::Control, argc, argv, [&](const std::string& name, ornc_param_t* param) -> int {
        if (ORNCParamGetType(param) != ORN_PARAM_COMMAND) {
            return cli.fail(kExitFailed, name + " is not a command (type " + param_type_name(ORNCParamGetType(param)) +
                                             "): " + status_text(ORNC_ERR_PARAM_TYPE_MISMATCH));
        }
        const ornc_status_t status = ORNCParamSendCommand(param);
        if (status != ORNC_OK) return cli.fail_status("cannot execute " + name, status);
        std::printf("%s executed\n", name.c_str());
        return kExitOk;
    });
}

}  // namespace ornctool
