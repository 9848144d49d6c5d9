// Soak run: several virtual sensors in this process, one application
// thread per sensor cycling discover, connect, parameter writes, a
// free-running acquisition under stream packet loss, software triggers and
// disconnect until the duration is over. It counts the frames every sensor
// sent against the frames the callbacks delivered, and fails (exit 1) on
// any lost or failed frame, any failed call, growth of threads, file
// descriptors or resident memory between the first round and the end, or
// (exit 2) a hang: a cycle step that makes no progress for the watchdog
// period.
//
//   ornc_soak --duration 1800 --sensors 3 --loss 0.02
//
// Discovery is limited to the loopback adapter and the sensors' own
// addresses (127.0.71.x); nothing leaves this machine.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "ornsim/virtual_sensor.h"
#include "process_probes.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// AddressSanitizer keeps freed memory in quarantine, so resident memory
// says nothing about leaks there (LeakSanitizer checks at exit instead).
constexpr bool under_address_sanitizer() {
#if defined(__SANITIZE_ADDRESS__)
    return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return true;
#else
    return false;
#endif
#else
    return false;
#endif
}

struct Options {
    double duration_s = 60;
    int sensors = 3;
    double loss = 0.02;
    int frames_per_run = 20;
    int triggers_per_run = 5;
    double watchdog_s = 90;
    long rss_growth_kb = 32 * 1024;
    std::string log_file;  // the library's log (warnings and errors, every category)
};

void usage() {
    std::printf(
        "usage: ornc_soak [--duration S] [--sensors N] [--loss RATIO] [--frames N] [--triggers N]\n"
        "                 [--watchdog S] [--rss-growth-mb MB] [--log FILE]\n"
        "  --duration S       cycle for S seconds (default 60)\n"
        "  --sensors N        virtual sensors at once, 1..20 (default 3)\n"
        "  --loss RATIO       stream packets dropped on first send, repaired by resends (default 0.02)\n"
        "  --frames N         frames of each free-running acquisition (default 20)\n"
        "  --triggers N       software triggers per cycle (default 5)\n"
        "  --watchdog S       a step without progress for S seconds is a hang (default 90)\n"
        "  --rss-growth-mb MB resident memory may grow this much after the first round (default 32)\n"
        "  --log FILE         write the library's warnings and errors to FILE\n");
}

bool parse(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") return false;
        if (i + 1 >= argc) return false;
        const char* value = argv[++i];
        if (arg == "--log") {
            options->log_file = value;
            continue;
        }
        char* end = nullptr;
        const double number = std::strtod(value, &end);
        if (end == value || *end != '\0' || number < 0) return false;
        if (arg == "--duration")
            options->duration_s = number;
        else if (arg == "--sensors")
            options->sensors = static_cast<int>(number);
        else if (arg == "--loss")
            options->loss = number;
        else if (arg == "--frames")
            options->frames_per_run = static_cast<int>(number);
        else if (arg == "--triggers")
            options->triggers_per_run = static_cast<int>(number);
        else if (arg == "--watchdog")
            options->watchdog_s = number;
        else if (arg == "--rss-growth-mb")
            options->rss_growth_kb = static_cast<long>(number * 1024);
        else
            return false;
    }
    return options->sensors >= 1 && options->sensors <= 20 && options->loss < 0.5 && options->frames_per_run >= 1;
}

std::string sensor_address(int index) { return "127.0.71." + std::to_string(index + 1); }
std::string sensor_serial(int index) { return "SOAK" + std::to_string(1000 + index); }

// What one application thread saw, filled by its callbacks and its loop.
struct Tally {
    std::mutex lock;
    std::condition_variable changed;
    long delivered = 0;  // non-null image or vector deliveries
    long failed = 0;     // deliveries of NULL (a transfer that failed)

    void add(bool ok) {
        {
            std::lock_guard<std::mutex> hold(lock);
            (ok ? delivered : failed) += 1;
        }
        changed.notify_all();
    }
    long count() {
        std::lock_guard<std::mutex> hold(lock);
        return delivered;
    }
    bool wait_for(long target, std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> hold(lock);
        return changed.wait_for(hold, timeout, [&] { return delivered >= target; });
    }
};

