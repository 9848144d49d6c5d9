// grab and events: acquiring frames to files, and watching what a device
// reports while it runs.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "ORNCExt.h"
#include "command_line.h"
#include "commands.h"
#include "device_session.h"
#include "frame_files.h"
#include "grab_settings.h"
#include "parameter_text.h"
#include "point_clouds.h"

namespace ornctool {

namespace {

const char kGrabUsage[] =
    "Usage: ornc-tool grab DEVICE [-n N] [--out DIR] [--components LIST] [--timeout S]\n"
    "                             [--pacing PERIOD,BUFFERS] [--format ply|pcd|xyz]\n"
    "                             [--organized] [--keep-settings] [--reconnect]\n"
    "Acquires N frames (default 5) and writes each frame's parts into DIR\n"
    "(default ./out), each file under a temporary name until it is whole:\n"
    "  frame_NNNN_range.ply        the point cloud in millimetres (Coord3D_ABC32f, or\n"
    "                              Coord3D_C16 through the Scan3d scale, offset and\n"
    "                              invalid value); invalid points left out\n"
    "                              --format ply: binary PLY, intensity as grey\n"
    "                              colour, confidence as a property\n"
    "                              --format pcd: binary PCD as PCL writes it, with\n"
    "                              intensity and confidence fields\n"
    "                              --format xyz: one \"x y z\" text line per point\n"
    "  frame_NNNN_intensity.png    the intensity image\n"
    "  frame_NNNN_confidence.png   the confidence map\n"
    "  frame_NNNN.png              a device sending single images: Mono8 and Mono16\n"
    "                              as grey, RGB8 as colour, Bayer forms as the raw\n"
    "                              grey mosaic; another format ends the grab (exit 1)\n"
    "  summary.json                device, frames, rate (after the first frame),\n"
    "                              files (relative to it); per frame its block\n"
    "                              id, device timestamp (ticks and on the host's\n"
    "                              clock), blocks missing before it and packets\n"
    "                              recovered by resend\n"
    "A progress bar with the live rate is shown on a terminal.\n"
    "\n"
    "  -n N               number of frames\n"
    "  --out DIR          output directory (created when missing)\n"
    "  --components LIST  comma-separated components to enable, the others are\n"
    "                     disabled (e.g. Range,Intensity); default: as the device\n"
    "                     is set\n"
    "  --timeout S        give up when no frame arrives for S seconds (default 10)\n"
    "  --pacing P,B       deliver up to B buffers (1..64) every P ms (1..1000);\n"
    "                     default 10,1: faster frame rates need e.g. 1,16\n"
    "  --format F         point cloud file form: ply (default), pcd or xyz\n"
    "  --organized        keep the sensor's grid: every pixel a point, NaN for\n"
    "                     invalid ones\n"
    "  --keep-settings    leave the components, trigger and acquisition modes as\n"
    "                     grab set them (and say which); by default they are put\n"
    "                     back as they were\n"
    "  --reconnect        keep grabbing across link losses (the library reconnects\n"
    "                     and restores the settings); summary.json lists each\n"
    "                     outage: start and end in seconds of the grab, and the\n"
    "                     frames lost (the gap times the rate before it, less one)\n"
    "Exit codes: 0 all frames written, 1 a failure (library, files, no frame in\n"
    "time), 2 bad arguments, 3 no such device, 130 interrupted (Ctrl-C).\n";

const char kEventsUsage[] =
    "Usage: ornc-tool events DEVICE [--event NAME]... [--acquire] [--seconds S] [--count N]\n"
    "Prints the device's events and the parameter changes made through the\n"
    "library as they arrive, until S seconds have passed (default 10), N events\n"
    "have arrived, or Ctrl-C.\n"
    "\n"
    "  --event NAME   switch notification on for this event (EventSelector entry,\n"
    "                 e.g. FrameEnd) for the run\n"
    "  --acquire      run a continuous acquisition meanwhile (frames are dropped),\n"
    "                 so that frame events flow\n"
    "  --seconds S    stop after S seconds (default 10)\n"
    "  --count N      stop after N events (default: no limit)\n"
    "\n"
    "Each event line names the event (its EventSelector entry), its timestamp and\n"
    "its data features; parameter lines name the parameter and its new value.\n"
    "Exit codes: 0 done, 1 a failure, 2 bad arguments, 3 no such device,\n"
    "130 interrupted (Ctrl-C).\n";

std::atomic<bool> interrupted{false};

void on_signal(int) { interrupted = true; }

// Ctrl-C ends the run cleanly: acquisition stopped, device released.
struct InterruptScope {
    struct sigaction old_int {};
    struct sigaction old_term {};
    InterruptScope() {
        interrupted = false;
        struct sigaction action {};
        action.sa_handler = on_signal;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &old_int);
        sigaction(SIGTERM, &action, &old_term);
    }
    ~InterruptScope() {
        sigaction(SIGINT, &old_int, nullptr);
        sigaction(SIGTERM, &old_term, nullptr);
    }
};

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// Link losses and recoveries while grabbing with --reconnect. An outage's
// frames lost are settled by the first frame after it.
struct LinkWatch {
    struct Outage {
        double start_s = 0, end_s = -1;
        long frames_lost = -1;
    };
    std::mutex mutex;
    Clock::time_point start = Clock::now();
    Clock::time_point last_change = start;
    bool down = false;
    std::vector<Outage> outages;

