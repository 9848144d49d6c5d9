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
    "Usage: ornc-tool params DEVICE [--category C] [--visibility V] [--map M]\n"
    "Prints the parameter tree of a device: each category with its parameters,\n"
    "their type, access (RW, RO, WO, or NA when not available) and current value.\n"
    "\n"
    "  --category C    only this category (its name, e.g. AcquisitionControl)\n"
    "  --visibility V  beginner, expert, guru (default) or invisible: the deepest\n"
    "                  level shown\n";

const char kGetUsage[] =
    "Usage: ornc-tool get DEVICE NAME [--number] [--map M]\n"
    "Prints the current value of one parameter in its text form (integers in\n"
    "64 bits). Enumerations print their entry name, or with --number the\n"
    "entry's value.\n";

const char kSetUsage[] =
    "Usage: ornc-tool set DEVICE NAME VALUE [--map M]\n"
    "Writes one parameter from its text form, then prints the value the device\n"
    "holds. The whole text must be a value: integers in decimal or 0x hex\n"
    "(rounded to the step and clamped into the range), finite floats, booleans\n"
    "true/false/1/0, enumerations by entry name or value.\n";

const char kExecUsage[] =
    "Usage: ornc-tool exec DEVICE COMMAND [--map M]\n"
    "Executes a command parameter (for example AcquisitionStop or\n"
    "TimestampLatch).\n";

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

}  // namespace

int run_params(int argc, char** argv) {
    CommandLine cli("params", std::string(kParamsUsage) + kMapHelp);
    cli.option("--category", true).option("--visibility", true).option("--map", true).positionals(1, 1);
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
    TextTable table({"", "", "", ""});
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
            table.add({param_name(param), param_type_name(type), access, value});
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
        const ornc_status_t status = param_set_text(param, text);
        if (status != ORNC_OK) return cli.fail_status("cannot set " + name + " to '" + text + "'", status);
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
