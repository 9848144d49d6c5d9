// Acquisition through libORNC's C API next to a plain Aravis client, on the
// same frames of the same in-process virtual sensor, in one run:
// frames sent and delivered, frames lost, payload rate, CPU time per
// delivered GB and the delay from the frame's device timestamp to the
// application's hands.
//
//   build-*/bench/acquisition_bench [--seconds S]      (default 5)
//   sudo build-*/bench/acquisition_bench --veth [--seconds S]
//
// Cases (one sensor each, on 127.0.48.x, a block no test uses): small
// multipart frames at a rate the library's worker keeps up with, large
// frames near a gigabit of payload, and small frames faster than the
// worker's base pace (at most one buffer per 10 ms pass). The library runs
// each case three times: with the base pacing, with a pass every ms taking
// up to 16 buffers (ORNCSetDeliveryPacing), and with that pacing on its own
// stream receiver (ORNC_STREAM_RECEIVER=own) instead of Aravis's. On
// loopback a last case runs four sensors at once (127.0.48.11 to .14), a
// paced library client each, on both receivers. Every
// frame has three parts, Coord3D_ABC32f + Mono8 + Confidence8, and no
// chunk data: the library would bind each frame's chunks to its node map,
// work plain Aravis does not do, and both clients read the timestamp from
// the frame's leader.
//
// With --veth (root) the program moves into a network namespace of its own
// and runs its cases over a veth pair with a 1500-byte MTU into a second
// namespace that holds the sensor (169.254.48.x): both clients negotiate
// the packet size against the sensor's don't-fragment test packets, and
// the size each one found is printed.
//
// How each figure is measured, and what it includes:
// - The two clients run one after the other, never at once: they share
//   this process, and the CPU figure is getrusage(RUSAGE_SELF) user + sys
//   over the measurement window (from just after the acquisition started
//   until S seconds later). The in-process sensor renders and sends every
//   frame inside that figure; its threads' own CPU time is read from
//   /proc/self/task/<tid>/schedstat, so the "client" column is the process
//   figure minus what was measured on the sensor's threads, nothing else.
// - busiest client thread: the client thread with the most CPU time in
//   the window (schedstat), with how many times it ran.
// - sent, delivered, lost: over the whole acquisition. After the window
//   the sensor is told to stop (AcquisitionStop sent to the device alone)
//   while the client keeps receiving until nothing has come for longer
//   than the receivers' frame retention (bounded); then sent is the
//   sensor's frame counter over the acquisition, delivered the frames
//   handed to the application, lost = sent - delivered, and failed the
//   transfers the client was told had failed (part of lost).
// - Gbit/s: image payload delivered in the window over its length.
// - latency: host time when the frame reached the application (entry of
//   the image callback, return of the buffer pop) minus the frame's device
//   timestamp mapped onto the host clock. The mapping comes from the
//   sensor's timestamp latch (GevTimestampControlLatch / GevTimestampValue)
//   read over the control channel; its uncertainty is half the shortest
//   latch round trip and is printed. The sensor stamps a frame when it
//   starts building it, so the delay includes rendering and the paced
//   transfer at the emulated link rate, the same for both clients.
//   The library reads the stamp with ORNCGetFrameInfo in its callback.
// - The Aravis client sets up the device and its receiver the way the
//   library's platform layer does (multipart and 64-bit block ids on
//   stream channel 0, negotiated packet size, a fixed 8 MiB socket buffer,
//   1 s frame retention, packet resends, 16 buffers of PayloadSize), so
//   what differs between the two rows is the delivery path.
#include <arv.h>
#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ORNCExt.h"
#include "ornsim/virtual_sensor.h"
#include "sensor_link.h"
#include "wire/gvcp_layout.h"

namespace {

constexpr const char* kLoopbackInterfaceAddress = "127.0.0.1";
constexpr const char* kVethInterfaceAddress = "169.254.48.1";
// The library's receiver: the stream buffers it queues at connect and the
// Aravis stream settings its platform layer applies, mirrored by the
// Aravis client so that both receive alike.
constexpr int kStreamBuffers = 16;
constexpr gint kSocketBufferBytes = 8 * 1024 * 1024;
constexpr guint kFrameRetentionUs = 1000000;
// The Aravis client's pop wait: bounds how long its thread takes to notice
// the end of a run.
constexpr guint64 kPopTimeoutUs = 100000;
constexpr int kLatchRounds = 5;
// After the sensor stopped, receiving ends once nothing came for longer
// than the frame retention above (a frame held behind an incomplete one
// still counts as delivered), and never lasts longer than the maximum.
constexpr auto kDrainQuiet = std::chrono::milliseconds(1500);
constexpr auto kDrainMaximum = std::chrono::seconds(6);
constexpr auto kDrainPoll = std::chrono::milliseconds(20);
constexpr double kMaxSeconds = 60.0;
// The second ORNC mode: a worker pass every ms taking up to 16 buffers.
constexpr int kFastPeriodMs = 1;
constexpr int kFastBuffersPerPass = 16;

struct Case {
    const char* name;
    uint32_t width, height;
    double fps;
    uint32_t link_speed_mbps;  // the sensor's emulated link
};

// 160x120 at 90/s stays under the worker's pace of one buffer per 10 ms;
// 160x120 at 250/s is above it. 640x480 at 27/s is 4.3 MB frames, 0.93
// Gbit/s of payload: the sensor renders a frame, then sends it, one after
// the other, so on an emulated gigabit link (34.6 ms per frame on the
// wire) it falls behind 27/s; its link is emulated at 10 Gbit/s there.
// At 200/s it renders and sends as fast as the machine lets it.
constexpr Case kCases[] = {
    {"small", 160, 120, 90.0, 1000},
    {"large", 640, 480, 27.0, 10000},
    {"small above pace", 160, 120, 250.0, 1000},
    {"large at the sensor's top rate", 640, 480, 200.0, 10000},
};
// Over the veth link: 1500-byte packets, so six times the packets of the
// same payload on loopback, each through the veth pair's softirq work on
// the same two cores. Rates the sensor keeps up with on a gigabit link:
// 640x480 at 10/s is 34.6 ms of a gigabit link a frame.
constexpr Case kVethCases[] = {
    {"veth small", 160, 120, 30.0, 1000},
    {"veth large", 640, 480, 10.0, 1000},
};

struct ComponentChoice {
    const char* component;
    const char* pixel_format;
};
constexpr ComponentChoice kComponents[] = {
    {"Range", "Coord3D_ABC32f"}, {"Intensity", "Mono8"}, {"Confidence", "Confidence8"}};

using Clock = std::chrono::steady_clock;

int64_t host_ns() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

std::string sensor_address(int index) { return "127.0.48." + std::to_string(index + 1); }

// --- CPU time -----------------------------------------------------------------

double process_cpu_s() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

std::vector<pid_t> thread_ids() {
    std::vector<pid_t> ids;
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) {
        return ids;
    }
    while (dirent* entry = readdir(dir)) {
        const long id = std::strtol(entry->d_name, nullptr, 10);
        if (id > 0) {
            ids.push_back(static_cast<pid_t>(id));
        }
    }
    closedir(dir);
    std::sort(ids.begin(), ids.end());
    return ids;
}