    static void on_link(int up, void* self) {
        LinkWatch* watch = static_cast<LinkWatch*>(self);
        std::lock_guard<std::mutex> lock(watch->mutex);
        watch->down = up == 0;
        watch->last_change = Clock::now();
        if (up == 0) watch->outages.push_back(Outage{seconds_since(watch->start), -1, -1});
        if (up != 0 && !watch->outages.empty()) watch->outages.back().end_s = seconds_since(watch->start);
        std::fprintf(stderr, "\nornc-tool grab: link %s at %.2f s\n", up != 0 ? "back" : "lost",
                     seconds_since(watch->start));
    }
    // The time a missing frame counts from: now while the link is down,
    // else the last change of the link or `last_frame`, the later one.
    Clock::time_point idle_since(Clock::time_point last_frame) {
        std::lock_guard<std::mutex> lock(mutex);
        return down ? Clock::now() : std::max(last_frame, last_change);
    }
    // A frame arrived now, the previous one at `previous`, `count` frames
    // before it.
    void frame(Clock::time_point previous, size_t count) {
        std::lock_guard<std::mutex> lock(mutex);
        const double now_s = seconds_since(start);
        const double previous_s = std::chrono::duration<double>(previous - start).count();
        const double rate = previous_s > 0 ? static_cast<double>(count) / previous_s : 0.0;
        for (Outage& outage : outages) {
            if (outage.end_s >= 0 && outage.frames_lost < 0) {
                outage.frames_lost = std::max(0L, std::lround((now_s - previous_s) * rate) - 1);
            }
        }
    }
};

// One delivered frame: its parts (a single image: one part marked single)
// and what the library told about it.
struct QueuedFrame {
    std::vector<FramePart> parts;
    ornc_frame_info_t info{};
};

// Frames handed over from the acquisition thread to the tool's thread.
struct FrameQueue {
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<QueuedFrame> frames;
    size_t limit = 4;  // frames beyond this are dropped rather than piling up
    long failed = 0;
    long dropped = 0;
    // The device's PixelFormat, for a single image whose format the library
    // has no size for (Bayer forms).
    orn_pixel_t device_format = ORN_PIX_GENERIC;
    ornc_t* ornc = nullptr;  // the handle whose callbacks fill the queue

