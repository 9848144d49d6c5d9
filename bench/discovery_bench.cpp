// Discovery time of libORNC next to Aravis's own discovery
// (arv_update_device_list), with 1 and 4 virtual sensors, in one run.
//
// Aravis broadcasts on every adapter, so this program refuses to run
// unless the only adapter it sees is loopback: start it inside a network
// namespace of its own, as root:
//
//   unshare -n build/bench/discovery_bench [repetitions]
//
// It then builds its own link: a veth pair into a second namespace that
// holds the sensors at link-local addresses (both libraries see them by
// broadcast). A loopback row follows for libORNC alone: on loopback there
// is no broadcast, so Aravis cannot see sensors that bind 127.0.0.x.
#include <arv.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ORNC.h"
#include "ornsim/virtual_sensor.h"
#include "sensor_link.h"

namespace {

using Clock = std::chrono::steady_clock;

using bench::run;

// True when every adapter that is up is a loopback adapter.
bool only_loopback_is_up() {
    struct ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return false;
    bool only_loopback = true;
    for (struct ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if ((entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_LOOPBACK) == 0) only_loopback = false;
    }
    freeifaddrs(list);
    return only_loopback;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values[values.size() / 2];
}

struct Figures {
    double ornc_ms = 0;
    int ornc_found = 0;
    double aravis_ms = -1;  // < 0: not measured
    int aravis_found = 0;
};

Figures measure(int repetitions, bool with_aravis) {
    std::vector<double> ornc_times;
    std::vector<double> aravis_times;
    Figures figures;
    for (int i = 0; i < repetitions; ++i) {
        ornc_system_t sys;
        ORNCSysInit(&sys);
        const auto start = Clock::now();
        ORNCSysFindDevices(&sys);
        ornc_times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        figures.ornc_found = ORNCSysGetDeviceCount(&sys);
        ORNCSysDestroy(&sys);
        if (with_aravis) {
            const auto arv_start = Clock::now();
            arv_update_device_list();
            aravis_times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - arv_start).count());
            figures.aravis_found = static_cast<int>(arv_get_n_devices());
        }
    }
    figures.ornc_ms = median(ornc_times);
    if (with_aravis) figures.aravis_ms = median(aravis_times);
    return figures;
}

using bench::SensorLink;

ornsim::SensorConfig sensor(const std::string& address, int index) {
    ornsim::SensorConfig config;
    config.address = address;
    config.serial = "BENCH" + std::to_string(index);
    char mac[32];
    std::snprintf(mac, sizeof mac, "02:00:00:00:be:%02x", static_cast<unsigned>(index & 0xFF));
    config.mac = mac;
    return config;
}

void print_row(const char* link, int sensors, const Figures& f) {
    if (f.aravis_ms >= 0) {
        std::printf("| %-8s | %7d | %10.1f | %5d | %12.1f | %5d |\n", link, sensors, f.ornc_ms, f.ornc_found,
                    f.aravis_ms, f.aravis_found);
    } else {
        std::printf("| %-8s | %7d | %10.1f | %5d | %12s | %5s |\n", link, sensors, f.ornc_ms, f.ornc_found, "n/a", "-");
    }
}

}  // namespace

int main(int argc, char** argv) {
    const int repetitions = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    if (!only_loopback_is_up()) {
        std::fprintf(stderr,
                     "discovery_bench: adapters other than loopback are up; Aravis would broadcast on them.\n"
                     "Run it inside a network namespace of its own: unshare -n %s\n",
                     argv[0]);
        return 2;
    }
    if (geteuid() != 0 || !run("ip link set lo up")) {
        std::fprintf(stderr, "discovery_bench: needs root (network namespace and veth pair)\n");
        return 2;
    }
    unsetenv("ORNC_INTERFACES");
    setenv("ORNC_LOOPBACK_HOSTS", "127.0.0.1-127.0.0.8", 1);

    std::printf("Discovery time, median of %d runs (ms); each library asks every adapter (lo and the veth end)\n\n",
                repetitions);
    std::printf("| link     | sensors | libORNC ms | found | Aravis 0.8 ms | found |\n");
    std::printf("|----------|---------|------------|-------|---------------|-------|\n");
    for (int count : {1, 4}) {
        SensorLink link("169.254.1.1/16");
        if (!link.ok()) {
            std::fprintf(stderr, "discovery_bench: cannot build the veth link\n");
            return 1;
        }
        std::vector<std::unique_ptr<ornsim::VirtualSensor>> sensors;
        for (int i = 0; i < count; ++i) {
            const std::string address = "169.254.1." + std::to_string(10 + i);
            if (!link.add_address(address + "/16")) return 1;
            auto started = link.start(sensor(address, i));
            if (!started) {
                std::fprintf(stderr, "discovery_bench: sensor at %s did not start\n", address.c_str());
                return 1;
            }
            sensors.push_back(std::move(started));
        }
        // Let the link settle (the first frames after a veth comes up can be lost).
        usleep(300000);
        measure(1, true);
        print_row("veth", count, measure(repetitions, true));
    }
    for (int count : {1, 4}) {
        std::vector<std::unique_ptr<ornsim::VirtualSensor>> sensors;
        for (int i = 0; i < count; ++i) {
            auto started = std::make_unique<ornsim::VirtualSensor>(sensor("127.0.0." + std::to_string(2 + i), i));
            std::string error;
            if (!started->start(&error)) {
                std::fprintf(stderr, "discovery_bench: %s\n", error.c_str());
                return 1;
            }
            sensors.push_back(std::move(started));
        }
        print_row("loopback", count, measure(repetitions, false));
    }
    arv_shutdown();
    return 0;
}
