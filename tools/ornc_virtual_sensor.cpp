// ornc-virtual-sensor: runs one virtual 3D sensor until SIGINT or SIGTERM.
#include <pthread.h>
#include <signal.h>

#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "ornsim/virtual_sensor.h"

namespace {

void usage(FILE* out) {
    std::fputs(
        "Usage: ornc-virtual-sensor [options]\n"
        "Runs a GigE Vision 3D sensor in software until interrupted (SIGINT/SIGTERM).\n"
        "\n"
        "Identity and network:\n"
        "  --address IP          IPv4 address to bind (default 127.0.0.2)\n"
        "  --serial TEXT         serial number (default VS000001)\n"
        "  --model TEXT          model name (default \"lumenGAUGE Virtual 3D\")\n"
        "  --vendor TEXT         vendor name (default \"ORNC Virtual Sensors\")\n"
        "  --mac XX:XX:XX:XX:XX:XX  MAC address (default: 02 and five bytes derived from\n"
        "                           the serial number, so two sensors differ)\n"
        "  --user-name TEXT      user-defined name\n"
        "Content:\n"
        "  --genicam FILE        serve this GenICam file instead of the built-in one\n"
        "  --zip-genicam         serve the GenICam file as a zip archive\n"
        "  --width N, --height N sensor size in pixels (default 640x480)\n"
        "  --fps HZ              default frame rate (default 10)\n"
        "  --link-speed MBPS     emulated link rate of the stream (default 1000)\n"
        "  --clock-skew-ms MS    with PtpEnable on, run the device clock MS milliseconds off the\n"
        "                        host's realtime clock (PtpStatus Uncalibrated; default 0)\n"
        "Fault switches:\n"
        "  --loss RATIO          drop this share of stream data packets on first send (0..1)\n"
        "  --refuse-writes NAME  answer writes to this feature's register with an error\n"
        "  --silent-after SEC    stop answering anything after SEC seconds\n"
        "  --silent-for SEC      with --silent-after: answer again after SEC seconds of silence\n"
        "                        (0 = silent for good, the default)\n"
        "  --return-address IP   with --silent-for: answer at this IPv4 address after the silence\n"
        "  --power-cycle         with --silent-for: come back with every register at its power-up value\n"
        "                        (no controller, channels closed, device clock from 0)\n"
        "  --ack-delay MS        delay every control acknowledge by MS milliseconds\n"
        "  --cut-frame-every N   send only the leader and first half of every Nth frame (no trailer,\n"
        "                        resends for it get PACKET_UNAVAILABLE); 0 = off\n"
        "  --hold-tail-every N   send every Nth frame without its last third and trailer at first;\n"
        "                        resends serve them; 0 = off\n"
        "  --event-flood PER_S   send that many extra FrameEnd-shaped events (block id 0) per second\n"
        "                        on the message channel, acknowledged and retried like the others; 0 = off\n"
        "  --help                show this help\n",
        out);
}

bool parse_double(const char* text, double* value) {
    char* end = nullptr;
    *value = std::strtod(text, &end);
    return end != text && *end == '\0';
}

bool parse_unsigned(const char* text, unsigned long* value) {
    char* end = nullptr;
    if (text[0] == '-') return false;
    *value = std::strtoul(text, &end, 10);
    return end != text && *end == '\0';
}

// A number from `min` to `max` into `field` (written also when out of
// range: the caller then stops).
bool parse_ranged(const char* text, double min, double max, double* field) {
    return parse_double(text, field) && *field >= min && *field <= max;
}

// An unsigned number up to `max` into `field`, left as it is otherwise.
bool parse_bounded(const char* text, unsigned long max, uint32_t* field) {
    unsigned long count = 0;
    if (!parse_unsigned(text, &count) || count > max) return false;
    *field = static_cast<uint32_t>(count);
    return true;
}

// An option that takes a value: its name and what stores the value (false
// when the value is not acceptable).
struct ValueOption {
    const char* name;
    std::function<bool(const char*)> take;
};

template <size_t N>
const ValueOption* find_option(const ValueOption (&options)[N], const std::string& name) {
    for (const ValueOption& option : options) {
        if (name == option.name) return &option;
    }
    return nullptr;
}

std::function<bool(const char*)> text_into(std::string* field) {
    return [field](const char* value) {
        *field = value;
        return true;
    };
}

std::function<bool(const char*)> bounded_into(unsigned long max, uint32_t* field) {
    return [max, field](const char* value) { return parse_bounded(value, max, field); };
}

std::function<bool(const char*)> ranged_into(double min, double max, double* field) {
    return [min, max, field](const char* value) { return parse_ranged(value, min, max, field); };
}

}  // namespace