    void push_image(const orn_image_t* image) {
        std::vector<FramePart> parts;
        if (image != nullptr) {
            parts.push_back(copy(*image));
            parts.back().single = true;
        }
        push(image == nullptr, std::move(parts));
    }
    void push_vector(const orn_image_vec_t* vec) {
        std::vector<FramePart> parts;
        if (vec != nullptr) {
            for (int i = 0; i < vec->used && vec->image != nullptr; ++i) {
                parts.push_back(copy(vec->image[i]));
                if (parts.back().data.empty()) copy_raw_part(ornc, static_cast<uint32_t>(i), &parts.back());
            }
        }
        push(vec == nullptr, std::move(parts));
    }

private:
    FramePart copy(const orn_image_t& image) const {
        FramePart part;
        part.type = image.type;
        part.width = image.width;
        part.height = image.height;
        int pixel_size = ORNPixelTypeGetSize(image.type);
        if (pixel_size == 0 && image.type == ORN_PIX_GENERIC && png_pixel_bytes(device_format) > 0) {
            part.type = device_format;
            pixel_size = png_pixel_bytes(device_format);
        }
        if (image.data != nullptr && image.width > 0 && image.height > 0 && pixel_size > 0) {
            const size_t bytes =
                static_cast<size_t>(image.width) * static_cast<size_t>(image.height) * static_cast<size_t>(pixel_size);
            const uint8_t* data = static_cast<const uint8_t*>(image.data);
            part.data.assign(data, data + bytes);
        }
        return part;
    }
    void push(bool failure, std::vector<FramePart> parts) {
        QueuedFrame frame;
        frame.parts = std::move(parts);
        if (!failure) ORNCGetFrameInfo(ornc, &frame.info);  // inside the callback: the frame being delivered
        std::lock_guard<std::mutex> lock(mutex);
        if (failure) {
            ++failed;
        } else if (frames.size() >= limit) {
            ++dropped;
        } else {
            frames.push_back(std::move(frame));
        }
        ready.notify_one();
    }
};

void on_image(orn_image_t* image, void* userdata) { static_cast<FrameQueue*>(userdata)->push_image(image); }
void on_image_vector(orn_image_vec_t* vec, void* userdata) { static_cast<FrameQueue*>(userdata)->push_vector(vec); }

void draw_progress(long done, long total, double elapsed, double bytes) {
    if (!isatty(STDERR_FILENO)) return;
    const int width = 30;
    const int filled = total > 0 ? static_cast<int>(width * done / total) : 0;
    const double fps = elapsed > 0 ? static_cast<double>(done) / elapsed : 0.0;
    const double mbps = elapsed > 0 ? bytes / elapsed / 1e6 : 0.0;
    std::fprintf(stderr, "\r[%s%s] %ld/%ld frames  %.1f frames/s  %.1f MB/s ", std::string(filled, '#').c_str(),
                 std::string(width - filled, '-').c_str(), done, total, fps, mbps);
    std::fflush(stderr);
}

std::string json_escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
            out += code;
        } else {
            out += c;
        }
    }
    return out;
}

struct WrittenFrame {
    long index;
    ornc_frame_info_t info;
    std::vector<std::string> files;  // names inside the output directory
    std::vector<std::string> parts;  // "Coord3D_ABC32f 160x120"
    long points = -1;
};

}  // namespace

// Numbers beyond int stay beyond the bounds the library checks.
int as_int(long long value) { return static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX)); }

const char kPacingUsage[] = "--pacing takes PERIOD,BUFFERS: 1 to 1000 ms, 1 to 64 buffers";