void on_image(orn_image_t* image, void* user) { static_cast<Tally*>(user)->add(image != nullptr); }
void on_vector(orn_image_vec_t* vec, void* user) { static_cast<Tally*>(user)->add(vec != nullptr); }

class Worker {
public:
    Worker(int index, const Options& options, ornsim::VirtualSensor* sensor)
        : index_(index), options_(options), sensor_(sensor) {}

    // One whole cycle; false (with a message printed) on the first failure.
    bool cycle() {
        step("discover");
        ornc_system_t sys{nullptr};
        if (!check(ORNCSysInit(&sys), "ORNCSysInit")) return false;
        bool ok = check(ORNCSysFindDevices(&sys), "ORNCSysFindDevices");
        const ornc_device_t* device =
            ok ? ORNCSysGetDeviceBySerialNumber(&sys, sensor_serial(index_).c_str()) : nullptr;
        if (ok && device == nullptr) ok = fail("sensor not discovered");

        ornc_t ornc{nullptr};
        if (ok) ok = check(ORNCInit(&ornc), "ORNCInit");
        if (ok) {
            step("connect");
            ok = check(ORNCConnectByDevice(&ornc, device), "ORNCConnectByDevice");
        }
        if (ok) ok = write_parameters(&ornc);
        if (ok) {
            // One acquisition server per connection: both acquisitions run
            // under it, then ORNCStop ends it.
            ORNCSetImageCallback(&ornc, on_image, &tally_);
            ORNCSetImageVecCallback(&ornc, on_vector, &tally_);
            ok = check(ORNCStart(&ornc), "ORNCStart");
            if (ok) ok = acquire_free_run(&ornc);
            if (ok) ok = acquire_triggered(&ornc);
            check(ORNCStop(&ornc), "ORNCStop");
        }
        step("disconnect");
        if (ornc.priv != nullptr) {
            const ornc_status_t status = ORNCDisconnect(&ornc);
            if (ok) ok = check(status, "ORNCDisconnect");
            ORNCDestroy(&ornc);
        }
        ORNCSysDestroy(&sys);
        if (ok) cycles_ += 1;
        step("idle");
        return ok;
    }

    long cycles() const { return cycles_; }
    long sent() const { return sent_; }
    long delivered() const { return delivered_; }
    long failed() const { return failed_; }
    const char* current_step() const { return step_.load(); }
    double seconds_since_progress() const {
        return std::chrono::duration<double>(Clock::now() - Clock::time_point(Clock::duration(progress_.load())))
            .count();
    }

private:
    void step(const char* name) {
        step_ = name;
        progress_ = Clock::now().time_since_epoch().count();
    }
    bool fail(const std::string& what) {
        std::fprintf(stderr, "soak: sensor %s: %s (step %s)\n", sensor_address(index_).c_str(), what.c_str(),
                     step_.load());
        return false;
    }
    bool check(ornc_status_t status, const char* call) {
        if (status == ORNC_OK) return true;
        return fail(std::string(call) + " returned " + std::to_string(status) + " (" + ORNCGetErrorMessage(status) +
                    ")");
    }
    ornc_param_t* param(ornc_t* ornc, const char* name) {
        return ORNCParamsGetParamByName(ORNCGetDeviceParams(ornc), name);
    }

    bool write_parameters(ornc_t* ornc) {
        step("parameters");
        const int width = 64 + 16 * static_cast<int>(cycles_ % 4);
        if (!check(ORNCParamSetIntegerValue(param(ornc, "Width"), width), "set Width")) return false;
        int read = 0;
        if (!check(ORNCParamGetIntegerValue(param(ornc, "Width"), &read), "get Width")) return false;
        if (read != width) return fail("Width reads " + std::to_string(read) + ", wrote " + std::to_string(width));
        if (!check(ORNCParamSetValue(param(ornc, "ExposureTime"), "2500.5"), "set ExposureTime")) return false;
        const std::string name = "soak " + std::to_string(cycles_ % 1000);
        if (!check(ORNCParamSetStringValue(param(ornc, "DeviceUserID"), name.c_str()), "set DeviceUserID")) {
            return false;
        }
        char text[32];
        if (!check(ORNCParamGetStringValue(param(ornc, "DeviceUserID"), text, sizeof text), "get DeviceUserID")) {
            return false;
        }
        if (name != text) return fail("DeviceUserID reads \"" + std::string(text) + "\"");
        return true;
    }