// A thread's schedstat: time on the CPU (ns) and how many times it ran.
struct ThreadRuns {
    unsigned long long on_cpu_ns = 0, runs = 0;
};

ThreadRuns thread_runs(pid_t id) {
    ThreadRuns r;
    const std::string path = "/proc/self/task/" + std::to_string(id) + "/schedstat";
    if (FILE* file = std::fopen(path.c_str(), "r")) {
        unsigned long long waited_ns = 0;
        if (std::fscanf(file, "%llu %llu %llu", &r.on_cpu_ns, &waited_ns, &r.runs) != 3) {
            r = ThreadRuns{};
        }
        std::fclose(file);
    }
    return r;
}

// Time on the CPU of the given threads. A thread that has ended counts
// nothing; the sensor's threads live until it stops, after the measurement.
double threads_cpu_s(const std::vector<pid_t>& ids) {
    double total = 0.0;
    for (pid_t id : ids) {
        total += static_cast<double>(thread_runs(id).on_cpu_ns) / 1e9;
    }
    return total;
}

// The schedstat of every thread that is not the sensor's.
std::map<pid_t, ThreadRuns> client_threads(const std::vector<pid_t>& sensor_threads) {
    std::map<pid_t, ThreadRuns> runs;
    for (pid_t id : thread_ids()) {
        if (std::find(sensor_threads.begin(), sensor_threads.end(), id) == sensor_threads.end()) {
            runs[id] = thread_runs(id);
        }
    }
    return runs;
}

// The client thread that spent the most CPU time between the two readings
// (for one library client, its stream receiver; for plain Aravis, its
// stream thread): how much, and in how many runs on the CPU, which shows
// whether the time goes to work or to wake-ups.
std::string busiest_thread(const std::map<pid_t, ThreadRuns>& before, const std::map<pid_t, ThreadRuns>& after) {
    ThreadRuns most;
    for (const auto& [id, end] : after) {
        const auto start = before.find(id);
        const ThreadRuns begun = start != before.end() ? start->second : ThreadRuns{};
        if (end.on_cpu_ns - begun.on_cpu_ns > most.on_cpu_ns) {
            most = {end.on_cpu_ns - begun.on_cpu_ns, end.runs - begun.runs};
        }
    }
    char text[96];
    std::snprintf(text, sizeof text, "%.3f s in %llu runs (%.1f us a run)", static_cast<double>(most.on_cpu_ns) / 1e9,
                  most.runs,
                  most.runs != 0 ? static_cast<double>(most.on_cpu_ns) / 1e3 / static_cast<double>(most.runs) : 0.0);
    return text;
}

// --- what a client received ------------------------------------------------------

struct Delivery {
    int64_t host_ns;
    uint64_t bytes;     // image payload handed over
    int64_t device_ns;  // device timestamp, -1 when unreadable
};

// Written by the delivering thread only; the records are read once that
// thread has stopped delivering, the event count at any time. Reserved up
// front so that recording never allocates on the delivery path.
class DeliveryLog {
public:
    explicit DeliveryLog(size_t capacity) { deliveries_.reserve(capacity); }
    void add(const Delivery& delivery) {
        if (deliveries_.size() < deliveries_.capacity()) {
            deliveries_.push_back(delivery);
        } else {
            ++unrecorded_;
        }
        ++delivered_;
        events_.fetch_add(1, std::memory_order_release);
    }
    void add_failure() {
        ++failed_;
        events_.fetch_add(1, std::memory_order_release);
    }
    uint64_t events() const { return events_.load(std::memory_order_acquire); }
    const std::vector<Delivery>& deliveries() const { return deliveries_; }
    uint64_t delivered() const { return delivered_; }
    uint64_t failed() const { return failed_; }
    uint64_t unrecorded() const { return unrecorded_; }

private:
    std::vector<Delivery> deliveries_;
    std::atomic<uint64_t> events_{0};
    uint64_t delivered_ = 0;
    uint64_t failed_ = 0;
    uint64_t unrecorded_ = 0;
};

// Waits until the log has seen nothing new for kDrainQuiet, or
// kDrainMaximum has passed.
void drain(const DeliveryLog& log) {
    const auto give_up = Clock::now() + kDrainMaximum;
    uint64_t seen = log.events();
    auto last_change = Clock::now();
    while (Clock::now() < give_up && Clock::now() - last_change < kDrainQuiet) {
        std::this_thread::sleep_for(kDrainPoll);
        const uint64_t now_seen = log.events();
        if (now_seen != seen) {
            seen = now_seen;
            last_change = Clock::now();
        }
    }
}

size_t log_capacity(const Case& c, double seconds) {
    return static_cast<size_t>(c.fps * (seconds + 30.0)) + 1024;  // deliveries never outnumber frames sent
}

// host = device + offset_ns, known to within +- half_width_ns.
struct ClockMap {
    int64_t offset_ns = 0;
    int64_t half_width_ns = 0;
};

// Latches the device clock a few times and keeps the tightest bracket:
// the sensor latched while handling the write, between send and ack.
bool map_device_clock(const std::function<bool()>& latch, const std::function<bool(uint64_t*)>& read, ClockMap* map) {
    int64_t best = INT64_MAX;
    for (int i = 0; i < kLatchRounds; ++i) {
        const int64_t before = host_ns();
        if (!latch()) {
            return false;
        }
        const int64_t after = host_ns();
        uint64_t device = 0;
        if (!read(&device)) {
            return false;
        }
        if (after - before < best) {
            best = after - before;
            map->offset_ns = before + (after - before) / 2 - static_cast<int64_t>(device);
            map->half_width_ns = (after - before + 1) / 2;
        }
    }
    return true;
}