int run_grab(int argc, char** argv) {
    CommandLine cli("grab", kGrabUsage);
    cli.option("-n", true).option("--out", true).option("--components", true).option("--timeout", true);
    cli.option("--pacing", true).option("--format", true).option("--organized", false).option("--keep-settings", false);
    cli.option("--reconnect", false);
    cli.positionals(1, 1);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    long long frames_wanted = 5;
    if (cli.has("-n") && (!parse_int(cli.value("-n"), &frames_wanted) || frames_wanted < 1 || frames_wanted > 100000)) {
        return cli.fail(kExitUsage, "-n takes a number of frames from 1 to 100000");
    }
    double timeout_s = 10.0;
    if (cli.has("--timeout") && (!parse_double(cli.value("--timeout"), &timeout_s) || timeout_s <= 0)) {
        return cli.fail(kExitUsage, "--timeout takes a positive number of seconds");
    }
    long long pacing[2] = {0, 0};
    if (cli.has("--pacing")) {
        const std::string text = cli.value("--pacing");
        const size_t comma = text.find(',');
        if (comma == std::string::npos || !parse_int(text.substr(0, comma), &pacing[0]) ||
            !parse_int(text.substr(comma + 1), &pacing[1]) || pacing[0] == 0) {
            return cli.fail(kExitUsage, kPacingUsage);
        }
    }
    CloudFormat cloud_format = CloudFormat::ply;
    if (!parse_cloud_format(cli.value("--format", "ply"), &cloud_format)) {
        return cli.fail(kExitUsage, "--format takes ply, pcd or xyz, not '" + cli.value("--format") + "'");
    }
    const bool organized = cli.has("--organized");
    const std::string out_dir = cli.value("--out", "out");

    // Declared before the connection: the library's threads may still call
    // into the queue until the connection is closed.
    FrameQueue queue;
    DeviceSession session;
    int exit_code = kExitOk;
    if (!session.open(cli, cli.positional()[0], &exit_code)) return exit_code;
    const ornc_device_t* device = session.discovery.find(cli.positional()[0]);
    const std::string serial = text_of(ORNCDeviceGetSerialNumber, device);
    const std::string model = text_of(ORNCDeviceGetModelName, device);
    ornc_t* ornc = session.connection.handle();
    if (pacing[0] != 0) {
        const ornc_status_t paced = ORNCSetDeliveryPacing(ornc, as_int(pacing[0]), as_int(pacing[1]));
        // The library holds the bounds; a value outside them is a bad argument.
        if (paced == ORNC_ERR_OUT_OF_RANGE) return cli.fail(kExitUsage, kPacingUsage);
        if (paced != ORNC_OK) return cli.fail_status("cannot set the delivery pacing", paced);
    }
    std::vector<const ornc_component_t*> components;
    if (cli.has("--components")) {
        exit_code = find_components(cli, ornc, cli.value("--components"), &components);
        if (exit_code != kExitOk) return exit_code;
    }
    if (mkdir(out_dir.c_str(), 0777) != 0 && errno != EEXIST) {
        return cli.fail(kExitFailed, "cannot create " + out_dir + ": " + std::strerror(errno));
    }
    const DeviceSettings settings(ornc);
    const SettingsRestorer restorer(cli, settings, cli.has("--keep-settings"));
    if (!components.empty()) {
        exit_code = select_components(cli, ornc, components);
        if (exit_code != kExitOk) return exit_code;
    }
    const RangeCalibration calibration = read_range_calibration(ornc);

    int format = 0;
    if (ORNCParamGetEnumValue(ORNCParamsGetParamByName(ORNCGetDeviceParams(ornc), "PixelFormat"), &format) == ORNC_OK) {
        queue.device_format = static_cast<orn_pixel_t>(format);
    }

    InterruptScope interrupt_scope;
    queue.ornc = ornc;
    ORNCSetImageCallback(ornc, on_image, &queue);
    ORNCSetImageVecCallback(ornc, on_image_vector, &queue);
    ornc_status_t status = ORNCStart(ornc);
    if (status != ORNC_OK) return cli.fail_status("cannot start the acquisition thread", status);
    // Continuous by entry name, then started as the device is set with the
    // trigger off: the library's mode argument writes the entry's position in
    // the list, which not every device numbers so.
    ORNCParamSetEnumValueByName(ORNCParamsGetParamByName(ORNCGetDeviceParams(ornc), "AcquisitionMode"), "Continuous");
    status = ORNCAcquisitionStartMode(ornc, -1, 0);
    if (status != ORNC_OK) {
        ORNCStop(ornc);
        return cli.fail_status("cannot start the acquisition", status);
    }
    LinkWatch watch;
    if (cli.has("--reconnect")) {
        status = ORNCSetAutoReconnect(ornc, 1, &LinkWatch::on_link, &watch);
        if (status != ORNC_OK) return cli.fail_status("cannot enable the recovery after link loss", status);
    }

    const Clock::time_point start = Clock::now();
    Clock::time_point last_frame = start;
    Clock::time_point first_frame = start;
    std::vector<WrittenFrame> written;
    double bytes = 0;
    std::string write_error;
    std::set<std::string> unwritten_warned;
    while (static_cast<long long>(written.size()) < frames_wanted && !interrupted && write_error.empty()) {
        QueuedFrame queued;
        {
            std::unique_lock<std::mutex> lock(queue.mutex);
            queue.ready.wait_for(lock, std::chrono::milliseconds(100), [&queue] { return !queue.frames.empty(); });
            if (!queue.frames.empty()) {
                queued = std::move(queue.frames.front());
                queue.frames.pop_front();
            }
        }
        const std::vector<FramePart>& parts = queued.parts;
        if (parts.empty()) {
            if (std::chrono::duration<double>(Clock::now() - watch.idle_since(last_frame)).count() > timeout_s) break;
            draw_progress(static_cast<long>(written.size()), static_cast<long>(frames_wanted), seconds_since(start),
                          bytes);
            continue;
        }
        watch.frame(last_frame, written.size());
        last_frame = Clock::now();
        if (written.empty()) first_frame = last_frame;
        WrittenFrame frame;
        frame.index = static_cast<long>(written.size());
        frame.info = queued.info;
        char stem[64];
        std::snprintf(stem, sizeof stem, "frame_%04ld", frame.index);
        const FramePart* range = nullptr;
        const FramePart* intensity = nullptr;
        const FramePart* confidence = nullptr;
        for (const FramePart& part : parts) {
            bytes += static_cast<double>(part.data.size());
            frame.parts.push_back(std::string(pixel_format_name(part.type)) + " " + std::to_string(part.width) + "x" +
                                  std::to_string(part.height));
            const std::string role = part_role(part.type);
            if (part.data.empty() && !part.single && unwritten_warned.insert(frame.parts.back()).second) {
                std::fprintf(stderr, "ornc-tool grab: a part in %s is not written: no file form for its format\n",
                             frame.parts.back().c_str());
            }
            if (part.data.empty() || part.single) continue;  // a format the library could not size
            if (role == "range" && range == nullptr) range = &part;
            if (role == "intensity" && intensity == nullptr) intensity = &part;
            if (role == "confidence" && confidence == nullptr) confidence = &part;
        }
        if (range != nullptr) {
            const std::string name = std::string(stem) + "_range." + cloud_extension(cloud_format);
            PointCloud cloud;
            if (make_point_cloud(*range, calibration, intensity, confidence, organized, &cloud, &write_error) &&
                write_point_cloud(out_dir + "/" + name, cloud_format, cloud,
                                  "ornc-tool grab: " + model + " " + serial + ", frame " + std::to_string(frame.index),
                                  &write_error)) {
                frame.points = cloud.valid;
                frame.files.push_back(name);
            }
        }
        for (const FramePart* image : {intensity, confidence}) {
            if (image == nullptr || !write_error.empty()) continue;
            const std::string name = std::string(stem) + "_" + part_role(image->type) + ".png";
            if (write_png(out_dir + "/" + name, *image, &write_error)) frame.files.push_back(name);
        }
        if (parts.size() == 1 && parts[0].single) {
            const std::string name = std::string(stem) + ".png";
            if (write_png(out_dir + "/" + name, parts[0], &write_error)) frame.files.push_back(name);
        }
        written.push_back(frame);
        draw_progress(static_cast<long>(written.size()), static_cast<long>(frames_wanted), seconds_since(start), bytes);
    }
    const double elapsed = seconds_since(start);
    ORNCSetAutoReconnect(ornc, 0, nullptr, nullptr);
    ORNCAcquisitionStop(ornc);
    ORNCStop(ornc);
    ORNCSetImageCallback(ornc, nullptr, nullptr);
    ORNCSetImageVecCallback(ornc, nullptr, nullptr);
    if (isatty(STDERR_FILENO)) std::fputc('\n', stderr);

    long failed = 0;
    long dropped = 0;
    {
        std::lock_guard<std::mutex> lock(queue.mutex);
        failed = queue.failed;
        dropped = queue.dropped;
    }
    // The rate from the first frame on: the wait for it is not a frame's time.
    const double span = std::chrono::duration<double>(last_frame - first_frame).count();
    const double fps = written.size() > 1 && span > 0 ? static_cast<double>(written.size() - 1) / span : 0.0;
    // Blocks the library never delivered, after the first written frame (those
    // the tool itself dropped are frames_dropped).
    unsigned long long blocks_missing = 0;
    for (size_t i = 1; i < written.size(); ++i) blocks_missing += written[i].info.blocks_missing;
    const std::string summary_path = out_dir + "/summary.json";
    char rate[32] = "null";  // no rate from a single frame
    if (fps > 0) std::snprintf(rate, sizeof rate, "%.2f", fps);
    FILE* summary = std::fopen(temporary_name(summary_path).c_str(), "w");
    if (summary != nullptr) {
        std::fprintf(summary,
                     "{\n  \"device\": {\"model\": \"%s\", \"serial\": \"%s\"},\n  \"frames_requested\": %lld,\n"
                     "  \"frames_written\": %zu,\n  \"failed_transfers\": %ld,\n  \"frames_dropped\": %ld,\n"
                     "  \"blocks_missing\": %llu,\n  \"seconds\": %.3f,\n  \"frames_per_second\": %s,\n"
                     "  \"frames\": [",
                     json_escape(model).c_str(), json_escape(serial).c_str(), frames_wanted, written.size(), failed,
                     dropped, blocks_missing, elapsed, rate);
        for (size_t i = 0; i < written.size(); ++i) {
            const WrittenFrame& frame = written[i];
            const ornc_frame_info_t& info = frame.info;
            std::fprintf(summary,
                         "%s\n    {\"index\": %ld, \"block_id\": %llu, \"timestamp\": %llu, "
                         "\"timestamp_frequency\": %llu, \"host_time_ns\": %lld, \"blocks_missing\": %u, "
                         "\"packets_resent\": %u, \"points\": %ld, \"parts\": [",
                         i == 0 ? "" : ",", frame.index, static_cast<unsigned long long>(info.block_id),
                         static_cast<unsigned long long>(info.timestamp),
                         static_cast<unsigned long long>(info.timestamp_frequency),
                         static_cast<long long>(info.host_time_ns), info.blocks_missing, info.packets_resent,
                         frame.points);
            for (size_t p = 0; p < frame.parts.size(); ++p) {
                std::fprintf(summary, "%s\"%s\"", p == 0 ? "" : ", ", json_escape(frame.parts[p]).c_str());
            }
            std::fprintf(summary, "], \"files\": [");
            for (size_t f = 0; f < frame.files.size(); ++f) {
                std::fprintf(summary, "%s\"%s\"", f == 0 ? "" : ", ", json_escape(frame.files[f]).c_str());
            }
            std::fprintf(summary, "]}");
        }
        std::fprintf(summary, "\n  ]");
        if (cli.has("--reconnect")) {
            std::lock_guard<std::mutex> lock(watch.mutex);
            std::fprintf(summary, ",\n  \"outages\": [");
            for (size_t i = 0; i < watch.outages.size(); ++i) {
                const LinkWatch::Outage& outage = watch.outages[i];
                std::fprintf(summary, "%s\n    {\"start_s\": %.3f, \"end_s\": %.3f, \"frames_lost\": %ld}",
                             i == 0 ? "" : ",", outage.start_s, outage.end_s, outage.frames_lost);
            }
            std::fprintf(summary, "\n  ]");
        }
        std::fprintf(summary, "\n}\n");
        std::string error;
        if (!finish_file(temporary_name(summary_path), summary_path, std::fclose(summary) == 0, &error)) {
            summary = nullptr;
        }
    }

    for (const WrittenFrame& frame : written) {
        for (const std::string& file : frame.files) std::printf("%s/%s\n", out_dir.c_str(), file.c_str());
    }
    if (summary != nullptr) std::printf("%s\n", summary_path.c_str());
    const std::string rate_text = fps > 0 ? std::string(" (") + rate + " frames/s after the first)" : "";
    std::printf("%zu frame%s in %.2f s%s, %ld failed transfer%s.\n", written.size(), written.size() == 1 ? "" : "s",
                elapsed, rate_text.c_str(), failed, failed == 1 ? "" : "s");
    if (summary == nullptr) return cli.fail(kExitFailed, "cannot write " + summary_path);
    if (!write_error.empty()) return cli.fail(kExitFailed, write_error);
    if (interrupted) return cli.fail(kExitInterrupted, "interrupted");
    if (static_cast<long long>(written.size()) < frames_wanted) {
        return cli.fail(kExitFailed,
                        "no frame for " + std::to_string(timeout_s) + " s: " + status_text(ORNC_ERR_ACQUI_NOT_STARTED));
    }
    return kExitOk;
}