    // Counts the sensor's frames and the callbacks' deliveries over one
    // acquisition; any difference, or any failed transfer, is a loss.
    bool settle(const ornc_t* ornc, const char* what, uint64_t sent_before, long delivered_before, long failed_before) {
        // Frames in flight when the acquisition stopped arrive a little
        // later, and the sensor counts a frame only once its last packet is
        // out, which can be after the library delivered it: wait until both
        // counts hold still (or the wait is over).
        auto sent_since = [&] { return static_cast<long>(sensor_->counters().frames_sent - sent_before); };
        const auto deadline = Clock::now() + 2s;
        long sent = sent_since();
        long delivered = 0;
        for (;;) {
            tally_.wait_for(delivered_before + sent, 200ms);
            std::this_thread::sleep_for(50ms);
            delivered = tally_.count() - delivered_before;
            const long sent_now = sent_since();
            const bool still = sent_now == sent && delivered == sent;
            sent = sent_now;
            if (still || Clock::now() >= deadline) break;
        }
        long failed = 0;
        {
            std::lock_guard<std::mutex> hold(tally_.lock);
            failed = tally_.failed - failed_before;
        }
        sent_ += sent;
        delivered_ += delivered;
        failed_ += failed;
        if (delivered != sent || failed != 0) {
            return fail(std::string(what) + ": sensor sent " + std::to_string(sent) + " frames, delivered " +
                        std::to_string(delivered) + ", failed " + std::to_string(failed) + "; " +
                        stream_statistics(ornc));
        }
        return true;
    }

    // The receiver's own view of the connection, for a loss report: where
    // the frames went missing (never completed, dropped for want of a
    // buffer, or completed and not delivered).
    static std::string stream_statistics(const ornc_t* ornc) {
        std::string text = "stream";
        ornc_parameters_t* stream = ORNCGetStreamParams(ornc);
        for (const char* name : {"BlockCount", "BlocksDropped", "BlocksUnderrun", "ResendRequests", "PacketsMissing",
                                 "QueuedBufferCount", "LocalPort"}) {
            unsigned int value = 0;
            const ornc_status_t status = ORNCParamGetUIntegerValue(ORNCParamsGetParamByName(stream, name), &value);
            text += std::string(" ") + name + "=" + (status == ORNC_OK ? std::to_string(value) : "?");
        }
        return text;
    }

    bool acquire_free_run(ornc_t* ornc) {
        step("free run");
        ornsim::FaultSwitches faults;
        faults.stream_loss_ratio = options_.loss;
        sensor_->set_faults(faults);
        if (!check(ORNCParamSetEnumValueByName(param(ornc, "AcquisitionMode"), "MultiFrame"), "MultiFrame")) {
            return false;
        }
        if (!check(ORNCParamSetIntegerValue(param(ornc, "AcquisitionFrameCount"), options_.frames_per_run),
                   "AcquisitionFrameCount")) {
            return false;
        }
        const uint64_t sent_before = sensor_->counters().frames_sent;
        const long delivered_before = tally_.count();
        const long failed_before = failed_now();
        // Keep MultiFrame, switch off the trigger the previous cycle left on.
        if (!check(ORNCAcquisitionStartMode(ornc, -1, 0), "ORNCAcquisitionStartMode")) return false;
        const auto budget = std::chrono::milliseconds(static_cast<int>(options_.frames_per_run * 1000 / 20 + 10000));
        if (!tally_.wait_for(delivered_before + options_.frames_per_run, budget)) {
            fail("free run: " + std::to_string(tally_.count() - delivered_before) + " of " +
                 std::to_string(options_.frames_per_run) + " frames in time");
        }
        // MultiFrame ends on the device by itself; the library still counts
        // the acquisition as running until told.
        check(ORNCAcquisitionStop(ornc), "ORNCAcquisitionStop");
        sensor_->set_faults(ornsim::FaultSwitches{});
        return settle(ornc, "free run", sent_before, delivered_before, failed_before);
    }