// Marks of the measurement window, taken on the main thread.
struct Mark {
    int64_t host_ns = 0;
    double process_cpu_s = 0.0;
    double sensor_cpu_s = 0.0;
};

Mark take_mark(const std::vector<pid_t>& sensor_threads) {
    Mark mark;
    mark.sensor_cpu_s = threads_cpu_s(sensor_threads);
    mark.process_cpu_s = process_cpu_s();
    mark.host_ns = host_ns();
    return mark;
}

// What a client run yields.
struct RunResult {
    Mark start, end;
    uint64_t sent = 0;  // the sensor's frames over the acquisition
    ClockMap clock;
    uint64_t frame_bytes = 0;  // PayloadSize the client sized its buffers to
    int64_t packet_size = 0;   // GevSCPSPacketSize once the client had negotiated it
    std::string receiver;      // the receiver's own counters, as text
    std::string busiest;       // the busiest client thread in the window, as text
    std::unique_ptr<DeliveryLog> log;
};

void sleep_seconds(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

// The measured window, once the device streams: the sensor threads' marks
// around `seconds` of streaming.
void measure_window(const std::vector<pid_t>& sensor_threads, double seconds, RunResult* result) {
    const std::map<pid_t, ThreadRuns> before = client_threads(sensor_threads);
    result->start = take_mark(sensor_threads);
    sleep_seconds(seconds);
    result->end = take_mark(sensor_threads);
    result->busiest = busiest_thread(before, client_threads(sensor_threads));
}

// After the device stopped: what is still on its way is delivered, and the
// frames sent since `sent_before` counted.
void count_sent(const ornsim::VirtualSensor& sensor, uint64_t sent_before, RunResult* result) {
    drain(*result->log);
    result->sent = sensor.counters().frames_sent - sent_before;
}

// --- client 1: libORNC through its C API -----------------------------------------

struct OrncContext {
    DeliveryLog* log = nullptr;
    const ornc_t* ornc = nullptr;
};

void record_ornc_frame(OrncContext* context, int64_t now, uint64_t bytes) {
    ornc_frame_info_t info;
    const int64_t device_ns =
        ORNCGetFrameInfo(context->ornc, &info) == ORNC_OK ? static_cast<int64_t>(info.timestamp) : -1;
    context->log->add({now, bytes, device_ns});
}

void on_ornc_vector(orn_image_vec_t* vec, void* userdata) {
    const int64_t now = host_ns();
    OrncContext* context = static_cast<OrncContext*>(userdata);
    if (vec == nullptr) {
        context->log->add_failure();  // the image callback hears of it too; counted once, here
        return;
    }
    uint64_t bytes = 0;
    for (int i = 0; i < vec->used; ++i) {
        const orn_image_t& image = vec->image[i];
        if (image.data != nullptr) {
            bytes += static_cast<uint64_t>(image.width) * static_cast<uint64_t>(image.height) *
                     static_cast<uint64_t>(image.pixelsize);
        }
    }
    record_ornc_frame(context, now, bytes);
}

// Single images are not expected (multipart is on); counted if they come.
void on_ornc_image(orn_image_t* image, void* userdata) {
    const int64_t now = host_ns();
    if (image == nullptr || image->data == nullptr) {
        return;
    }
    record_ornc_frame(static_cast<OrncContext*>(userdata), now,
                      static_cast<uint64_t>(image->width) * static_cast<uint64_t>(image->height) *
                          static_cast<uint64_t>(image->pixelsize));
}

bool ornc_failed(const char* step, ornc_status_t status) {
    std::fprintf(stderr, "ORNC: %s: %s (%d)\n", step, ORNCGetErrorMessage(status), status);
    return false;
}

ornc_param_t* ornc_param(ornc_t* ornc, const char* name) {
    return ORNCParamsGetParamByName(ORNCGetDeviceParams(ornc), name);
}

bool ornc_set_bool(ornc_t* ornc, const char* name, bool value) {
    const ornc_status_t status = ORNCParamSetBooleanValue(ornc_param(ornc, name), value ? 1 : 0);
    return status == ORNC_OK || ornc_failed(name, status);
}

// Every component of kComponents enabled in its pixel format, through the
// library's component table.
bool ornc_enable_components(ornc_t* ornc) {
    const int count = ORNCGetComponentCount(ornc);
    for (const ComponentChoice& choice : kComponents) {
        const ornc_component_t* found = nullptr;
        for (int i = 0; i < count && found == nullptr; ++i) {
            const ornc_component_t* entry = ORNCGetComponent(ornc, i);
            if (std::strcmp(entry->compname, choice.component) == 0 &&
                std::strcmp(entry->pixelname, choice.pixel_format) == 0) {
                found = entry;
            }
        }
        if (found == nullptr) {
            std::fprintf(stderr, "ORNC: the component table has no %s in %s\n", choice.component, choice.pixel_format);
            return false;
        }
        const ornc_status_t status = ORNCComponentEnable(ornc, found, 1);
        if (status != ORNC_OK) {
            return ornc_failed(choice.component, status);
        }
    }
    return true;
}

bool ornc_map_clock(ornc_t* ornc, ClockMap* map) {
    ornc_param_t* reset = ornc_param(ornc, "GevTimestampControlReset");
    ornc_param_t* latch = ornc_param(ornc, "GevTimestampControlLatch");
    ornc_param_t* value = ornc_param(ornc, "GevTimestampValue");
    if (reset == nullptr || latch == nullptr || value == nullptr) {
        std::fprintf(stderr, "ORNC: the sensor has no timestamp reset, latch or value\n");
        return false;
    }
    // The device clock starts at 0 here, as for the Aravis client.
    if (ORNCParamSendCommand(reset) != ORNC_OK) {
        return ornc_failed("GevTimestampControlReset", ORNC_ERROR);
    }
    return map_device_clock([latch] { return ORNCParamSendCommand(latch) == ORNC_OK; },
                            [value](uint64_t* out) {
                                int64_t v = 0;
                                if (ORNCParamGetInteger64Value(value, &v) != ORNC_OK) {
                                    return false;
                                }
                                *out = static_cast<uint64_t>(v);
                                return true;
                            },
                            map);
}

std::string ornc_receiver_counters(ornc_t* ornc) {
    ornc_parameters_t* params = ORNCGetStreamParams(ornc);
    std::string text;
    for (const char* name : {"BlockCount", "BlocksDropped", "BlocksUnderrun", "ResendRequests", "PacketsMissing"}) {
        unsigned int value = 0;
        const ornc_status_t status = ORNCParamGetUIntegerValue(ORNCParamsGetParamByName(params, name), &value);
        text += std::string(text.empty() ? "" : ", ") + name + " " +
                (status == ORNC_OK ? std::to_string(value) : std::string("?"));
    }
    return text;
}

// One acquisition of `seconds` through the library on `sensor`, its stream
// received by `receiver` (ORNC_STREAM_RECEIVER's values; null: as the
// environment says, for runs in parallel threads, which must not change
// it). Everything it opens is closed before it returns.
bool run_ornc(const ornsim::VirtualSensor& sensor, const std::vector<pid_t>& sensor_threads, const Case& c,
              double seconds, bool fast_pacing, const char* receiver, RunResult* result) {
    if (receiver != nullptr) {
        setenv("ORNC_STREAM_RECEIVER", receiver, 1);  // read when the stream opens, at connect
    }
    result->log = std::make_unique<DeliveryLog>(log_capacity(c, seconds));
    OrncContext context;
    context.log = result->log.get();

    ornc_system_t sys;
    ornc_status_t status = ORNCSysInit(&sys);
    if (status != ORNC_OK) {
        return ornc_failed("ORNCSysInit", status);
    }
    ornc_t ornc;
    ORNCInitEmpty(&ornc);
    bool started = false;  // ORNCStart ran: ORNCStop is owed
    bool acquiring = false;
    // Runs the steps; any failure falls through to the cleanup below.
    const bool ok = [&]() -> bool {
        status = ORNCSysFindDevices(&sys);
        if (status != ORNC_OK) {
            return ornc_failed("ORNCSysFindDevices", status);
        }
        const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&sys, sensor.config().serial.c_str());
        if (device == nullptr) {
            return ornc_failed("no sensor with the serial number", ORNC_ERR_DEVICE_NOT_FOUND);
        }
        status = ORNCInit(&ornc);
        if (status == ORNC_OK) {
            status = ORNCConnectByDevice(&ornc, device);
        }
        if (status != ORNC_OK) {
            return ornc_failed("connect", status);
        }
        if (fast_pacing) {
            status = ORNCSetDeliveryPacing(&ornc, kFastPeriodMs, kFastBuffersPerPass);
            if (status != ORNC_OK) {
                return ornc_failed("ORNCSetDeliveryPacing", status);
            }
        }
        if (!ornc_enable_components(&ornc) || !ornc_set_bool(&ornc, "ChunkModeActive", false)) {
            return false;
        }
        context.ornc = &ornc;
        ornc_param_t* device_stop = ornc_param(&ornc, "AcquisitionStop");
        if (device_stop == nullptr) {
            std::fprintf(stderr, "ORNC: the sensor has no AcquisitionStop\n");
            return false;
        }
        int payload = 0;
        status = ORNCParamGetIntegerValue(ornc_param(&ornc, "PayloadSize"), &payload);
        if (status != ORNC_OK) {
            return ornc_failed("PayloadSize", status);
        }
        result->frame_bytes = static_cast<uint64_t>(payload);
        int packet_size = 0;
        ORNCParamGetIntegerValue(ornc_param(&ornc, "GevSCPSPacketSize"), &packet_size);
        result->packet_size = packet_size;
        ORNCSetImageVecCallback(&ornc, on_ornc_vector, &context);
        ORNCSetImageCallback(&ornc, on_ornc_image, &context);
        status = ORNCStart(&ornc);
        started = true;
        if (status != ORNC_OK) {
            return ornc_failed("ORNCStart", status);
        }
        if (!ornc_map_clock(&ornc, &result->clock)) {
            return false;
        }
        const uint64_t sent_before = sensor.counters().frames_sent;
        status = ORNCAcquisitionStartMode(&ornc, 0, 0);  // continuous, no trigger
        if (status != ORNC_OK) {
            return ornc_failed("ORNCAcquisitionStart", status);
        }
        acquiring = true;
        measure_window(sensor_threads, seconds, result);
        // The device stops; the library goes on delivering what is on its way.
        status = ORNCParamSendCommand(device_stop);
        if (status != ORNC_OK) {
            return ornc_failed("AcquisitionStop", status);
        }
        count_sent(sensor, sent_before, result);
        return true;
    }();

    if (acquiring) {
        status = ORNCAcquisitionStop(&ornc);
        if (status != ORNC_OK) {
            ornc_failed("ORNCAcquisitionStop", status);
        }
    }
    if (started) {
        ORNCStop(&ornc);  // waits for a callback in progress: the log is ours again
        result->receiver = ornc_receiver_counters(&ornc);
    }
    ORNCSetImageVecCallback(&ornc, nullptr, nullptr);
    ORNCSetImageCallback(&ornc, nullptr, nullptr);
    ORNCDisconnect(&ornc);
    ORNCDestroy(&ornc);
    ORNCSysDestroy(&sys);
    if (receiver != nullptr) {
        unsetenv("ORNC_STREAM_RECEIVER");
    }
    return ok;
}

