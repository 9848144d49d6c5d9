// ornc-tool: the command line of libORNC. Finds, inspects and configures
// GigE Vision 3D sensors through the public C API only; one file per
// family of subcommands lives in ornc_tool/.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ORNC.h"
#include "ornc_tool/command_line.h"
#include "ornc_tool/commands.h"

namespace {

using ornctool::Subcommand;

const Subcommand kSubcommands[] = {
    {"list", "adapters and the supported devices on each", ornctool::run_list},
    {"info", "every detail of one device", ornctool::run_info},
    {"params", "the parameter tree with types, access and values", ornctool::run_params},
    {"get", "read one parameter", ornctool::run_get},
    {"set", "write one parameter", ornctool::run_set},
    {"exec", "execute a command parameter", ornctool::run_exec},
    {"components", "multipart components; enable and disable them", ornctool::run_components},
    {"ipconfig", "change a device's IP configuration", ornctool::run_ipconfig},
    {"dump-xml", "save the device's GenICam description", ornctool::run_dump_xml},
#ifdef ORNC_TOOL_HAS_ACQUISITION
    {"grab", "acquire frames into PLY point clouds and PNG images", ornctool::run_grab},
    {"events", "print device events and parameter changes as they arrive", ornctool::run_events},
#endif
};

void usage(FILE* out) {
    std::fputs(
        "Usage: ornc-tool [global options] COMMAND [arguments]\n"
        "Finds, inspects and configures GigE Vision 3D sensors through libORNC.\n"
        "\n"
        "Commands:\n",
        out);
    for (const Subcommand& sub : kSubcommands) std::fprintf(out, "  %-12s %s\n", sub.name, sub.summary);
    std::fputs(
        "\n"
        "DEVICE is an IPv4 address, a serial number, or a pattern matched against the\n"
        "device's identity (\"\" picks the first supported device).\n"
        "\n"
        "Global options (before COMMAND):\n"
        "  --interface NAMES   ask only these adapters (comma-separated, e.g. lo);\n"
        "                      sets ORNC_INTERFACES\n"
        "  --loopback-hosts L  loopback addresses to ask, e.g. 127.0.0.1-127.0.0.8;\n"
        "                      sets ORNC_LOOPBACK_HOSTS\n"
        "  --verbose           library log (info and up) on the console\n"
        "  --version           library version\n"
        "  --help              this help; COMMAND --help for a command's own\n"
        "\n"
        "Exit codes: 0 success, 1 the library reported a failure (its message is\n"
        "printed), 2 bad arguments, 3 no supported device matched DEVICE.\n",
        out);
}

int print_version() {
    char version[256] = "";
    char detail[512] = "";
    ORNCGetVersion(version, static_cast<int>(sizeof version));
    ORNCGetVersionDetail(detail, static_cast<int>(sizeof detail));
    std::printf("ornc-tool, libORNC %s\n%s\n", version, detail);
    return ornctool::kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            usage(stdout);
            return ornctool::kExitOk;
        }
        if (arg == "--version") return print_version();
        if (arg == "--verbose" || arg == "-v") {
            ORNLogSetLevel(ORN_LOGLVL_MASK_INFO);
            ORNLogSetCategory(ORN_LOGCAT_MASK_ALL);
            ORNLogStart(1);
            continue;
        }
        if (arg == "--interface" || arg == "--loopback-hosts") {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "ornc-tool: %s needs a value (see ornc-tool --help)\n", arg.c_str());
                return ornctool::kExitUsage;
            }
            setenv(arg == "--interface" ? "ORNC_INTERFACES" : "ORNC_LOOPBACK_HOSTS", argv[++i], 1);
            continue;
        }
        std::fprintf(stderr, "ornc-tool: unknown option %s (see ornc-tool --help)\n", arg.c_str());
        return ornctool::kExitUsage;
    }
    if (i >= argc) {
        usage(stderr);
        return ornctool::kExitUsage;
    }
    const std::string command = argv[i];
    if (command == "help") {
        if (i + 1 < argc) {
            char help[] = "--help";
            char* help_argv[] = {help};
            for (const Subcommand& sub : kSubcommands) {
                if (std::strcmp(sub.name, argv[i + 1]) == 0) return sub.run(1, help_argv);
            }
        }
        usage(stdout);
        return ornctool::kExitOk;
    }
    for (const Subcommand& sub : kSubcommands) {
        if (command == sub.name) return sub.run(argc - i - 1, argv + i + 1);
    }
    std::fprintf(stderr, "ornc-tool: unknown command '%s' (see ornc-tool --help)\n", command.c_str());
    return ornctool::kExitUsage;
}