    bool acquire_triggered(ornc_t* ornc) {
        step("triggers");
        if (!check(ORNCSetAcquisitionMode(ornc, 0), "ORNCSetAcquisitionMode")) return false;
        const uint64_t sent_before = sensor_->counters().frames_sent;
        const long delivered_before = tally_.count();
        const long failed_before = failed_now();
        if (!check(ORNCAcquisitionStartMode(ornc, 0, 1), "ORNCAcquisitionStartMode")) return false;
        bool ok = true;
        for (int t = 0; ok && t < options_.triggers_per_run; ++t) {
            // BUSY: the library still holds the previous trigger pending for
            // a moment after its delivery; the device got this one anyway.
            const ornc_status_t status = ORNCTriggerSoftware(ornc);
            if (status != ORNC_OK && status != ORNC_ERR_ACQUI_BUSY) ok = check(status, "ORNCTriggerSoftware");
            if (ok && !tally_.wait_for(delivered_before + t + 1, 5000ms)) ok = fail("trigger without a frame");
        }
        check(ORNCAcquisitionStop(ornc), "ORNCAcquisitionStop");
        return settle(ornc, "triggers", sent_before, delivered_before, failed_before) && ok;
    }

    long failed_now() {
        std::lock_guard<std::mutex> hold(tally_.lock);
        return tally_.failed;
    }