// --- client 2: plain Aravis -------------------------------------------------------

bool aravis_failed(const char* step, GError* error) {
    std::fprintf(stderr, "Aravis: %s: %s\n", step, error != nullptr ? error->message : "failed");
    g_clear_error(&error);
    return false;
}

// Image bytes of a multipart buffer: every part but chunk data, which the
// library leaves out of its image vector too.
uint64_t aravis_image_bytes(ArvBuffer* buffer) {
    uint64_t bytes = 0;
    const guint parts = arv_buffer_get_n_parts(buffer);
    for (guint i = 0; i < parts; ++i) {
        if (arv_buffer_get_part_data_type(buffer, i) == ARV_BUFFER_PART_DATA_TYPE_CHUNK_DATA) {
            continue;
        }
        size_t size = 0;
        if (arv_buffer_get_part_data(buffer, i, &size) != nullptr) {
            bytes += size;
        }
    }
    return bytes;
}

void aravis_receive(ArvStream* stream, DeliveryLog* log, const std::atomic<bool>* stop) {
    while (!stop->load()) {
        ArvBuffer* buffer = arv_stream_timeout_pop_buffer(stream, kPopTimeoutUs);
        if (buffer == nullptr) {
            continue;
        }
        const int64_t now = host_ns();
        if (arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS) {
            log->add({now, aravis_image_bytes(buffer), static_cast<int64_t>(arv_buffer_get_timestamp(buffer))});
        } else {
            log->add_failure();
        }
        arv_stream_push_buffer(stream, buffer);
    }
}

