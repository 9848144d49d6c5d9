// ipconfig: a device's IP configuration, now and at power-up.
#include <cstdio>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "device_session.h"

namespace ornctool {

namespace {

const char kIpconfigUsage[] =
    "Usage: ornc-tool ipconfig DEVICE --ip IP --mask MASK [--gateway GW] [--persistent]\n"
    "Gives a device a new IP configuration at once (addressed by its MAC address,\n"
    "so this works even when the device sits on another subnet). The change lasts\n"
    "until the device powers down.\n"
    "\n"
    "  --ip IP         new address, dotted decimal\n"
    "  --mask MASK     new subnet mask\n"
    "  --gateway GW    new default gateway (default 0.0.0.0)\n"
    "  --persistent    also store the configuration in the device and switch\n"
    "                  persistent IP on, so that it holds after power-up (needs a\n"
    "                  connection: the device must be reachable at its current\n"
    "                  address)\n"
    "\n"
    "Run ornc-tool list afterwards to see the device at its new address.\n";

}  // namespace

int run_ipconfig(int argc, char** argv) {
    CommandLine cli("ipconfig", kIpconfigUsage);
    cli.option("--ip", true).option("--mask", true).option("--gateway", true).option("--persistent", false);
    cli.positionals(1, 1);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    if (!cli.has("--ip") || !cli.has("--mask")) return cli.fail(kExitUsage, "--ip and --mask are required");
    const std::string ip = cli.value("--ip");
    const std::string mask = cli.value("--mask");
    const std::string gateway = cli.value("--gateway", "0.0.0.0");
    for (const std::string& address : {ip, mask, gateway}) {
        if (!is_ipv4_address(address)) {
            return cli.fail(kExitUsage, "'" + address + "' is not a dotted-decimal IPv4 address: " +
                                            status_text(ORNC_ERR_IP_INVALID));
        }
    }
    if (!is_subnet_mask(mask)) {
        return cli.fail(kExitUsage, "'" + mask +
                                        "' is not a subnet mask: its ones must come first (e.g. 255.255.0.0): " +
                                        status_text(ORNC_ERR_IP_INVALID));
    }

    Discovery discovery;
    int exit_code = kExitOk;
    const ornc_device_t* device = find_device(cli, cli.positional()[0], &discovery, &exit_code);
    if (device == nullptr) return exit_code;
    const std::string serial = text_of(ORNCDeviceGetSerialNumber, device);
    const std::string old_ip = text_of(ORNCDeviceGetIPAddress, device);

    // The persistent settings go first: the device is reachable at its old
    // address only until the new one is forced.
    if (cli.has("--persistent")) {
        Connection connection;
        ornc_status_t status = connection.open(device);
        if (status != ORNC_OK) return cli.fail_status("cannot connect to " + serial + " at " + old_ip, status);
        status = ORNCIPMakePersistent(connection.handle(), ip.c_str(), mask.c_str(), gateway.c_str(), 1);
        if (status != ORNC_OK) return cli.fail_status("cannot store the persistent IP configuration", status);
        std::printf("%s: persistent IP %s mask %s gateway %s stored and enabled\n", serial.c_str(), ip.c_str(),
                    mask.c_str(), gateway.c_str());
    }
    const ornc_status_t status = ORNCDeviceSetIPConfiguration(device, ip.c_str(), mask.c_str(), gateway.c_str());
    if (status != ORNC_OK) return cli.fail_status("cannot change the IP configuration of " + serial, status);
    std::printf("%s: %s -> %s mask %s gateway %s\n", serial.c_str(), old_ip.c_str(), ip.c_str(), mask.c_str(),
                gateway.c_str());
    return kExitOk;
}

}  // namespace ornctool
