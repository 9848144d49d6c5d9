// action and sync: firing action commands, and several sensors taking
// their frames at one scheduled instant.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ORNCExt.h"
#include "command_line.h"
#include "commands.h"
#include "device_session.h"
#include "parameter_text.h"

namespace ornctool {

namespace {

const char kActionUsage[] =
    "Usage: ornc-tool action --device-key K --group-key G [--mask M] [--at +MS]\n"
    "Sends one action command on every adapter asked (see --interface) and to\n"
    "every loopback host asked (--loopback-hosts), and prints how many devices\n"
    "acknowledged taking it within 100 ms. A device takes the action when K is\n"
    "its ActionDeviceKey, G the ActionGroupKey of one of its action groups\n"
    "(ActionSelector) and M shares a bit with that group's ActionGroupMask; it\n"
    "then fires that group's signal (TriggerSource Action1, Action2, ...).\n"
    "\n"
    "  --device-key K  32-bit device key, decimal or 0x hexadecimal\n"
    "  --group-key G   32-bit group key\n"
    "  --mask M        group mask (default 0xFFFFFFFF)\n"
    "  --at +MS        scheduled: fire MS milliseconds from now, on the devices'\n"
    "                  clock taken as the host's realtime clock (a device with\n"
    "                  PtpEnable on, its clock synchronised with the host's);\n"
    "                  default: at once\n"
    "Exit codes: 0 sent (also when no device acknowledged), 1 not sent, 2 bad\n"
    "arguments.\n";

int64_t realtime_ns() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

bool parse_key(const CommandLine& cli, const std::string& name, uint32_t fallback, uint32_t* key) {
    long long value = fallback;
    if (cli.has(name) && (!parse_int(cli.value(name), &value) || value < 0 || value > 0xFFFFFFFFLL)) {
        cli.fail(kExitUsage,
                 name + " takes a 32-bit number (decimal or 0x hexadecimal), not '" + cli.value(name) + "'");
        return false;
    }
    *key = static_cast<uint32_t>(value);
    return true;
}

}  // namespace

int run_action(int argc, char** argv) {
    CommandLine cli("action", kActionUsage);
    cli.positionals(0, 0);
    cli.option("--device-key", true).option("--group-key", true).option("--mask", true).option("--at", true);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    if (!cli.has("--device-key") || !cli.has("--group-key")) {
        return cli.fail(kExitUsage, "--device-key and --group-key are required");
    }
    uint32_t device_key = 0, group_key = 0, mask = 0;
    if (!parse_key(cli, "--device-key", 0, &device_key) || !parse_key(cli, "--group-key", 0, &group_key) ||
        !parse_key(cli, "--mask", 0xFFFFFFFFu, &mask)) {
        return kExitUsage;
    }
    long long lead_ms = 0;
    const std::string at = cli.value("--at");
    if (cli.has("--at") &&
        (at.empty() || at[0] != '+' || !parse_int(at.substr(1), &lead_ms) || lead_ms < 0 || lead_ms > 3600 * 1000)) {
        return cli.fail(kExitUsage, "--at takes +MS: milliseconds from now, 0 to 3600000 (e.g. +50)");
    }
    Discovery discovery;  // a system handle; the command needs no discovery
    const uint64_t when = cli.has("--at") ? static_cast<uint64_t>(realtime_ns() + lead_ms * 1000000LL) : 0;
    int acknowledged = 0;
    const ornc_status_t status =
        ORNCSysSendActionCommand(discovery.system(), device_key, group_key, mask, when, &acknowledged);
    if (status != ORNC_OK) return cli.fail_status("cannot send the action command", status);
    if (when != 0) {
        std::printf("action 0x%08x/0x%08x mask 0x%08x at %llu (in %lld ms): %d acknowledged\n", device_key, group_key,
                    mask, static_cast<unsigned long long>(when), lead_ms, acknowledged);
    } else {
        std::printf("action 0x%08x/0x%08x mask 0x%08x at once: %d acknowledged\n", device_key, group_key, mask,
                    acknowledged);
    }
    return kExitOk;
}

#ifdef ORNC_TOOL_HAS_ACQUISITION

namespace {

const char kSyncUsage[] =
    "Usage: ornc-tool sync DEVICE... [--shots N] [--interval-ms T] [--lead-ms L]\n"
    "                                [--device-key K] [--group-key G]\n"
    "Makes the devices take their frames together: connects to each, sets it to\n"
    "trigger on action 1 (ActionDeviceKey K, ActionSelector 1, ActionGroupKey G,\n"
    "ActionGroupMask 1, TriggerMode On, TriggerSource Action1) with its PTP clock\n"
    "on (PtpEnable), starts the acquisition and fires N scheduled action commands,\n"
    "T ms apart, each L ms ahead of its time on the host's realtime clock (which\n"
    "the devices' clocks follow). Every setting it changed is put back at the end.\n"
    "\n"
    "For each shot: the devices that acknowledged, the frames that came, the\n"
    "spread of their device timestamps (latest - earliest) and the largest\n"
    "distance of one from the scheduled time. For each device: its PTP state\n"
    "(PtpStatus, PtpOffsetFromMaster after PtpDataSetLatch). A device is called\n"
    "unsynchronised when its PtpStatus is neither Master nor Slave or its offset\n"
    "from the master exceeds 1 ms either way.\n"
    "\n"
    "  --shots N        scheduled actions to fire (default 10)\n"
    "  --interval-ms T  time between shots (default 200); each command waits up\n"
    "                   to 100 ms for acks, so closer shots are sent from\n"
    "                   threads of their own (at most 16 at once)\n"
    "  --lead-ms L      how far ahead of its time a shot is sent (default 50)\n"
    "  --device-key K   device key (default 0x53594E43)\n"
    "  --group-key G    group key (default 1)\n"
    "Exit codes: 0 every device delivered a frame for every shot, 1 a shot was\n"
    "missed (or a failure), 2 bad arguments, 3 a DEVICE matched nothing.\n";

constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kSyncLimitNs = kNsPerMs;  // |offset from master| above this: unsynchronised
constexpr int kPtpSettleMs = 10000;         // waited at most while a clock is still starting
constexpr int kFrameGraceMs = 2000;         // frames waited for after the last shot's time
constexpr size_t kSendersInFlight = 16;     // action commands waiting for their acks at once

// What sync wrote, and what to write back (in reverse order).
struct Written {
    std::string name, old_value;
};

struct Sensor {
    std::string serial, ip;
    Connection connection;
    std::vector<Written> written;
    std::string ptp_status = "(none)";
    long long ptp_offset_ns = 0;
    bool ptp_offset_known = false;
    std::mutex mutex;
    std::vector<int64_t> stamps_ns;  // device timestamps of the frames, in ns
    long failed = 0;