namespace {

// Lines to print, handed from transport threads to the tool's thread.
struct EventLog {
    std::mutex mutex;
    std::deque<std::string> lines;
    std::deque<ornc_param_t*> changed;
    long events = 0;
    std::vector<std::string> event_names;  // EventSelector's entries
};

// The event whose data features the list holds ("Event<name>..."), or "?".
std::string event_name(const EventLog& log, ornc_param_list_t* list) {
    std::string best = "?";
    for (int i = 0; i < ORNCGetParameterListCount(list); ++i) {
        const std::string feature = param_name(ORNCGetParameterListIndex(list, i));
        for (const std::string& name : log.event_names) {
            if (feature.rfind("Event" + name, 0) == 0 && (best == "?" || name.size() > best.size())) best = name;
        }
    }
    return best;
}

std::vector<std::string> event_selector_entries(ornc_t* ornc) {
    std::vector<std::string> names;
    ornc_param_t* selector = ORNCParamsGetParamByName(ORNCGetDeviceParams(ornc), "EventSelector");
    int count = 0;
    if (selector == nullptr || ORNCParamGetEnumEntryCount(selector, &count) != ORNC_OK) return names;
    for (int i = 0; i < count; ++i) {
        char name[128] = "";
        if (ORNCParamGetEnumEntryName(selector, i, name, static_cast<int>(sizeof name)) == ORNC_OK)
            names.push_back(name);
    }
    return names;
}

void on_event(orn_uint64_t timestamp, ornc_param_list_t* list, void* userdata) {
    EventLog* log = static_cast<EventLog*>(userdata);
    std::string line = "event  " + event_name(*log, list) + "  timestamp " + std::to_string(timestamp);
    const int count = ORNCGetParameterListCount(list);
    for (int i = 0; i < count; ++i) {
        ornc_param_t* param = ORNCGetParameterListIndex(list, i);
        std::string value;
        if (param_value_text(param, false, &value) != ORNC_OK) value = "?";
        line += "  " + param_name(param) + "=" + value;
    }
    std::lock_guard<std::mutex> lock(log->mutex);
    log->lines.push_back(line);
    ++log->events;
}

void on_parameter(ornc_param_t* param, void* userdata) {
    EventLog* log = static_cast<EventLog*>(userdata);
    std::lock_guard<std::mutex> lock(log->mutex);
    log->changed.push_back(param);
}

void on_discard(orn_image_vec_t*, void*) {}
void on_discard_image(orn_image_t*, void*) {}

ornc_status_t set_event_notification(ornc_t* ornc, const std::string& event, const char* state) {
    ornc_parameters_t* params = ORNCGetDeviceParams(ornc);
    ornc_param_t* selector = ORNCParamsGetParamByName(params, "EventSelector");
    ornc_param_t* notification = ORNCParamsGetParamByName(params, "EventNotification");
    if (selector == nullptr || notification == nullptr) return ORNC_ERR_PARAM_UNDEFINED;
    ornc_status_t status = ORNCParamSetEnumValueByName(selector, event.c_str());
    if (status == ORNC_OK) status = ORNCParamSetEnumValueByName(notification, state);
    return status;
}

}  // namespace

