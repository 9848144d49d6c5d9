// doctor: what stands between this host and a clean stream from its
// sensors, each finding with the fix.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ORNCExt.h"
#include "command_line.h"
#include "commands.h"
#include "device_session.h"
#include "parameter_text.h"

namespace ornctool {

namespace {

const char kDoctorUsage[] =
    "Usage: ornc-tool doctor [DEVICE] [--json] [--sys-root DIR]\n"
    "Checks what stands between this host and a clean stream from DEVICE (or\n"
    "from every supported device found) and tells the fix for each problem:\n"
    "  subnet     the sensor outside its adapter's subnet or link-local range\n"
    "  rp_filter  strict reverse-path filtering that drops such a sensor's packets\n"
    "  mtu        the adapter's MTU against the negotiated stream packet size\n"
    "  rmem_max   the socket receive buffer ceiling against one frame's burst\n"
    "  bandwidth  what the sensors on one adapter send against its link speed\n"
    "             (and the inter-packet delay, GevSCPD, that would fit them)\n"
    "  firewall   stream test packets the sensor fires that never arrive\n"
    "Exit code 0 when nothing stands in the way, 1 when a problem was found.\n"
    "\n"
    "  --json          one JSON object instead of text\n"
    "  --sys-root DIR  read /proc/sys and /sys/class/net below DIR (default /)\n";

struct Finding {
    std::string check;     // "mtu", ...
    std::string severity;  // "problem", "hint", "ok" or "skipped" (not checkable)
    std::string subject;   // the adapter or the sensor
    std::string text;
    std::string fix;  // "" when there is nothing to do
};

// The system values the checks read, below a root folder.
class SystemValues {
public:
    explicit SystemValues(std::string root) : root_(std::move(root)) {}
    // The number in the file, or -1 when it cannot be read.
    long long number(const std::string& path) const {
        std::ifstream in(root_ + path);
        long long value = -1;
        if (!(in >> value)) return -1;
        return value;
    }
    // The adapter's MTU: asked of the kernel (sysfs may show another
    // network namespace than ours), or read below a root given instead.
    long long mtu(const std::string& adapter) const {
        if (!root_.empty()) return number("/sys/class/net/" + adapter + "/mtu");
        ifreq request{};
        adapter.copy(request.ifr_name, IFNAMSIZ - 1);
        const int sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const bool ok = sock >= 0 && ioctl(sock, SIOCGIFMTU, &request) == 0;
        if (sock >= 0) close(sock);
        return ok ? request.ifr_mtu : -1;
    }

private:
    std::string root_;
};

std::string json_text(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

uint32_t address_value(const std::string& text) {
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ? ntohl(address.s_addr) : 0;
}

std::string address_text(uint32_t value) {
    in_addr address{};
    address.s_addr = htonl(value);
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

int prefix_length(uint32_t mask) {
    int bits = 0;
    while (bits < 32 && (mask & (0x80000000u >> bits)) != 0) ++bits;
    return bits;
}

// One found sensor and what the checks learn of it.
struct Sensor {
    explicit Sensor(const ornc_device_t* found) : device(found) {}
    const ornc_device_t* device;
    std::string serial, ip, adapter;
    bool in_subnet = false;
    bool connected = false;
    long long packet_size = 0, packet_size_max = 0, payload = 0, tick_frequency = 0;
    double frame_rate = 0;
};

long long integer_of(ornc_parameters_t* params, const char* name, long long* max = nullptr) {
    ornc_param_t* param = params == nullptr ? nullptr : ORNCParamsGetParamByName(params, name);
    int64_t value = 0;
    if (param == nullptr || ORNCParamGetInteger64Value(param, &value) != ORNC_OK) return 0;
    int64_t high = 0;
    if (max != nullptr && ORNCParamGetInteger64Range(param, nullptr, &high, nullptr) == ORNC_OK) *max = high;
    return value;
}

double float_of(ornc_parameters_t* params, const char* name) {
    ornc_param_t* param = params == nullptr ? nullptr : ORNCParamsGetParamByName(params, name);
    float value = 0;
    return param != nullptr && ORNCParamGetFloatValue(param, &value) == ORNC_OK ? static_cast<double>(value) : 0.0;
}

bool set_integer(ornc_parameters_t* params, const char* name, long long value) {
    ornc_param_t* param = params == nullptr ? nullptr : ORNCParamsGetParamByName(params, name);
    return param != nullptr && ORNCParamSetInteger64Value(param, value) == ORNC_OK;
}

// Fires `tries` stream test packets at a socket of our own (the stream
// channel's port pointed at it meanwhile); how many arrived, -1 when the
// device offers no test packet.
int test_packets_arriving(ornc_t* ornc, int tries) {
    ornc_parameters_t* params = ORNCGetDeviceParams(ornc);
    ornc_param_t* fire = params == nullptr ? nullptr : ORNCParamsGetParamByName(params, "GevSCPSFireTestPacket");
    const long long old_port = integer_of(params, "GevSCPHostPort");
    if (fire == nullptr || old_port == 0) return -1;
    const int sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    socklen_t length = sizeof local;
    if (sock < 0 || bind(sock, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0 ||
        getsockname(sock, reinterpret_cast<sockaddr*>(&local), &length) != 0 ||
        !set_integer(params, "GevSCPHostPort", ntohs(local.sin_port))) {
        if (sock >= 0) close(sock);
        return -1;
    }
    int arrived = 0;
    for (int i = 0; i < tries; ++i) {
        if (ORNCParamSetBooleanValue(fire, 1) != ORNC_OK) break;
        pollfd wait{sock, POLLIN, 0};
        if (poll(&wait, 1, 500) == 1) {
            char packet[16];
            while (recv(sock, packet, sizeof packet, MSG_DONTWAIT) >= 0) {
            }
            ++arrived;
        }
    }
    set_integer(params, "GevSCPHostPort", old_port);
    close(sock);
    return arrived;
}

class Doctor {
public:
    Doctor(const SystemValues& system, const Discovery& discovery) : system_(system), discovery_(discovery) {}

    void check_subnet(Sensor* sensor) {
        const ornc_interface_t* adapter = discovery_.adapter_of(sensor->device);
        const uint32_t ip = address_value(sensor->ip);
        std::string subnets;
        uint32_t first_address = 0;
        for (int i = 0; adapter != nullptr && i < ORNCInterfaceGetIPAddressCount(adapter); ++i) {
            const uint32_t host = address_value(adapter_address_text(ORNCInterfaceGetIPAddress, adapter, i));
            const uint32_t mask = address_value(adapter_address_text(ORNCInterfaceGetSubnetMask, adapter, i));
            if ((host & mask) == (ip & mask)) sensor->in_subnet = true;
            if (first_address == 0) first_address = host;
            subnets += (subnets.empty() ? "" : ", ") + address_text(host) + "/" + std::to_string(prefix_length(mask));
        }
        if (sensor->in_subnet) {
            add({"subnet", "ok", sensor->serial, sensor->ip + " is in a subnet of " + sensor->adapter, ""});
            return;
        }
        const bool link_local = (ip & 0xFFFF0000u) == 0xA9FE0000u;
        const uint32_t mask = link_local ? 0xFFFF0000u : 0xFFFFFF00u;
        uint32_t host = (ip & mask) | 1u;
        if (host == ip) host = (ip & mask) | 2u;
        std::string fix = "give " + sensor->adapter + " an address there: ip addr add " + address_text(host) + "/" +
                          std::to_string(prefix_length(mask)) + " dev " + sensor->adapter;
        if (!link_local && first_address != 0) {
            fix += "; or move the sensor: ornc-tool ipconfig " + sensor->serial + " --ip <free address in " +
                   subnets.substr(0, subnets.find(',')) + "> --mask <its mask>";
        }
        add({"subnet", "problem", sensor->serial,
             sensor->ip + (link_local ? " (link-local)" : "") + " is outside the subnets of " + sensor->adapter + " (" +
                 (subnets.empty() ? "no address" : subnets) + ")",
             fix});
    }

    // 0 off, 1 strict, 2 loose; -1 unknown. The stricter of the two rules.
    long long rp_filter_mode(const std::string& adapter) const {
        return std::max(system_.number("/proc/sys/net/ipv4/conf/all/rp_filter"),
                        system_.number("/proc/sys/net/ipv4/conf/" + adapter + "/rp_filter"));
    }

    static std::string rp_filter_fix(const std::string& adapter) {
        return "sysctl -w net.ipv4.conf.all.rp_filter=2 net.ipv4.conf." + adapter +
               ".rp_filter=2 (loose: enough with a default route; 0 where no route leads to the sensor)";
    }

    // Nothing answered: strict filtering hides a sensor outside the subnets.
    void check_silent_adapters() {
        for (int i = 0; i < ORNCSysGetInterfaceCount(discovery_.system()); ++i) {
            const std::string adapter =
                text_of(ORNCInterfaceGetDescription, ORNCSysGetInterface(discovery_.system(), i));
            if (rp_filter_mode(adapter) != 1) continue;
            add({"rp_filter", "hint", adapter,
                 "strict reverse-path filtering drops the answers of a sensor outside the subnets of " + adapter +
                     ": such a sensor stays invisible",
                 rp_filter_fix(adapter)});
        }
    }

    void check_rp_filter(const Sensor& sensor) {
        const long long mode = rp_filter_mode(sensor.adapter);
        if (mode < 0) return;
        if (mode != 1 || sensor.in_subnet) {
            add({"rp_filter", "ok", sensor.adapter,
                 "reverse-path filtering " +
                     std::string(mode == 1   ? "strict"
                                 : mode == 2 ? "loose"
                                             : "off") +
                     (mode == 1 ? ", the sensor is inside the subnet" : ""),
                 ""});
            return;
        }
        add({"rp_filter", "problem", sensor.adapter,
             "strict reverse-path filtering drops the packets of " + sensor.serial + " at " + sensor.ip +
                 ", which has no route through " + sensor.adapter,
             rp_filter_fix(sensor.adapter)});
    }

    void check_stream(ornc_t* ornc, Sensor* sensor) {
        ornc_parameters_t* params = ORNCGetDeviceParams(ornc);
        sensor->packet_size = integer_of(params, "GevSCPSPacketSize", &sensor->packet_size_max);
        sensor->payload = integer_of(params, "PayloadSize");
        sensor->frame_rate = float_of(params, "AcquisitionFrameRate");
        sensor->tick_frequency = integer_of(params, "GevTimestampTickFrequency");
        const long long mtu = system_.mtu(sensor->adapter);
        if (mtu <= 0 || sensor->packet_size <= 0) {
            add({"mtu", "skipped", sensor->serial,
                 mtu <= 0 ? "the MTU of " + sensor->adapter + " cannot be read"
                          : "the device shows no GevSCPSPacketSize",
                 ""});
        } else {
            const std::string sizes = "stream packets of " + std::to_string(sensor->packet_size) + " bytes, MTU " +
                                      std::to_string(mtu) + " on " + sensor->adapter;
            if (sensor->packet_size > mtu) {
                add({"mtu", "problem", sensor->serial, sizes + ": the packets do not fit",
                     "ip link set " + sensor->adapter + " mtu 9000 (and the switch), or ornc-tool set " +
                         sensor->serial + " GevSCPSPacketSize " + std::to_string(mtu)});
            } else if (mtu < 9000 && sensor->packet_size_max >= 9000) {
                add({"mtu", "hint", sensor->serial, sizes + ": jumbo frames would need about six times fewer packets",
                     "ip link set " + sensor->adapter + " mtu 9000 (and the switch), then connect again"});
            } else {
                add({"mtu", "ok", sensor->serial, sizes, ""});
            }
        }
        const long long rmem_max = system_.number("/proc/sys/net/core/rmem_max");
        if (rmem_max > 0 && sensor->payload > 0) {
            const std::string sizes = "one frame is " + std::to_string(sensor->payload) +
                                      " bytes in a burst; net.core.rmem_max is " + std::to_string(rmem_max);
            long long wanted = 1;
            while (wanted < 2 * sensor->payload) wanted *= 2;
            if (rmem_max < sensor->payload) {
                add({"rmem_max", "problem", sensor->serial, sizes + ": the socket cannot hold a frame",
                     "sysctl -w net.core.rmem_max=" + std::to_string(wanted) +
                         " net.core.rmem_default=" + std::to_string(wanted)});
            } else {
                add({"rmem_max", "ok", sensor->serial, sizes, ""});
            }
        }
        const int arrived = test_packets_arriving(ornc, 3);
        if (arrived < 0) {
            add({"firewall", "skipped", sensor->serial,
                 "the device fires no stream test packet (GevSCPSFireTestPacket)", ""});
        } else if (arrived == 3) {
            add({"firewall", "ok", sensor->serial, "3 of 3 stream test packets arrived", ""});
        } else {
            add({"firewall", "problem", sensor->serial,
                 std::to_string(arrived) + " of 3 stream test packets from " + sensor->ip + " arrived" +
                     (arrived == 0 ? ": a firewall drops the stream" : ": the path loses packets"),
                 arrived == 0 ? "nft add rule inet filter input ip saddr " + sensor->ip +
                                    " udp accept (or: ufw allow from " + sensor->ip + " proto udp)"
                              : "check the cable, the switch and the adapter's error counters (ip -s link show " +
                                    sensor->adapter + ")"});
        }
    }

    // What all sensors on one adapter send against its link speed.
    void check_bandwidth(const std::vector<Sensor>& sensors) {
        std::map<std::string, std::vector<const Sensor*>> by_adapter;
        for (const Sensor& sensor : sensors) {
            if (sensor.connected && sensor.payload > 0 && sensor.frame_rate > 0)
                by_adapter[sensor.adapter].push_back(&sensor);
        }
        for (const auto& entry : by_adapter) {
            const long long speed = system_.number("/sys/class/net/" + entry.first + "/speed");
            double need = 0;  // bit/s
            for (const Sensor* sensor : entry.second) need += 8.0 * sensor->payload * sensor->frame_rate;
            char text[160];
            std::snprintf(text, sizeof text, "%zu sensor%s send%s %.1f Mbit/s", entry.second.size(),
                          entry.second.size() == 1 ? "" : "s", entry.second.size() == 1 ? "s" : "", need / 1e6);
            if (speed <= 0) {
                add({"bandwidth", "ok", entry.first, std::string(text) + "; the link speed is not known", ""});
                continue;
            }
            const double link = speed * 1e6;
            std::string summary = std::string(text) + " over a " + std::to_string(speed) + " Mbit/s link";
            if (need <= 0.9 * link) {
                add({"bandwidth", "ok", entry.first, summary, ""});
                continue;
            }
            // Each sensor gets an equal share of 90 % of the link: its
            // packets then need this much time, the delay the rest.
            const double share = 0.9 * link / static_cast<double>(entry.second.size());
            std::string fix;
            for (const Sensor* sensor : entry.second) {
                const double bits = 8.0 * static_cast<double>(sensor->packet_size > 0 ? sensor->packet_size : 1500);
                const double delay_s = bits / share - bits / link;
                const long long ticks =
                    static_cast<long long>(std::ceil(delay_s * static_cast<double>(sensor->tick_frequency)));
                const double fps = share / (8.0 * static_cast<double>(sensor->payload));
                char line[200];
                std::snprintf(line, sizeof line, "%sornc-tool set %s GevSCPD %lld (or AcquisitionFrameRate %.2f)",
                              fix.empty() ? "" : "; ", sensor->serial.c_str(), ticks, fps);
                fix += line;
            }
            add({"bandwidth", "problem", entry.first, summary + ": more than the link carries", fix});
        }
    }

    void add(Finding finding) { findings_.push_back(std::move(finding)); }
    const std::vector<Finding>& findings() const { return findings_; }

private:
    const SystemValues& system_;
    const Discovery& discovery_;
    std::vector<Finding> findings_;
};

void print_findings(const std::vector<Finding>& findings, bool json, int problems) {
    if (json) {
        std::printf("{\n  \"problems\": %d,\n  \"findings\": [", problems);
        for (size_t i = 0; i < findings.size(); ++i) {
            const Finding& f = findings[i];
            std::printf("%s\n    {\"check\": %s, \"severity\": %s, \"subject\": %s, \"text\": %s, \"fix\": %s}",
                        i == 0 ? "" : ",", json_text(f.check).c_str(), json_text(f.severity).c_str(),
                        json_text(f.subject).c_str(), json_text(f.text).c_str(), json_text(f.fix).c_str());
        }
        std::printf("\n  ]\n}\n");
        return;
    }
    for (const Finding& f : findings) {
        std::printf("%-9s %-10s %s: %s\n", ("[" + f.severity + "]").c_str(), f.check.c_str(), f.subject.c_str(),
                    f.text.c_str());
        if (!f.fix.empty()) std::printf("%-20s fix: %s\n", "", f.fix.c_str());
    }
    std::printf("%d problem%s found.\n", problems, problems == 1 ? "" : "s");
}

}  // namespace

int run_doctor(int argc, char** argv) {
    CommandLine cli("doctor", kDoctorUsage);
    cli.option("--json", false).option("--sys-root", true).positionals(0, 1);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    const SystemValues system(cli.value("--sys-root", ""));

    Discovery discovery;
    int exit_code = kExitOk;
    std::vector<Sensor> sensors;
    if (!cli.positional().empty()) {
        const ornc_device_t* device = find_device(cli, cli.positional()[0], &discovery, &exit_code);
        if (device == nullptr) return exit_code;
        sensors.emplace_back(device);
    } else {
        const ornc_status_t status = discovery.run();
        if (status != ORNC_OK) return cli.fail_status("discovery failed", status);
        const int count = ORNCSysGetDeviceCount(discovery.system());
        for (int i = 0; i < count; ++i) sensors.emplace_back(ORNCSysGetDevice(discovery.system(), i));
    }

    Doctor doctor(system, discovery);
    if (sensors.empty()) {
        doctor.add({"discovery", "problem", "-", "no supported sensor answered",
                    "check the cable and the adapter (ornc-tool list), allow UDP from port 3956 in the firewall, and "
                    "add the model to genicam_devices.ini if the library does not support it"});
        doctor.check_silent_adapters();
    }
    std::vector<std::unique_ptr<Connection>> connections;
    for (Sensor& sensor : sensors) {
        sensor.serial = text_of(ORNCDeviceGetSerialNumber, sensor.device);
        sensor.ip = text_of(ORNCDeviceGetIPAddress, sensor.device);
        sensor.adapter = text_of(ORNCInterfaceGetDescription, discovery.adapter_of(sensor.device));
        doctor.check_subnet(&sensor);
        doctor.check_rp_filter(sensor);
        connections.push_back(std::make_unique<Connection>());
        const ornc_status_t status = connections.back()->open(sensor.device);
        if (status != ORNC_OK && status != ORNC_ERR_PARAM_UNDEFINED) {
            doctor.add({"connect", "problem", sensor.serial, "cannot connect: " + status_text(status),
                        "see the findings above; ornc-tool --verbose info " + sensor.serial + " shows the log"});
            continue;
        }
        sensor.connected = true;
        doctor.check_stream(connections.back()->handle(), &sensor);
    }
    doctor.check_bandwidth(sensors);

    int problems = 0;
    for (const Finding& finding : doctor.findings()) problems += finding.severity == "problem" ? 1 : 0;
    print_findings(doctor.findings(), cli.has("--json"), problems);
    return problems == 0 ? kExitOk : kExitFailed;
}

}  // namespace ornctool