bool aravis_set_string(ArvDevice* device, const char* name, const char* value) {
    GError* error = nullptr;
    arv_device_set_string_feature_value(device, name, value, &error);
    return error == nullptr || aravis_failed(name, error);
}

bool aravis_set_bool(ArvDevice* device, const char* name, bool value) {
    GError* error = nullptr;
    arv_device_set_boolean_feature_value(device, name, value ? TRUE : FALSE, &error);
    return error == nullptr || aravis_failed(name, error);
}

// The device set up as the library sets it up: multipart on channel 0
// (connect), the same components, no chunks, continuous without trigger
// (acquisition start).
bool aravis_configure(ArvDevice* device) {
    GError* error = nullptr;
    arv_device_set_integer_feature_value(device, "GevStreamChannelSelector", 0, &error);
    if (error != nullptr) {
        return aravis_failed("GevStreamChannelSelector", error);
    }
    if (!aravis_set_bool(device, "GevSCCFGMultiPartEnabled", true)) {
        return false;
    }
    for (const ComponentChoice& choice : kComponents) {
        if (!aravis_set_string(device, "ComponentSelector", choice.component) ||
            !aravis_set_bool(device, "ComponentEnable", true) ||
            !aravis_set_string(device, "PixelFormat", choice.pixel_format)) {
            return false;
        }
    }
    if (!aravis_set_bool(device, "ChunkModeActive", false)) {
        return false;
    }
    return aravis_set_string(device, "TriggerMode", "Off") &&
           aravis_set_string(device, "AcquisitionMode", "Continuous");
}

// Multipart frames travel only with 64-bit block ids in Aravis 0.8: the
// platform layer turns them on when the channel has multipart enabled, at
// stream enable. Same registers here.
bool aravis_enable_extended_ids(ArvDevice* device) {
    GError* error = nullptr;
    guint32 configuration = 0;
    if (!arv_device_read_register(device, gvcp::REG_SCCFG0, &configuration, &error)) {
        return aravis_failed("read SCCFG0", error);
    }
    if ((configuration & gvcp::SCCFG_MULTIPART) == 0) {
        std::fprintf(stderr, "Aravis: multipart is not enabled on stream channel 0\n");
        return false;
    }
    guint32 gvsp = 0;
    if (!arv_device_read_register(device, gvcp::REG_GVSP_CONFIGURATION, &gvsp, &error)) {
        return aravis_failed("read GVSP configuration", error);
    }
    if ((gvsp & gvcp::GVSP_CONFIG_64BIT_BLOCK_ID) == 0 &&
        !arv_device_write_register(device, gvcp::REG_GVSP_CONFIGURATION, gvsp | gvcp::GVSP_CONFIG_64BIT_BLOCK_ID,
                                   &error)) {
        return aravis_failed("write GVSP configuration", error);
    }
    return true;
}

bool aravis_map_clock(ArvDevice* device, ClockMap* map) {
    GError* error = nullptr;
    arv_device_execute_command(device, "GevTimestampControlReset", &error);
    if (error != nullptr) {
        return aravis_failed("GevTimestampControlReset", error);
    }
    return map_device_clock(
        [device] {
            GError* latch_error = nullptr;
            arv_device_execute_command(device, "GevTimestampControlLatch", &latch_error);
            return latch_error == nullptr || aravis_failed("GevTimestampControlLatch", latch_error);
        },
        [device](uint64_t* out) {
            GError* read_error = nullptr;
            const gint64 value = arv_device_get_integer_feature_value(device, "GevTimestampValue", &read_error);
            if (read_error != nullptr || value < 0) {
                return aravis_failed("GevTimestampValue", read_error);
            }
            *out = static_cast<uint64_t>(value);
            return true;
        },
        map);
}

std::string aravis_receiver_counters(ArvStream* stream) {
    guint64 completed = 0, failures = 0, underruns = 0, resent = 0, missing = 0;
    arv_stream_get_statistics(stream, &completed, &failures, &underruns);
    arv_gv_stream_get_statistics(ARV_GV_STREAM(stream), &resent, &missing);
    auto u = [](guint64 v) { return std::to_string(static_cast<unsigned long long>(v)); };
    return "completed " + u(completed) + ", failures " + u(failures) + ", underruns " + u(underruns) + ", resent " +
           u(resent) + ", missing " + u(missing);
}

bool run_aravis(const ornsim::VirtualSensor& sensor, const std::vector<pid_t>& sensor_threads, const Case& c,
                double seconds, const char* interface, RunResult* result) {
    result->log = std::make_unique<DeliveryLog>(log_capacity(c, seconds));
    GInetAddress* interface_address = g_inet_address_new_from_string(interface);
    GInetAddress* device_address = g_inet_address_new_from_string(sensor.config().address.c_str());
    GError* error = nullptr;
    ArvDevice* device = arv_gv_device_new(interface_address, device_address, &error);
    g_object_unref(interface_address);
    g_object_unref(device_address);
    if (device == nullptr) {
        return aravis_failed("connect", error);
    }
    g_clear_error(&error);

    ArvStream* stream = nullptr;
    std::atomic<bool> stop{false};
    std::thread receiver;
    bool acquiring = false;
    const bool ok = [&]() -> bool {
        if (!aravis_configure(device)) {
            return false;
        }
        const gint64 payload = arv_device_get_integer_feature_value(device, "PayloadSize", &error);
        if (error != nullptr || payload <= 0) {
            return aravis_failed("PayloadSize", error);
        }
        result->frame_bytes = static_cast<uint64_t>(payload);
        // The same receiver as the library's: a UDP socket, also as root.
        arv_gv_device_set_stream_options(ARV_GV_DEVICE(device), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        GError* negotiation = nullptr;
        arv_gv_device_auto_packet_size(ARV_GV_DEVICE(device), &negotiation);
        g_clear_error(&negotiation);  // the size set before stays, as in the library
        result->packet_size = arv_gv_device_get_packet_size(ARV_GV_DEVICE(device), nullptr);
        stream = arv_device_create_stream(device, nullptr, nullptr, &error);
        if (stream == nullptr) {
            return aravis_failed("create stream", error);
        }
        g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                     kSocketBufferBytes, "frame-retention", kFrameRetentionUs, "packet-resend",
                     ARV_GV_STREAM_PACKET_RESEND_ALWAYS, nullptr);
        for (int i = 0; i < kStreamBuffers; ++i) {
            arv_stream_push_buffer(stream, arv_buffer_new(static_cast<size_t>(payload), nullptr));
        }
        if (!aravis_enable_extended_ids(device) || !aravis_map_clock(device, &result->clock)) {
            return false;
        }
        receiver = std::thread(aravis_receive, stream, result->log.get(), &stop);
        const uint64_t sent_before = sensor.counters().frames_sent;
        arv_device_execute_command(device, "AcquisitionStart", &error);
        if (error != nullptr) {
            return aravis_failed("AcquisitionStart", error);
        }
        acquiring = true;
        measure_window(sensor_threads, seconds, result);
        acquiring = false;
        arv_device_execute_command(device, "AcquisitionStop", &error);
        if (error != nullptr) {
            return aravis_failed("AcquisitionStop", error);
        }
        count_sent(sensor, sent_before, result);
        return true;
    }();

    if (acquiring) {  // a step failed while the device was streaming
        GError* stop_error = nullptr;
        arv_device_execute_command(device, "AcquisitionStop", &stop_error);
        g_clear_error(&stop_error);
    }
    stop = true;
    if (receiver.joinable()) {
        receiver.join();  // within one pop timeout
    }
    if (stream != nullptr) {
        result->receiver = aravis_receiver_counters(stream);
        g_object_unref(stream);  // ends its receiving thread, frees the buffers
    }
    g_object_unref(device);  // releases control, ends the heartbeat
    return ok;
}

