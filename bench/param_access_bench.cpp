// What the platform layer adds to Aravis: connect time, and integer, float
// and enumeration reads and writes per second, through the platform
// classes and through plain Aravis calls on the same node in the same run,
// against an in-process virtual sensor on loopback.
//
//   build-*/bench/param_access_bench [rounds]
//
// Prints one line per measurement with both figures and their ratio
// (platform / Aravis; below 1.10 for parameters, 1.5 for connect is the
// goal).
#include <arv.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "ornsim/virtual_sensor.h"
#include "platform/PvDevice.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenFloat.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenParameterArray.h"

namespace {

constexpr const char* kSensorAddress = "127.0.46.10";
constexpr const char* kInterfaceAddress = "127.0.0.1";

double seconds_for(int count, const std::function<bool(int)>& step) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) {
        if (!step(i)) {
            std::fprintf(stderr, "step %d failed\n", i);
            std::exit(1);
        }
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void report_rate(const char* what, int count, double platform_s, double aravis_s) {
    std::printf("%-22s platform %9.0f/s   aravis %9.0f/s   ratio %.3f\n", what, count / platform_s, count / aravis_s,
                platform_s / aravis_s);
}

ArvDevice* aravis_connect() {
    GInetAddress* interface_address = g_inet_address_new_from_string(kInterfaceAddress);
    GInetAddress* device_address = g_inet_address_new_from_string(kSensorAddress);
    ArvDevice* device = arv_gv_device_new(interface_address, device_address, nullptr);
    g_object_unref(interface_address);
    g_object_unref(device_address);
    return device;
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 2000;
    const int connects = 20;
    ornsim::SensorConfig config;
    config.address = kSensorAddress;
    ornsim::VirtualSensor sensor(config);
    std::string error;
    if (!sensor.start(&error)) {
        std::fprintf(stderr, "sensor: %s\n", error.c_str());
        return 1;
    }

    // Connect: alternate so that both see the same machine load.
    double platform_connect = 0.0;
    double aravis_connect_s = 0.0;
    for (int i = 0; i < connects; ++i) {
        platform_connect += seconds_for(1, [](int) {
            PvResult result;
            PvDevice* device = PvDevice::CreateAndConnect(PvString(kSensorAddress), &result);
            PvDevice::Free(device);
            return device != nullptr;
        });
        aravis_connect_s += seconds_for(1, [](int) {
            ArvDevice* device = aravis_connect();
            if (device != nullptr) {
                g_object_unref(device);
            }
            return device != nullptr;
        });
    }
    std::printf("%-22s platform %9.2f ms   aravis %9.2f ms   ratio %.3f\n", "connect + disconnect",
                platform_connect * 1000 / connects, aravis_connect_s * 1000 / connects,
                platform_connect / aravis_connect_s);

    PvResult result;
    PvDevice* device = PvDevice::CreateAndConnect(PvString(kSensorAddress), &result);
    if (device == nullptr) {
        std::fprintf(stderr, "connect: %s\n", result.GetDescription().GetAscii());
        return 1;
    }
    PvGenParameterArray* params = device->GetParameters();
    ArvGc* genicam = params->GetGenicam();
    PvGenInteger* width = dynamic_cast<PvGenInteger*>(params->Get("Width"));
    PvGenFloat* rate = dynamic_cast<PvGenFloat*>(params->Get("AcquisitionFrameRate"));
    PvGenEnum* mode = dynamic_cast<PvGenEnum*>(params->Get("AcquisitionMode"));
    if (width == nullptr || rate == nullptr || mode == nullptr) {
        std::fprintf(stderr, "the sensor lacks Width, AcquisitionFrameRate or AcquisitionMode\n");
        return 1;
    }
    ArvGcInteger* arv_width = ARV_GC_INTEGER(arv_gc_get_node(genicam, "Width"));
    ArvGcFloat* arv_rate = ARV_GC_FLOAT(arv_gc_get_node(genicam, "AcquisitionFrameRate"));
    ArvGcEnumeration* arv_mode = ARV_GC_ENUMERATION(arv_gc_get_node(genicam, "AcquisitionMode"));

    const int64_t widths[2] = {320, 640};
    const double rates[2] = {10.0, 20.0};
    const int64_t modes[2] = {0, 1};
    // One measurement: the platform's step against the same access as a
    // plain Aravis call, `aravis(i, &error)`.
    auto compare = [rounds](bool print, const std::string& what, const std::function<bool(int)>& platform,
                            auto aravis) {
        const double p = seconds_for(rounds, platform);
        const double a = seconds_for(rounds, [&](int i) {
            GError* error_out = nullptr;
            aravis(i, &error_out);
            const bool ok = error_out == nullptr;
            g_clear_error(&error_out);
            return ok;
        });
        if (print) report_rate(what.c_str(), rounds, p, a);
    };
    // Reads and writes of one node, which take turns between two `values`;
    // `aravis_read(&error)` and `aravis_write(value, &error)` are the
    // plain Aravis calls on the same node.
    auto compare_node = [&](bool print, const std::string& kind, auto* node, const auto* values, auto aravis_read,
                            auto aravis_write) {
        compare(
            print, kind + " read",
            [&](int) {
                auto v = values[0];
                return node->GetValue(v).IsOK();
            },
            [&](int, GError** e) { aravis_read(e); });
        compare(
            print, kind + " write", [&](int i) { return node->SetValue(values[i & 1]).IsOK(); },
            [&](int i, GError** e) { aravis_write(values[i & 1], e); });
    };
    for (int pass = 0; pass < 2; ++pass) {  // the first pass warms up
        const bool print = pass == 1;
        compare_node(
            print, "integer", width, widths, [&](GError** e) { arv_gc_integer_get_value(arv_width, e); },
            [&](int64_t v, GError** e) { arv_gc_integer_set_value(arv_width, v, e); });
        compare_node(
            print, "float", rate, rates, [&](GError** e) { arv_gc_float_get_value(arv_rate, e); },
            [&](double v, GError** e) { arv_gc_float_set_value(arv_rate, v, e); });
        compare_node(
            print, "enumeration", mode, modes, [&](GError** e) { arv_gc_enumeration_get_int_value(arv_mode, e); },
            [&](int64_t v, GError** e) { arv_gc_enumeration_set_int_value(arv_mode, v, e); });
    }
    PvDevice::Free(device);
    sensor.stop();
    return 0;
}
