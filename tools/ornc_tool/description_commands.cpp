// dump-xml: the device's GenICam description file.
#include <cstdio>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "device_session.h"

namespace ornctool {

namespace {

const char kDumpXmlUsage[] =
    "Usage: ornc-tool dump-xml DEVICE FILE\n"
    "Saves the device's GenICam description. A FILE ending in .zip gets a zip\n"
    "archive holding it, any other name the plain XML.\n";

}  // namespace

int run_dump_xml(int argc, char** argv) {
    CommandLine cli("dump-xml", kDumpXmlUsage);
    cli.positionals(2, 2);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    const std::string& file = cli.positional()[1];
    const std::string problem = file_write_problem(file);
    if (!problem.empty()) return cli.fail(kExitUsage, "cannot write " + file + ": " + problem);
    DeviceSession session;
    int exit_code = kExitOk;
    if (!session.open(cli, cli.positional()[0], &exit_code, Need::Reading)) return exit_code;
    const ornc_status_t status = ORNCDumpXML(session.connection.handle(), file.c_str());
    if (status != ORNC_OK) return cli.fail_status("cannot write " + file, status);
    std::printf("GenICam description written to %s\n", file.c_str());
    return kExitOk;
}

}  // namespace ornctool