// --- figures ------------------------------------------------------------------------

struct Figures {
    uint64_t sent = 0, delivered = 0, failed = 0;
    int64_t lost = 0;
    double gbps = 0.0;
    double process_cpu_per_gb = 0.0, client_cpu_per_gb = 0.0;
    uint64_t window_delivered = 0;
    size_t latency_samples = 0;
    double latency_p50_ms = 0.0, latency_p99_ms = 0.0, latency_max_ms = 0.0, latency_min_ms = 0.0;
};

Figures figures_of(const RunResult& run) {
    Figures f;
    f.sent = run.sent;
    f.delivered = run.log->delivered();
    f.failed = run.log->failed();
    f.lost = static_cast<int64_t>(f.sent) - static_cast<int64_t>(f.delivered);
    std::vector<double> latencies;
    uint64_t bytes = 0;
    for (const Delivery& d : run.log->deliveries()) {
        if (d.host_ns < run.start.host_ns || d.host_ns > run.end.host_ns) {
            continue;
        }
        ++f.window_delivered;
        bytes += d.bytes;
        if (d.device_ns >= 0) {
            latencies.push_back(static_cast<double>(d.host_ns - (d.device_ns + run.clock.offset_ns)) / 1e6);
        }
    }
    const double window_s = static_cast<double>(run.end.host_ns - run.start.host_ns) / 1e9;
    const double gigabytes = static_cast<double>(bytes) / 1e9;
    f.gbps = window_s > 0 ? static_cast<double>(bytes) * 8.0 / window_s / 1e9 : 0.0;
    const double process_cpu = run.end.process_cpu_s - run.start.process_cpu_s;
    const double sensor_cpu = run.end.sensor_cpu_s - run.start.sensor_cpu_s;
    if (gigabytes > 0) {
        f.process_cpu_per_gb = process_cpu / gigabytes;
        f.client_cpu_per_gb = (process_cpu - sensor_cpu) / gigabytes;
    }
    std::sort(latencies.begin(), latencies.end());
    f.latency_samples = latencies.size();
    if (!latencies.empty()) {
        const size_t n = latencies.size();
        f.latency_min_ms = latencies.front();
        f.latency_p50_ms = latencies[n / 2];
        f.latency_p99_ms = latencies[std::min(n - 1, n * 99 / 100)];
        f.latency_max_ms = latencies.back();
    }
    return f;
}

void print_header() {
    std::printf("%-8s %6s %9s %6s %6s %7s %9s %11s   %s\n", "client", "sent", "delivered", "lost", "failed", "Gbit/s",
                "cpu s/GB", "client s/GB", "latency ms min / p50 / p99 / max (frames)");
}

void print_row(const char* client, const RunResult& run, const Figures& f) {
    std::printf("%-8s %6llu %9llu %6lld %6llu %7.3f %9.3f %11.3f   %.2f / %.2f / %.2f / %.2f (%zu of %llu)\n", client,
                static_cast<unsigned long long>(f.sent), static_cast<unsigned long long>(f.delivered),
                static_cast<long long>(f.lost), static_cast<unsigned long long>(f.failed), f.gbps, f.process_cpu_per_gb,
                f.client_cpu_per_gb, f.latency_min_ms, f.latency_p50_ms, f.latency_p99_ms, f.latency_max_ms,
                f.latency_samples, static_cast<unsigned long long>(f.window_delivered));
    std::printf("        receiver: %s; clock mapped to +-%.1f us",
                run.receiver.empty() ? "(per client, below)" : run.receiver.c_str(),
                static_cast<double>(run.clock.half_width_ns) / 1e3);
    if (run.log->unrecorded() != 0) {
        std::printf("; %llu deliveries beyond the log", static_cast<unsigned long long>(run.log->unrecorded()));
    }
    std::printf("\n");
    if (!run.busiest.empty()) {
        std::printf("        busiest client thread: %s\n", run.busiest.c_str());
    }
    // A delay below zero beyond the mapping's uncertainty means the mapping is wrong.
    if (f.latency_samples > 0 && f.latency_min_ms * 1e6 < -static_cast<double>(run.clock.half_width_ns)) {
        std::printf("        warning: a frame arrived %.3f ms before its device timestamp: the clock mapping is off\n",
                    -f.latency_min_ms);
    }
}

ornsim::SensorConfig sensor_config(const Case& c, const std::string& address, int index) {
    ornsim::SensorConfig config;
    config.address = address;
    config.serial = "BENCH48" + std::to_string(index + 1);
    char mac[18];
    std::snprintf(mac, sizeof mac, "02:00:00:00:48:%02x", (index + 1) & 0xFF);
    config.mac = mac;
    config.width = c.width;
    config.height = c.height;
    config.fps = c.fps;
    config.link_speed_mbps = c.link_speed_mbps;
    return config;
}

