// list and info: what discovery sees, without connecting.
#include <cstdio>
#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "device_session.h"
#include "text_table.h"

namespace ornctool {

namespace {

const char kListUsage[] =
    "Usage: ornc-tool list [--brief]\n"
    "Lists the network adapters and the supported devices found on each.\n"
    "\n"
    "  --brief   one device per line, tab-separated: serial, IP address, model\n"
    "            (nothing else; for scripts)\n"
    "\n"
    "The adapters asked follow ORNC_INTERFACES (e.g. \"lo\"), loopback addresses\n"
    "ORNC_LOOPBACK_HOSTS; see ornc-tool --help.\n";

const char kInfoUsage[] =
    "Usage: ornc-tool info DEVICE\n"
    "Prints every detail discovery knows of one device and of the adapter that\n"
    "found it, and its current access type. Does not connect.\n"
    "\n"
    "DEVICE is an IPv4 address, a serial number, or a pattern matched against the\n"
    "device's identity (\"\" picks the first supported device).\n";

struct DeviceRow {
    std::string model, serial, ip, mac, access;
};

DeviceRow describe(const ornc_device_t* device) {
    DeviceRow row;
    row.model = text_of(ORNCDeviceGetModelName, device);
    row.serial = text_of(ORNCDeviceGetSerialNumber, device);
    row.ip = text_of(ORNCDeviceGetIPAddress, device);
    row.mac = text_of(ORNCDeviceGetMACAddress, device);
    row.access = access_type_name(ORNCGetAccessTypeByIPAddress(row.ip.c_str()));
    return row;
}

std::string adapter_addresses(const ornc_interface_t* adapter) {
    std::string text;
    const int count = ORNCInterfaceGetIPAddressCount(adapter);
    for (int i = 0; i < count; ++i) {
        if (!text.empty()) text += ", ";
        text += adapter_address_text(ORNCInterfaceGetIPAddress, adapter, i) + "/" +
                adapter_address_text(ORNCInterfaceGetSubnetMask, adapter, i);
    }
    return text.empty() ? "-" : text;
}

const char* yes_no(orn_bool_t value) { return value ? "yes" : "no"; }

}  // namespace

int run_list(int argc, char** argv) {
    CommandLine cli("list", kListUsage);
    cli.option("--brief", false).positionals(0, 0);
    if (!cli.parse(argc, argv)) return cli.exit_code();

    Discovery discovery;
    const ornc_status_t status = discovery.run();
    if (status != ORNC_OK) return cli.fail_status("discovery failed", status);
    const ornc_system_t* sys = discovery.system();

    // With no device found, every device query of the library runs a new
    // discovery, and a new discovery invalidates the adapter handles: so
    // the adapters are described first, the devices counted once, and the
    // adapter handles fetched again afterwards.
    const int adapters = ORNCSysGetInterfaceCount(sys);
    TextTable adapter_table({"ADAPTER", "ADDRESSES", "MAC", "GATEWAY", "DEVICES"});
    std::vector<std::vector<std::string>> adapter_rows;
    for (int a = 0; a < adapters; ++a) {
        const ornc_interface_t* adapter = ORNCSysGetInterface(sys, a);
        const std::string gateway = text_of(ORNCInterfaceGetDefaultGateway, adapter);
        adapter_rows.push_back({text_of(ORNCInterfaceGetDescription, adapter), adapter_addresses(adapter),
                                text_of(ORNCInterfaceGetMACAddress, adapter), gateway.empty() ? "-" : gateway});
    }
    const int total = ORNCSysGetDeviceCount(sys) > 0 ? ORNCSysGetDeviceCount(sys) : 0;

    TextTable device_table({"ADAPTER", "MODEL", "SERIAL", "IP", "MAC", "ACCESS"});
    for (int a = 0; a < adapters; ++a) {
        const ornc_interface_t* adapter = total > 0 ? ORNCSysGetInterface(sys, a) : nullptr;
        const int devices = adapter != nullptr ? ORNCInterfaceGetDeviceCount(sys, adapter) : 0;
        adapter_rows[static_cast<size_t>(a)].push_back(std::to_string(devices));
        adapter_table.add(adapter_rows[static_cast<size_t>(a)]);
        for (int d = 0; d < devices; ++d) {
            const DeviceRow row = describe(ORNCInterfaceGetDevice(sys, adapter, d));
            if (cli.has("--brief")) {
                std::printf("%s\t%s\t%s\n", row.serial.c_str(), row.ip.c_str(), row.model.c_str());
            }
            device_table.add(
                {adapter_rows[static_cast<size_t>(a)][0], row.model, row.serial, row.ip, row.mac, row.access});
        }
    }
    if (cli.has("--brief")) return kExitOk;

    std::printf("Adapters (%d):\n", adapters);
    adapter_table.print(stdout, "  ");
    if (device_table.size() == 0) {
        std::printf(
            "\nNo supported device found. (Models the library does not support are not listed:\n"
            "add part of the model name to genicam_devices.ini in the working directory.)\n");
        return kExitOk;
    }
    std::printf("\nSupported devices (%zu):\n", device_table.size());
    device_table.print(stdout, "  ");
    return kExitOk;
}

int run_info(int argc, char** argv) {
    CommandLine cli("info", kInfoUsage);
    cli.positionals(1, 1);
    if (!cli.parse(argc, argv)) return cli.exit_code();

    Discovery discovery;
    int exit_code = kExitOk;
    const ornc_device_t* device = find_device(cli, cli.positional()[0], &discovery, &exit_code);
    if (device == nullptr) return exit_code;

    const std::string ip = text_of(ORNCDeviceGetIPAddress, device);
    int major = 0;
    int minor = 0;
    const ornc_status_t version_status = ORNCDeviceGetGEVVersion(device, &major, &minor);
    TextTable table({"", ""});
    table.add({"Model", text_of(ORNCDeviceGetModelName, device)});
    table.add({"Vendor", text_of(ORNCDeviceGetVendorName, device)});
    table.add({"Serial number", text_of(ORNCDeviceGetSerialNumber, device)});
    table.add({"Device ID", text_of(ORNCDeviceGetID, device)});
    table.add({"GigE Vision version", version_status == ORNC_OK ? std::to_string(major) + "." + std::to_string(minor)
                                                                : status_text(version_status)});
    table.add({"IP address", ip});
    table.add({"Subnet mask", text_of(ORNCDeviceGetSubnetMask, device)});
    table.add({"Default gateway", text_of(ORNCDeviceGetDefaultGateway, device)});
    table.add({"MAC address", text_of(ORNCDeviceGetMACAddress, device)});
    table.add({"DHCP", std::string("available ") + yes_no(ORNCDeviceIsDHCPAvailable(device)) + ", enabled " +
                           yes_no(ORNCDeviceIsDHCPEnabled(device))});
    table.add({"Link-local address", std::string("available ") + yes_no(ORNCDeviceIsLLAAvailable(device)) +
                                         ", enabled " + yes_no(ORNCDeviceIsLLAEnabled(device))});
    table.add({"Persistent IP", std::string("available ") + yes_no(ORNCDeviceIsPersistentAvailable(device)) +
                                    ", enabled " + yes_no(ORNCDeviceIsPersistentEnabled(device))});
    table.add({"Access", access_type_name(ORNCGetAccessTypeByIPAddress(ip.c_str()))});
    const ornc_interface_t* adapter = discovery.adapter_of(device);
    if (adapter != nullptr) {
        table.add({"Adapter", text_of(ORNCInterfaceGetDescription, adapter)});
        table.add({"Adapter addresses", adapter_addresses(adapter)});
        table.add({"Adapter MAC", text_of(ORNCInterfaceGetMACAddress, adapter)});
        const std::string gateway = text_of(ORNCInterfaceGetDefaultGateway, adapter);
        table.add({"Adapter gateway", gateway.empty() ? "-" : gateway});
    }
    table.print(stdout);
    return kExitOk;
}

}  // namespace ornctool