int main(int argc, char** argv) {
    ornsim::SensorConfig config;
    ornsim::FaultSwitches faults;
    const ValueOption options[] = {
        {"--address", text_into(&config.address)},
        {"--serial", text_into(&config.serial)},
        {"--model", text_into(&config.model)},
        {"--vendor", text_into(&config.vendor)},
        {"--mac", text_into(&config.mac)},
        {"--user-name", text_into(&config.user_name)},
        {"--genicam", text_into(&config.genicam_file)},
        {"--width", bounded_into(65535, &config.width)},
        {"--height", bounded_into(65535, &config.height)},
        {"--fps", [&config](const char* value) { return parse_double(value, &config.fps); }},
        {"--link-speed", bounded_into(100000, &config.link_speed_mbps)},
        {"--clock-skew-ms",
         [&config](const char* value) {
             char* end = nullptr;
             config.clock_skew_ms = std::strtoll(value, &end, 10);
             return end != value && *end == '\0';
         }},
        {"--loss", ranged_into(0.0, 1.0, &faults.stream_loss_ratio)},
        {"--refuse-writes", text_into(&faults.refuse_writes_feature)},
        {"--silent-after", ranged_into(0.0, HUGE_VAL, &faults.silent_after_s)},
        {"--silent-for", ranged_into(0.0, HUGE_VAL, &faults.silent_for_s)},
        {"--return-address", text_into(&faults.return_address)},
        {"--ack-delay", bounded_into(60000, &faults.ack_delay_ms)},
        {"--cut-frame-every", bounded_into(1000000, &faults.cut_frame_every)},
        {"--hold-tail-every", bounded_into(1000000, &faults.hold_tail_every)},
        {"--event-flood", ranged_into(0.0, 100000.0, &faults.event_flood_per_s)},
    };
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            usage(stdout);
            return 0;
        }
        if (arg == "--zip-genicam") {
            config.zipped_xml = true;
            continue;
        }
        if (arg == "--power-cycle") {
            faults.power_cycle = true;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "ornc-virtual-sensor: %s needs a value (see --help)\n", arg.c_str());
            return 2;
        }
        const char* value = argv[++i];
        const ValueOption* option = find_option(options, arg);
        if (option == nullptr) {
            std::fprintf(stderr, "ornc-virtual-sensor: unknown option %s (see --help)\n", arg.c_str());
            return 2;
        }
        const bool ok = option->take(value);
        if (!ok) {
            std::fprintf(stderr, "ornc-virtual-sensor: invalid value '%s' for %s\n", value, arg.c_str());
            return 2;
        }
    }

    const char* outage_problem = nullptr;
    if (faults.silent_for_s > 0.0 && faults.silent_after_s < 0.0)
        outage_problem = "--silent-for needs --silent-after";
    else if ((!faults.return_address.empty() || faults.power_cycle) && !(faults.silent_for_s > 0.0))
        outage_problem = "--return-address and --power-cycle need --silent-for";
    if (outage_problem != nullptr) {
        std::fprintf(stderr, "ornc-virtual-sensor: %s (see --help)\n", outage_problem);
        return 2;
    }

    // Signals are taken synchronously by this thread; the sensor's threads
    // inherit the blocked mask.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    ornsim::VirtualSensor sensor(config);
    if (!sensor.set_faults(faults)) {
        std::fprintf(stderr, "ornc-virtual-sensor: invalid value '%s' for --return-address\n",
                     faults.return_address.c_str());
        return 2;
    }
    std::string error;
    if (!sensor.start(&error)) {
        std::fprintf(stderr, "ornc-virtual-sensor: %s\n", error.c_str());
        return 1;
    }
    std::printf("ornc-virtual-sensor: '%s' serial %s listening on %s:3956\n", config.model.c_str(),
                config.serial.c_str(), sensor.current_address().c_str());
    std::fflush(stdout);

    int received = 0;
    sigwait(&signals, &received);
    sensor.stop();
    ornsim::SensorCounters c = sensor.counters();
    std::printf("ornc-virtual-sensor: stopped (%s); %llu commands, %llu frames, %llu events\n",
                received == SIGINT ? "SIGINT" : "SIGTERM", static_cast<unsigned long long>(c.gvcp_commands),
                static_cast<unsigned long long>(c.frames_sent), static_cast<unsigned long long>(c.events_sent));
    if (faults.cut_frame_every > 0 || faults.event_flood_per_s > 0.0)
        std::printf("ornc-virtual-sensor: %llu frames cut, %llu flood events\n",
                    static_cast<unsigned long long>(c.frames_cut), static_cast<unsigned long long>(c.events_flooded));
    if (faults.silent_after_s >= 0.0)
        std::printf("ornc-virtual-sensor: %llu outages begun, %llu ended; last at %s\n",
                    static_cast<unsigned long long>(c.outages_begun), static_cast<unsigned long long>(c.outages_ended),
                    sensor.current_address().c_str());
    if (c.stream_too_big > 0)
        std::printf("ornc-virtual-sensor: %llu stream packets larger than the path not sent (don't-fragment)\n",
                    static_cast<unsigned long long>(c.stream_too_big));
    return 0;
}