// Starts a sensor in this process (or in the link's namespace); the threads
// that appeared while it started are added to `threads`. Null on failure.
std::unique_ptr<ornsim::VirtualSensor> start_sensor(const ornsim::SensorConfig& config, const bench::SensorLink* link,
                                                    std::vector<pid_t>* threads) {
    const std::vector<pid_t> before = thread_ids();
    std::unique_ptr<ornsim::VirtualSensor> started;
    std::string error = "cannot be started in the sensor namespace";
    if (link == nullptr) {
        started = std::make_unique<ornsim::VirtualSensor>(config);
        if (!started->start(&error)) started.reset();
    } else if (link->add_address(config.address + "/16")) {
        started = link->start(config);
    }
    if (!started) {
        std::fprintf(stderr, "sensor %s: %s\n", config.address.c_str(), error.c_str());
        return nullptr;
    }
    const std::vector<pid_t> after = thread_ids();
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(*threads));
    std::sort(threads->begin(), threads->end());
    return started;
}

// One case; over `link` when given, else on loopback.
bool run_case(int index, const Case& c, double seconds, const bench::SensorLink* link) {
    const ornsim::SensorConfig config =
        sensor_config(c, link != nullptr ? "169.254.48." + std::to_string(10 + index) : sensor_address(index), index);

    std::vector<pid_t> sensor_threads;
    std::unique_ptr<ornsim::VirtualSensor> started = start_sensor(config, link, &sensor_threads);
    if (!started) {
        return false;
    }
    ornsim::VirtualSensor& sensor = *started;

    // Discovery asks this sensor's address only, on loopback only; or
    // broadcasts on the veth end.
    setenv("ORNC_INTERFACES", link != nullptr ? bench::SensorLink::kHostAdapter : "lo", 1);
    setenv("ORNC_LOOPBACK_HOSTS", config.address.c_str(), 1);

    RunResult ornc;
    RunResult paced;
    RunResult own;
    RunResult aravis;
    const bool ornc_ok = run_ornc(sensor, sensor_threads, c, seconds, false, "aravis", &ornc) &&
                         run_ornc(sensor, sensor_threads, c, seconds, true, "aravis", &paced) &&
                         run_ornc(sensor, sensor_threads, c, seconds, true, "own", &own);
    const bool aravis_ok =
        ornc_ok && run_aravis(sensor, sensor_threads, c, seconds,
                              link != nullptr ? kVethInterfaceAddress : kLoopbackInterfaceAddress, &aravis);
    sensor.stop();
    if (!ornc_ok || !aravis_ok) {
        std::fprintf(stderr, "case %s: %s client failed\n", c.name, ornc_ok ? "Aravis" : "ORNC");
        return false;
    }

    std::printf(
        "\n%s: %ux%u Coord3D_ABC32f + Mono8 + Confidence8, %.1f kB per frame, sensor at "
        "%.0f/s (%s, %u Mbit/s link, %zu threads), %.1f s window\n",
        c.name, c.width, c.height, static_cast<double>(ornc.frame_bytes) / 1e3, c.fps, config.address.c_str(),
        config.link_speed_mbps, sensor_threads.size(), seconds);
    std::printf("negotiated packet size: ORNC %lld, Aravis %lld bytes\n", static_cast<long long>(ornc.packet_size),
                static_cast<long long>(aravis.packet_size));
    if (ornc.frame_bytes != aravis.frame_bytes) {
        std::fprintf(stderr, "the clients saw different payload sizes: %llu and %llu\n",
                     static_cast<unsigned long long>(ornc.frame_bytes),
                     static_cast<unsigned long long>(aravis.frame_bytes));
        return false;
    }
    print_header();
    const Figures of = figures_of(ornc);
    const Figures pf = figures_of(paced);
    const Figures wf = figures_of(own);
    const Figures af = figures_of(aravis);
    print_row("ORNC", ornc, of);
    print_row("ORNC-16", paced, pf);
    print_row("ORNC-own", own, wf);
    print_row("Aravis", aravis, af);
    for (const auto& [client, f] :
         {std::pair<const char*, const Figures&>{"ORNC", of}, {"ORNC-16", pf}, {"ORNC-own", wf}}) {
        if (af.client_cpu_per_gb > 0 && af.process_cpu_per_gb > 0) {
            std::printf("ratio   %s / Aravis CPU per GB: client %.2f, whole process %.2f\n", client,
                        f.client_cpu_per_gb / af.client_cpu_per_gb, f.process_cpu_per_gb / af.process_cpu_per_gb);
        }
        if (f.latency_samples > 0 && af.latency_samples > 0) {
            std::printf("latency %s - Aravis: p50 %+.2f ms, p99 %+.2f ms\n", client,
                        f.latency_p50_ms - af.latency_p50_ms, f.latency_p99_ms - af.latency_p99_ms);
        }
    }
    if (of.delivered == 0 || pf.delivered == 0 || wf.delivered == 0 || af.delivered == 0) {
        std::fprintf(stderr, "case %s: a client received nothing\n", c.name);
        return false;
    }
    return true;
}

// Several sensors at once on loopback, each with a library client of its own
// in a thread of this process (paced as ORNC-16), first on Aravis's
// receiver, then on the library's own: the frames each sensor sent and its
// client received, and all clients' CPU time per GB together (the clients
// share the process, so only their sum means anything).
constexpr int kParallelSensors = 4;
constexpr int kParallelFirstIndex = 10;  // 127.0.48.11 and on
constexpr Case kParallelCase = {"four sensors", 640, 480, 10.0, 10000};

// The runs of the parallel clients as one: the earliest start and latest
// end mark, every delivery and failure, the frames sent by every sensor.
// Its clock map is the identity, with the widest uncertainty of theirs.
RunResult combine(const std::vector<RunResult>& runs, double seconds) {
    RunResult all;
    all.log = std::make_unique<DeliveryLog>(log_capacity(kParallelCase, seconds) * runs.size());
    all.start = runs.front().start;
    all.end = runs.front().end;
    for (const RunResult& run : runs) {
        if (run.start.host_ns < all.start.host_ns) all.start = run.start;
        if (run.end.host_ns > all.end.host_ns) all.end = run.end;
        all.sent += run.sent;
        // Device timestamps go onto the host clock, each sensor's by its own map.
        for (const Delivery& d : run.log->deliveries()) {
            all.log->add({d.host_ns, d.bytes, d.device_ns < 0 ? -1 : d.device_ns + run.clock.offset_ns});
        }
        all.clock.half_width_ns = std::max(all.clock.half_width_ns, run.clock.half_width_ns);
        for (uint64_t i = 0; i < run.log->failed(); ++i) all.log->add_failure();
    }
    return all;
}