int run_events(int argc, char** argv) {
    CommandLine cli("events", kEventsUsage);
    cli.option("--event", true, "", true).option("--acquire", false).option("--seconds", true).option("--count", true);
    cli.positionals(1, 1);
    if (!cli.parse(argc, argv)) return cli.exit_code();
    double seconds = 10.0;
    if (cli.has("--seconds") && (!parse_double(cli.value("--seconds"), &seconds) || seconds <= 0)) {
        return cli.fail(kExitUsage, "--seconds takes a positive number");
    }
    long long wanted = 0;
    if (cli.has("--count") && (!parse_int(cli.value("--count"), &wanted) || wanted < 1)) {
        return cli.fail(kExitUsage, "--count takes a positive number");
    }

    // Parameter callbacks are never removed: the log outlives the connection.
    EventLog log;
    DeviceSession session;
    int exit_code = kExitOk;
    if (!session.open(cli, cli.positional()[0], &exit_code)) return exit_code;
    ornc_t* ornc = session.connection.handle();
    ornc_parameters_t* params = ORNCGetDeviceParams(ornc);
    log.event_names = event_selector_entries(ornc);
    for (int i = 0;; ++i) {
        ornc_param_t* param = ORNCParamsGetParam(params, i);
        if (param == nullptr || i >= ORNCGetDeviceParamsCount(ornc)) break;
        ORNCParamSetCallback(param, on_parameter, &log);
    }
    ORNCSetEventCallback(ornc, on_event, &log);
    ornc_status_t status = ORNCStart(ornc);
    if (status != ORNC_OK) return cli.fail_status("cannot start", status);
    InterruptScope interrupt_scope;
    const std::vector<std::string> events = cli.values("--event");
    for (const std::string& event : events) {
        status = set_event_notification(ornc, event, "On");
        if (status == ORNC_ERR_PARAM_UNDEFINED) {
            std::fprintf(stderr, "ornc-tool events: the device has no events (EventSelector); not watching %s\n",
                         event.c_str());
        } else if (status != ORNC_OK) {
            ORNCStop(ornc);
            return cli.fail_status("cannot switch on event " + event, status);
        }
    }
    if (cli.has("--acquire")) {
        ORNCSetImageCallback(ornc, on_discard_image, nullptr);
        ORNCSetImageVecCallback(ornc, on_discard, nullptr);
        status = ORNCAcquisitionStartMode(ornc, 0, 0);
        if (status != ORNC_OK) {
            ORNCStop(ornc);
            return cli.fail_status("cannot start the acquisition", status);
        }
    }
    std::printf("Watching %s for %.1f s (Ctrl-C ends)...\n", cli.positional()[0].c_str(), seconds);
    std::fflush(stdout);

    const Clock::time_point start = Clock::now();
    long events_seen = 0;
    while (!interrupted && seconds_since(start) < seconds && (wanted == 0 || events_seen < wanted)) {
        std::deque<std::string> lines;
        std::deque<ornc_param_t*> changed;
        {
            std::lock_guard<std::mutex> lock(log.mutex);
            lines.swap(log.lines);
            changed.swap(log.changed);
            events_seen = log.events;
        }
        for (const std::string& line : lines) std::printf("%8.3f  %s\n", seconds_since(start), line.c_str());
        for (ornc_param_t* param : changed) {
            std::string value;
            if (!ORNCParamIsReadable(param) || param_value_text(param, false, &value) != ORNC_OK)
                value = "(not readable)";
            std::printf("%8.3f  parameter  %s = %s\n", seconds_since(start), param_name(param).c_str(), value.c_str());
        }
        std::fflush(stdout);
        if (lines.empty() && changed.empty()) usleep(20000);
    }
    if (cli.has("--acquire")) ORNCAcquisitionStop(ornc);
    ORNCStop(ornc);
    for (const std::string& event : events) set_event_notification(ornc, event, "Off");
    ORNCSetEventCallback(ornc, nullptr, nullptr);
    std::printf("%ld event%s in %.1f s.\n", events_seen, events_seen == 1 ? "" : "s", seconds_since(start));
    return interrupted ? cli.fail(kExitInterrupted, "interrupted") : kExitOk;
}

}  // namespace ornctool
