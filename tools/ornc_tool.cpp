// ornc-tool: the command line of libORNC. Finds, inspects and configures
// GigE Vision 3D sensors through the public C API only; one file per
// family of subcommands lives in ornc_tool/.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <net/if.h>

#include <algorithm>
#include <climits>
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
    {"describe", "everything about one parameter: range, unit, entries, help", ornctool::run_describe},
    {"get", "read one parameter", ornctool::run_get},
    {"set", "write one parameter", ornctool::run_set},
    {"exec", "execute a command parameter", ornctool::run_exec},
    {"components", "multipart components; enable and disable them", ornctool::run_components},
    {"ipconfig", "change a device's IP configuration", ornctool::run_ipconfig},
    {"dump-xml", "save the device's GenICam description", ornctool::run_dump_xml},
    {"doctor", "what stands between this host and a clean stream, with fixes", ornctool::run_doctor},
    {"action", "send an action command, at once or scheduled", ornctool::run_action},
#ifdef ORNC_TOOL_HAS_ACQUISITION
    {"grab", "acquire frames into PLY point clouds and PNG images", ornctool::run_grab},
    {"events", "print device events and parameter changes as they arrive", ornctool::run_events},
    {"sync", "fire scheduled actions at several devices; frame timestamps, PTP state", ornctool::run_sync},
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
        "  --verbose           library log (info and up) on standard error\n"
        "  --version           the version of the tool and of the library it runs on\n"
        "  --help              this help; COMMAND --help for a command's own\n"
        "\n"
        "Exit codes: 0 success, 1 the library or the device refused (the message\n"
        "says why) or doctor found a problem, 2 bad arguments (found before the\n"
        "device is touched), 3 no supported device matched DEVICE, 130 interrupted\n"
        "(grab, events).\n",
        out);
}

// The version of the library file this process runs on: the number after
// ".so." in its real name (libORNC.so.0.1.0), found from one of its symbols.
std::string loaded_library_version() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&ORNCGetVersion), &info) == 0 || info.dli_fname == nullptr) return "";
    char real[PATH_MAX];
    if (realpath(info.dli_fname, real) == nullptr) return "";
    const char* so = std::strstr(real, ".so.");
    return so == nullptr ? "" : so + 4;
}

// One version: the package's, which the tool and the library share (the
// SONAME, pkg-config and find_package carry it too).
int print_version() {
    const std::string library = loaded_library_version();
    std::printf("ornc-tool %s, libORNC %s\n", ORNC_TOOL_VERSION,
                library.empty() ? "(version unknown)" : library.c_str());
    return ornctool::kExitOk;
}

void log_to_stderr(const char* line) { std::fprintf(stderr, "%s\n", line); }

// Each name of a comma-separated list is an adapter of this host.
std::string unknown_adapter(const std::string& names) {
    size_t start = 0;
    while (start <= names.size()) {
        const size_t end = std::min(names.find(',', start), names.size());
        const std::string name = names.substr(start, end - start);
        if (name.empty() || if_nametoindex(name.c_str()) == 0) return name;
        start = end + 1;
    }
    return "";
}

// ADDRESS or FIRST-LAST (FIRST not above LAST), comma-separated.
bool valid_loopback_hosts(const std::string& list) {
    size_t start = 0;
    while (start <= list.size()) {
        const size_t end = std::min(list.find(',', start), list.size());
        const std::string entry = list.substr(start, end - start);
        const size_t dash = entry.find('-');
        in_addr first{};
        in_addr last{};
        if (inet_pton(AF_INET, entry.substr(0, dash).c_str(), &first) != 1) return false;
        if (dash != std::string::npos && (inet_pton(AF_INET, entry.substr(dash + 1).c_str(), &last) != 1 ||
                                          ntohl(last.s_addr) < ntohl(first.s_addr))) {
            return false;
        }
        start = end + 1;
    }
    return true;
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
            // The log goes to standard error: standard output keeps only the
            // command's answer, so $(ornc-tool --verbose get ...) still works.
            ORNLogSetExternal(log_to_stderr);
            ORNLogStart(0);
            continue;
        }
        if (arg == "--interface" || arg == "--loopback-hosts") {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "ornc-tool: %s needs a value (see ornc-tool --help)\n", arg.c_str());
                return ornctool::kExitUsage;
            }
            const std::string value = argv[++i];
            if (arg == "--interface" && !unknown_adapter(value).empty()) {
                std::fprintf(stderr, "ornc-tool: --interface: no adapter '%s' on this host (see ornc-tool list)\n",
                             unknown_adapter(value).c_str());
                return ornctool::kExitUsage;
            }
            if (arg == "--loopback-hosts" && !valid_loopback_hosts(value)) {
                std::fprintf(stderr,
                             "ornc-tool: --loopback-hosts takes IPv4 addresses or ranges FIRST-LAST, "
                             "comma-separated (e.g. 127.0.0.1-127.0.0.8), not '%s'\n",
                             value.c_str());
                return ornctool::kExitUsage;
            }
            setenv(arg == "--interface" ? "ORNC_INTERFACES" : "ORNC_LOOPBACK_HOSTS", value.c_str(), 1);
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