bool run_parallel(double seconds) {
    std::vector<std::unique_ptr<ornsim::VirtualSensor>> sensors;
    std::vector<pid_t> sensor_threads;
    std::string hosts;
    for (int i = kParallelFirstIndex; i < kParallelFirstIndex + kParallelSensors; ++i) {
        const ornsim::SensorConfig config = sensor_config(kParallelCase, sensor_address(i), i);
        sensors.push_back(start_sensor(config, nullptr, &sensor_threads));
        if (!sensors.back()) {
            return false;
        }
        hosts += (hosts.empty() ? "" : ",") + config.address;
    }
    setenv("ORNC_INTERFACES", "lo", 1);
    setenv("ORNC_LOOPBACK_HOSTS", hosts.c_str(), 1);
    std::printf(
        "\n%s: %d sensors at once (%s), each %ux%u Coord3D_ABC32f + Mono8 + Confidence8 at %.0f/s, "
        "%.1f s window\n",
        kParallelCase.name, kParallelSensors, hosts.c_str(), kParallelCase.width, kParallelCase.height,
        kParallelCase.fps, seconds);
    print_header();
    bool ok = true;
    for (const char* receiver : {"aravis", "own"}) {
        std::vector<RunResult> runs(kParallelSensors);
        std::vector<char> run_ok(kParallelSensors, 0);
        setenv("ORNC_STREAM_RECEIVER", receiver, 1);  // no client thread runs yet
        std::vector<std::thread> clients;
        for (int i = 0; i < kParallelSensors; ++i) {
            clients.emplace_back([&, i] {
                run_ok[i] = run_ornc(*sensors[i], sensor_threads, kParallelCase, seconds, true, nullptr, &runs[i]);
            });
        }
        for (std::thread& client : clients) {
            client.join();
        }
        unsetenv("ORNC_STREAM_RECEIVER");
        if (std::count(run_ok.begin(), run_ok.end(), 1) != kParallelSensors) {
            std::fprintf(stderr, "case %s: a client on the %s receiver failed\n", kParallelCase.name, receiver);
            ok = false;
            break;
        }
        const RunResult all = combine(runs, seconds);
        const Figures f = figures_of(all);
        print_row(std::string("4x ").append(receiver).c_str(), all, f);
        for (int i = 0; i < kParallelSensors; ++i) {
            const Figures one = figures_of(runs[i]);
            std::printf("        %s: sent %llu, delivered %llu, lost %lld; receiver: %s\n",
                        sensors[i]->config().address.c_str(), static_cast<unsigned long long>(one.sent),
                        static_cast<unsigned long long>(one.delivered), static_cast<long long>(one.lost),
                        runs[i].receiver.c_str());
        }
        ok = ok && f.delivered > 0;
    }
    for (auto& sensor : sensors) {
        sensor->stop();
    }
    return ok;
}

extern "C" void on_watchdog(int) {
    static const char text[] = "acquisition_bench: the run overran its time limit\n";
    ssize_t written = write(STDERR_FILENO, text, sizeof text - 1);
    (void)written;
    _exit(3);
}

void usage(const char* program) {
    std::printf(
        "usage: %s [--veth] [--seconds S] [--case TEXT]\n"
        "  --veth        the cases over a 1500-MTU veth pair into a sensor namespace (root)\n"
        "  --seconds S   measurement window per client and case, 0.5 to %.0f (default 5)\n"
        "  --case TEXT   only the cases whose name contains TEXT (e.g. large, four)\n",
        program, kMaxSeconds);
}

}  // namespace

int main(int argc, char** argv) {
    double seconds = 5.0;
    bool veth = false;
    std::string only;  // every case
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            usage(argv[0]);
            return 0;
        }
        if (arg == "--veth") {
            veth = true;
            continue;
        }
        if (arg == "--case" && i + 1 < argc) {
            only = argv[++i];
            continue;
        }
        if (arg == "--seconds" && i + 1 < argc) {
            char* end = nullptr;
            seconds = std::strtod(argv[++i], &end);
            if (end == argv[i] || *end != '\0' || !(seconds >= 0.5 && seconds <= kMaxSeconds)) {
                std::fprintf(stderr, "--seconds takes a number from 0.5 to %.0f\n", kMaxSeconds);
                return 2;
            }
            continue;
        }
        usage(argv[0]);
        return 2;
    }

    // Connects, stops and teardowns are bounded by the transports' own
    // timeouts; this is the backstop should one of them not be.
    const Case* cases = veth ? kVethCases : kCases;
    const size_t case_count = veth ? std::size(kVethCases) : std::size(kCases);
    std::unique_ptr<bench::SensorLink> link;
    if (veth) {
        if (geteuid() != 0 || !bench::enter_own_network()) {
            std::fprintf(stderr, "acquisition_bench: --veth needs root (network namespaces and a veth pair)\n");
            return 2;
        }
        link = std::make_unique<bench::SensorLink>(std::string(kVethInterfaceAddress) + "/16");
        if (!link->ok()) {
            std::fprintf(stderr, "acquisition_bench: cannot build the veth link\n");
            return 1;
        }
    }
    std::signal(SIGALRM, on_watchdog);
    alarm(static_cast<unsigned>((case_count + 2) * (4 * seconds + 90)));

    std::printf(
        "acquisition through libORNC's C API (ORNC: base pacing, ORNC-16: ORNCSetDeliveryPacing(h, %d, %d), "
        "ORNC-own: the same pacing on the library's own stream receiver) and through plain Aravis, one after "
        "the other, %zu cases%s\n",
        kFastPeriodMs, kFastBuffersPerPass, case_count, veth ? " over a 1500-MTU veth pair" : "");
    bool ok = true;
    const auto chosen = [&only](const char* name) { return std::string(name).find(only) != std::string::npos; };
    for (size_t i = 0; i < case_count && ok; ++i) {
        if (chosen(cases[i].name)) {
            ok = run_case(static_cast<int>(i), cases[i], seconds, link.get());
        }
    }
    if (ok && !veth && chosen(kParallelCase.name)) {
        ok = run_parallel(seconds);
    }
    alarm(0);
    std::fflush(stdout);
    return ok ? 0 : 1;
}