    ornc_param_t* node(const char* name) {
        return ORNCParamsGetParamByName(ORNCGetDeviceParams(connection.handle()), name);
    }
    std::string read(const char* name) {
        std::string text;
        ornc_param_t* param = node(name);
        return param != nullptr && param_value_text(param, false, &text) == ORNC_OK ? text : "";
    }
    // Writes `value`, remembering the value before (when it can be read).
    bool write(const char* name, const std::string& value) {
        ornc_param_t* param = node(name);
        if (param == nullptr) return false;
        const std::string before = read(name);
        if (param_set_text(param, value) != ORNC_OK) return false;
        if (!before.empty() && before != value) written.push_back({name, before});
        return true;
    }
    void restore() {
        for (auto w = written.rbegin(); w != written.rend(); ++w) {
            ornc_param_t* param = node(w->name.c_str());
            if (param == nullptr || param_set_text(param, w->old_value) != ORNC_OK) {
                std::fprintf(stderr, "ornc-tool sync: could not put back %s of %s; it is left as sync set it\n",
                             w->name.c_str(), serial.c_str());
            }
        }
        written.clear();
    }
    void frame(bool ok) {
        ornc_frame_info_t info{};
        const bool known = ok && ORNCGetFrameInfo(connection.handle(), &info) == ORNC_OK && info.timestamp_frequency;
        std::lock_guard<std::mutex> lock(mutex);
        if (!known) {
            ++failed;
            return;
        }
        // Seconds and the rest apart, so that no product overflows.
        const uint64_t f = info.timestamp_frequency;
        stamps_ns.push_back(
            static_cast<int64_t>(info.timestamp / f * 1000000000u + info.timestamp % f * 1000000000u / f));
    }
    bool synchronised() const {
        return (ptp_status == "Master" || ptp_status == "Slave") && ptp_offset_known &&
               std::llabs(ptp_offset_ns) <= kSyncLimitNs;
    }
};

void on_image(orn_image_t* image, void* sensor) { static_cast<Sensor*>(sensor)->frame(image != nullptr); }
void on_image_vector(orn_image_vec_t* vec, void* sensor) { static_cast<Sensor*>(sensor)->frame(vec != nullptr); }

// Triggered by action 1 with the keys, PTP on. False (with the setting
// named) when the device refuses one.
bool prepare(Sensor* sensor, uint32_t device_key, uint32_t group_key, std::string* refused) {
    const std::string selector = sensor->read("TriggerSelector");
    const std::vector<std::pair<const char*, std::string>> steps = {
        {"TriggerSelector", "FrameStart"},
        {"TriggerMode", "On"},
        {"TriggerSource", "Action1"},
        {"AcquisitionMode", "Continuous"},
        {"ActionSelector", "1"},
        {"ActionGroupKey", std::to_string(group_key)},
        {"ActionGroupMask", "1"},
        {"ActionDeviceKey", std::to_string(device_key)},
        {"PtpEnable", "true"},
    };
    for (const auto& step : steps) {
        if (std::string(step.first) == "TriggerSelector" && selector.empty()) continue;
        if (!sensor->write(step.first, step.second)) {
            *refused = std::string(step.first) + " " + step.second;
            return false;
        }
    }
    return true;
}

// PtpStatus, latched offset. A clock still starting (Initializing,
// Listening, PreMaster) is waited for, at most kPtpSettleMs.
void read_ptp(const std::vector<std::unique_ptr<Sensor>>& sensors) {
    const auto starting = [](const std::string& status) {
        return status == "Initializing" || status == "Listening" || status == "PreMaster";
    };
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPtpSettleMs);
    for (;;) {
        bool settling = false;
        for (const auto& sensor : sensors) {
            sensor->ptp_status = sensor->read("PtpStatus");
            if (sensor->ptp_status.empty()) sensor->ptp_status = "(none)";
            settling = settling || starting(sensor->ptp_status);
        }
        if (!settling || std::chrono::steady_clock::now() >= until) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    for (const auto& sensor : sensors) {
        ornc_param_t* latch = sensor->node("PtpDataSetLatch");
        ornc_param_t* offset = sensor->node("PtpOffsetFromMaster");
        int64_t value = 0;
        sensor->ptp_offset_known = latch != nullptr && offset != nullptr && ORNCParamSendCommand(latch) == ORNC_OK &&
                                   ORNCParamGetInteger64Value(offset, &value) == ORNC_OK;
        sensor->ptp_offset_ns = value;
    }
}

void sleep_until_realtime(int64_t when_ns) {
    const int64_t wait = when_ns - realtime_ns();
    if (wait > 0) std::this_thread::sleep_for(std::chrono::nanoseconds(std::min<int64_t>(wait, 10000 * kNsPerMs)));
}

// The shot a frame stamped `stamp` belongs to: the nearest scheduled time,
// when within half an interval (and 1 s); -1 otherwise.
long shot_of(int64_t stamp, int64_t first, int64_t interval, long shots) {
    const int64_t tolerance = std::min<int64_t>(interval / 2, 1000 * kNsPerMs);
    if (stamp < first - tolerance) return -1;
    const long k = static_cast<long>((stamp - first + interval / 2) / interval);
    if (k >= shots) return -1;
    return std::llabs(stamp - (first + k * interval)) <= tolerance ? k : -1;
}

// Frames per shot and per sensor: the device timestamp, or -1 for none.
std::vector<std::vector<int64_t>> assign_frames(const std::vector<std::unique_ptr<Sensor>>& sensors, int64_t first,
                                                int64_t interval, long shots, long* stray) {
    std::vector<std::vector<int64_t>> table(static_cast<size_t>(shots), std::vector<int64_t>(sensors.size(), -1));
    for (size_t s = 0; s < sensors.size(); ++s) {
        std::lock_guard<std::mutex> lock(sensors[s]->mutex);
        for (int64_t stamp : sensors[s]->stamps_ns) {
            const long k = shot_of(stamp, first, interval, shots);
            if (k < 0 || table[static_cast<size_t>(k)][s] >= 0) {
                ++*stray;
            } else {
                table[static_cast<size_t>(k)][s] = stamp;
            }
        }
        *stray += sensors[s]->failed;
    }
    return table;
}

bool all_delivered(const std::vector<std::unique_ptr<Sensor>>& sensors, long shots) {
    for (const auto& sensor : sensors) {
        std::lock_guard<std::mutex> lock(sensor->mutex);
        if (static_cast<long>(sensor->stamps_ns.size()) < shots) return false;
    }
    return true;
}

}  // namespace

int run_sync(int argc, char** argv) {
    CommandLine cli("sync", kSyncUsage);
    cli.option("--shots", true).option("--interval-ms", true).option("--lead-ms", true);
    cli.option("--device-key", true).option("--group-key", true);
    cli.positionals(1, 64);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    long long shots = 10, interval_ms = 200, lead_ms = 50;
    if (cli.has("--shots") && (!parse_int(cli.value("--shots"), &shots) || shots < 1 || shots > 100000)) {
        return cli.fail(kExitUsage, "--shots takes a number from 1 to 100000");
    }
    if (cli.has("--interval-ms") &&
        (!parse_int(cli.value("--interval-ms"), &interval_ms) || interval_ms < 1 || interval_ms > 60000)) {
        return cli.fail(kExitUsage, "--interval-ms takes 1 to 60000 ms");
    }
    if (cli.has("--lead-ms") && (!parse_int(cli.value("--lead-ms"), &lead_ms) || lead_ms < 1 || lead_ms > 60000)) {
        return cli.fail(kExitUsage, "--lead-ms takes 1 to 60000 ms");
    }
    uint32_t device_key = 0, group_key = 0;
    if (!parse_key(cli, "--device-key", 0x53594E43u, &device_key) || !parse_key(cli, "--group-key", 1, &group_key)) {
        return kExitUsage;
    }

    // One discovery for all (a new one would invalidate the devices found);
    // one that missed a device is made again, three at most.
    Discovery discovery;
    ornc_status_t status = ORNC_OK;
    for (int attempt = 0; attempt < 3; ++attempt) {
        status = discovery.run();
        if (status != ORNC_OK) return cli.fail_status("discovery failed", status);
        const auto found = [&discovery](const std::string& key) { return discovery.find(key) != nullptr; };
        if (std::all_of(cli.positional().begin(), cli.positional().end(), found)) break;
    }
    std::vector<std::unique_ptr<Sensor>> sensors;
    std::vector<const ornc_device_t*> devices;
    for (const std::string& key : cli.positional()) {
        const ornc_device_t* device = discovery.find(key);
        if (device == nullptr) return cli.fail(kExitNotFound, "no supported device matches '" + key + "'");
        if (std::find(devices.begin(), devices.end(), device) != devices.end()) {
            return cli.fail(kExitUsage, "'" + key + "' names a device given before");
        }
        devices.push_back(device);
        sensors.push_back(std::make_unique<Sensor>());
        Sensor& sensor = *sensors.back();
        sensor.serial = text_of(ORNCDeviceGetSerialNumber, device);
        sensor.ip = text_of(ORNCDeviceGetIPAddress, device);
        status = sensor.connection.open(device);
        if (status != ORNC_OK && status != ORNC_ERR_PARAM_UNDEFINED) {
            return cli.fail_status("cannot connect to " + sensor.serial + " at " + sensor.ip, status);
        }
    }
    // From here on every path puts the settings back (and the connections
    // close after that, in reverse order).
    struct Restorer {
        std::vector<std::unique_ptr<Sensor>>& sensors;
        ~Restorer() {
            for (auto& sensor : sensors) {
                ORNCAcquisitionStop(sensor->connection.handle());
                ORNCStop(sensor->connection.handle());
                sensor->restore();
            }
        }
    } restorer{sensors};
    for (auto& sensor : sensors) {
        std::string refused;
        if (!prepare(sensor.get(), device_key, group_key, &refused)) {
            return cli.fail(kExitFailed, sensor->serial + " refused " + refused + " (does it take action commands?)");
        }
    }
    read_ptp(sensors);
    for (auto& sensor : sensors) {
        ornc_t* ornc = sensor->connection.handle();
        ORNCSetImageCallback(ornc, on_image, sensor.get());
        ORNCSetImageVecCallback(ornc, on_image_vector, sensor.get());
        status = ORNCStart(ornc);
        if (status == ORNC_OK) status = ORNCAcquisitionStartMode(ornc, -1, -1);
        if (status != ORNC_OK) return cli.fail_status("cannot start the acquisition of " + sensor->serial, status);
    }

    const int64_t interval = interval_ms * kNsPerMs;
    const int64_t first = realtime_ns() + lead_ms * kNsPerMs;
    std::vector<int> acks(static_cast<size_t>(shots), 0);
    std::vector<ornc_status_t> sent(static_cast<size_t>(shots), ORNC_OK);
    {
        // Each command waits up to 100 ms for its acks; shots closer than
        // that leave on time from threads of their own.
        std::deque<std::thread> senders;
        for (long k = 0; k < shots; ++k) {
            const int64_t when = first + k * interval;
            while (senders.size() >= kSendersInFlight) {
                senders.front().join();
                senders.pop_front();
            }
            sleep_until_realtime(when - lead_ms * kNsPerMs);
            const size_t shot = static_cast<size_t>(k);
            senders.emplace_back([&, shot, when] {
                sent[shot] = ORNCSysSendActionCommand(discovery.system(), device_key, group_key, 1,
                                                      static_cast<uint64_t>(when), &acks[shot]);
            });
        }
        for (std::thread& sender : senders) sender.join();
    }
    for (const ornc_status_t shot_status : sent) {
        if (shot_status != ORNC_OK) return cli.fail_status("cannot send the action command", shot_status);
    }
    const int64_t last = first + (shots - 1) * interval;
    while (!all_delivered(sensors, shots) && realtime_ns() < last + kFrameGraceMs * kNsPerMs) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    long stray = 0;
    const std::vector<std::vector<int64_t>> table = assign_frames(sensors, first, interval, shots, &stray);
    long complete = 0;
    int64_t worst_spread = 0, worst_offset = 0;
    std::printf("shot  scheduled (ns)        acks  frames  spread (us)  offset (us)\n");
    for (long k = 0; k < shots; ++k) {
        const int64_t when = first + k * interval;
        size_t frames = 0;
        int64_t low = INT64_MAX, high = INT64_MIN, offset = 0;
        for (int64_t stamp : table[static_cast<size_t>(k)]) {
            if (stamp < 0) continue;
            ++frames;
            low = std::min(low, stamp);
            high = std::max(high, stamp);
            offset = std::max<int64_t>(offset, std::llabs(stamp - when));
        }
        const int64_t spread = frames > 0 ? high - low : 0;
        if (frames == sensors.size()) ++complete;
        worst_spread = std::max(worst_spread, spread);
        worst_offset = std::max(worst_offset, offset);
        std::printf("%-5ld %-21lld %-5d %zu/%zu%s", k + 1, static_cast<long long>(when), acks[static_cast<size_t>(k)],
                    frames, sensors.size(), frames == sensors.size() ? "     " : "  !  ");
        if (frames > 0) {
            std::printf(" %-12.1f %.1f\n", static_cast<double>(spread) / 1e3, static_cast<double>(offset) / 1e3);
        } else {
            std::printf(" -            -\n");
        }
    }
    int unsynchronised = 0;
    for (const auto& sensor : sensors) {
        const bool synced = sensor->synchronised();
        unsynchronised += synced ? 0 : 1;
        std::printf("%s %s: PTP %s, offset from master %s: %s\n", sensor->serial.c_str(), sensor->ip.c_str(),
                    sensor->ptp_status.c_str(),
                    sensor->ptp_offset_known ? (std::to_string(sensor->ptp_offset_ns) + " ns").c_str() : "unknown",
                    synced ? "synchronised" : "unsynchronised");
    }
    std::printf("%ld/%lld shots with a frame from each of %zu devices; spread at most %.1f us, offset at most %.1f us",
                complete, shots, sensors.size(), static_cast<double>(worst_spread) / 1e3,
                static_cast<double>(worst_offset) / 1e3);
    if (stray > 0) std::printf("; %ld frames outside any shot", stray);
    std::printf("; %d device%s unsynchronised\n", unsynchronised, unsynchronised == 1 ? "" : "s");
    return complete == shots ? kExitOk : kExitFailed;
}

#endif  // ORNC_TOOL_HAS_ACQUISITION

}  // namespace ornctool