    int index_;
    const Options& options_;
    ornsim::VirtualSensor* sensor_;
    Tally tally_;
    std::atomic<const char*> step_{"start"};
    std::atomic<Clock::rep> progress_{Clock::now().time_since_epoch().count()};
    // Written by this worker's thread, read by the progress lines on the main thread.
    std::atomic<long> cycles_{0}, sent_{0}, delivered_{0}, failed_{0};
};

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, &options)) {
        usage();
        return argc > 1 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) ? 0 : 64;
    }
    if (!options.log_file.empty()) {
        ORNLogSetLevel(ORN_LOGLVL_MASK_WARN);
        ORNLogSetCategory(ORN_LOGCAT_MASK_ALLXL);
        if (ORNLogStartFilename(options.log_file.c_str(), 0) != ORN_OK) {
            std::fprintf(stderr, "soak: cannot write %s\n", options.log_file.c_str());
            return 64;
        }
    }
    ::setenv("ORNC_INTERFACES", "lo", 1);
    ::setenv("ORNC_LOOPBACK_HOSTS", ("127.0.71.1-" + sensor_address(options.sensors - 1)).c_str(), 1);

    std::vector<std::unique_ptr<ornsim::VirtualSensor>> sensors;
    for (int i = 0; i < options.sensors; ++i) {
        ornsim::SensorConfig config;
        config.address = sensor_address(i);
        config.serial = sensor_serial(i);
        char mac[32];
        std::snprintf(mac, sizeof mac, "02:71:00:00:00:%02x", i + 1);
        config.mac = mac;
        config.width = 128;
        config.height = 96;
        config.fps = 20;
        auto sensor = std::make_unique<ornsim::VirtualSensor>(config);
        std::string error;
        if (!sensor->start(&error)) {
            std::fprintf(stderr, "soak: sensor %s: %s\n", config.address.c_str(), error.c_str());
            return 1;
        }
        sensors.push_back(std::move(sensor));
    }
    std::vector<std::unique_ptr<Worker>> workers;
    for (int i = 0; i < options.sensors; ++i) workers.push_back(std::make_unique<Worker>(i, options, sensors[i].get()));

    std::atomic<bool> failed{false};
    auto run_all = [&](const Clock::time_point deadline, bool once) {
        std::vector<std::thread> threads;
        for (auto& worker : workers) {
            threads.emplace_back([&, w = worker.get()] {
                do {
                    if (!w->cycle()) failed = true;
                } while (!once && !failed && Clock::now() < deadline);
            });
        }
        // Watchdog and progress lines, on this thread.
        auto last_report = Clock::now();
        for (;;) {
            bool running = false;
            for (auto& worker : workers) running = running || std::strcmp(worker->current_step(), "idle") != 0;
            if (!running && (once || failed || Clock::now() >= deadline)) break;
            for (auto& worker : workers) {
                if (worker->seconds_since_progress() > options.watchdog_s) {
                    std::fprintf(stderr, "soak: HANG: a worker has been in step \"%s\" for %.0f s\n",
                                 worker->current_step(), worker->seconds_since_progress());
                    std::fflush(stderr);
                    std::_Exit(2);
                }
            }
            if (Clock::now() - last_report >= 10s) {
                last_report = Clock::now();
                long cycles = 0, sent = 0;
                for (auto& worker : workers) cycles += worker->cycles(), sent += worker->sent();
                std::printf("soak: %ld cycles, %ld frames, threads %d, fds %d, rss %ld kB\n", cycles, sent,
                            orntest::thread_count(), orntest::descriptor_count(), orntest::resident_kb());
                std::fflush(stdout);
            }
            std::this_thread::sleep_for(100ms);
        }
        for (auto& thread : threads) thread.join();
    };

    const auto start = Clock::now();
    // The first round settles one-time allocations (GLib types, Aravis
    // caches, thread pools); the baseline is taken after it.
    run_all(start, true);
    const int threads_before = orntest::thread_count();
    const int fds_before = orntest::descriptor_count();
    const long rss_before = orntest::resident_kb();
    if (!failed) {
        run_all(start + std::chrono::milliseconds(static_cast<long>(options.duration_s * 1000)), false);
    }
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    const int threads_after = orntest::thread_count();
    const int fds_after = orntest::descriptor_count();
    const long rss_after = orntest::resident_kb();

    long cycles = 0, sent = 0, delivered = 0, lost = 0;
    for (auto& worker : workers) {
        cycles += worker->cycles();
        sent += worker->sent();
        delivered += worker->delivered();
        lost += worker->failed() + (worker->sent() - worker->delivered());
    }
    ornsim::SensorCounters total{};
    for (auto& sensor : sensors) {
        const ornsim::SensorCounters c = sensor->counters();
        total.packets_dropped += c.packets_dropped;
        total.packets_resent += c.packets_resent;
        total.gvcp_commands += c.gvcp_commands;
    }
    bool ok = !failed;
    std::printf(
        "soak: %.0f s, %d sensors, %ld cycles; frames sent %ld, delivered %ld, lost %ld; packets dropped %llu, "
        "resent %llu; control commands %llu\n",
        elapsed, options.sensors, cycles, sent, delivered, lost, static_cast<unsigned long long>(total.packets_dropped),
        static_cast<unsigned long long>(total.packets_resent), static_cast<unsigned long long>(total.gvcp_commands));
    std::printf("soak: threads %d -> %d, fds %d -> %d, rss %ld -> %ld kB\n", threads_before, threads_after, fds_before,
                fds_after, rss_before, rss_after);
    if (lost != 0) ok = false;
    if (threads_after > threads_before) ok = !std::fprintf(stderr, "soak: thread count grew\n");
    if (fds_after > fds_before) ok = !std::fprintf(stderr, "soak: descriptor count grew\n");
    if (!under_address_sanitizer() && rss_after - rss_before > options.rss_growth_kb) {
        ok = !std::fprintf(stderr, "soak: resident memory grew by %ld kB\n", rss_after - rss_before);
    }
    if (options.loss > 0 && total.packets_dropped == 0 && sent > 0) {
        ok = !std::fprintf(stderr, "soak: the loss switch dropped nothing\n");
    }
    std::printf("soak: %s\n", ok ? "PASS" : "FAIL");
    return ok ? 0 : 1;
}
