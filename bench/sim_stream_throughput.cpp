// Sustained throughput of the virtual sensor's GVSP sender on loopback.
//
// Streams full-size multipart frames (640x480 Coord3D_ABC32f + Mono8 +
// Confidence8, 4.3 MB each) back to back to a receiver thread on 127.0.0.1
// and prints the payload rate the sender sustains and the share of it the
// receiver saw. A benchmark, not a test: the figure depends on the machine.
//
//   sim_stream_throughput [--packet-size 8192] [--seconds 3] [--link-gbps G] [--single]
//
// --link-gbps paces the sender like a link of that rate (default: unpaced).
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "gvsp_sender.h"
#include "ornsim/components.h"
#include "scene.h"

namespace {

using namespace ornsim;
using Clock = std::chrono::steady_clock;

struct Options {
    uint32_t packet_size = 8192;
    double seconds = 3.0;
    bool single = false;
    uint64_t link_speed_bps = 0;  // unlimited: measure the sender itself
};

bool parse(int argc, char** argv, Options* o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--packet-size" && i + 1 < argc) {
            o->packet_size = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 10));
        } else if (a == "--seconds" && i + 1 < argc) {
            o->seconds = std::strtod(argv[++i], nullptr);
        } else if (a == "--link-gbps" && i + 1 < argc) {
            o->link_speed_bps = static_cast<uint64_t>(std::strtod(argv[++i], nullptr) * 1e9);
        } else if (a == "--single") {
            o->single = true;
        } else {
            std::fprintf(stderr, "usage: %s [--packet-size N] [--seconds S] [--link-gbps G] [--single]\n", argv[0]);
            return false;
        }
    }
    if (o->seconds <= 0 || o->seconds > 60) o->seconds = 3.0;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options opt;
    if (!parse(argc, argv, &opt)) return 2;

    // Receiver: counts UDP payload bytes until told to stop.
    const int rx = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (rx < 0) {
        std::perror("socket");
        return 1;
    }
    const int rcvbuf = 64 * 1024 * 1024;
    if (setsockopt(rx, SOL_SOCKET, SO_RCVBUFFORCE, &rcvbuf, sizeof rcvbuf) != 0)
        (void)setsockopt(rx, SOL_SOCKET, SO_RCVBUF, &rcvbuf, sizeof rcvbuf);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(rx, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        std::perror("bind");
        close(rx);
        return 1;
    }
    socklen_t len = sizeof addr;
    getsockname(rx, reinterpret_cast<sockaddr*>(&addr), &len);

    std::atomic<bool> stop{false};
    std::atomic<uint64_t> rx_bytes{0}, rx_packets{0};
    std::thread receiver([&] {
        std::vector<uint8_t> buf(65536);
        while (!stop.load(std::memory_order_relaxed)) {
            pollfd p{rx, POLLIN, 0};
            if (poll(&p, 1, 100) <= 0) continue;
            for (;;) {
                const ssize_t n = recv(rx, buf.data(), buf.size(), MSG_DONTWAIT);
                if (n <= 0) break;
                rx_bytes.fetch_add(static_cast<uint64_t>(n), std::memory_order_relaxed);
                rx_packets.fetch_add(1, std::memory_order_relaxed);
            }
        }
    });

    GvspSender sender(INADDR_LOOPBACK);
    std::string error;
    if (!sender.open(&error)) {
        std::fprintf(stderr, "open: %s\n", error.c_str());
        stop = true;
        receiver.join();
        close(rx);
        return 1;
    }
    StreamSettings s;
    s.dest_ip = INADDR_LOOPBACK;
    s.dest_port = ntohs(addr.sin_port);
    s.packet_size = opt.packet_size;
    s.link_speed_bps = opt.link_speed_bps;
    sender.configure(s);

    // One rendered frame, re-sent with new block ids: the benchmark measures
    // the sender, not the scene.
    const SceneConfig sc{640, 480, kSceneDefaultC16ScaleMm, kSceneDefaultC16OffsetMm};
    // A 640x480 part of the scene from the sensor's source and region.
    const auto scene_part = [](uint32_t pixel_format, uint32_t component, uint16_t data_type, size_t size) {
        return GvspPart{pixel_format, 640, 480, kSourceId, kRegionId, component, data_type, std::vector<uint8_t>(size)};
    };
    GvspPart range = scene_part(kPixelFormatCoord3D_ABC32f, kRangeComponentId, 0x0005, scene_abc32f_size(sc));
    render_range_abc32f(sc, 1, reinterpret_cast<float*>(range.data.data()));
    GvspFrame frame{0, 0, !opt.single, {range}, {}};
    if (!opt.single) {
        GvspPart mono = scene_part(kPixelFormatMono8, kIntensityComponentId, 0x0001, scene_mono8_size(sc));
        render_intensity8(sc, 1, mono.data.data());
        GvspPart conf = scene_part(kPixelFormatConfidence8, kConfidenceComponentId, 0x0009, scene_mono8_size(sc));
        render_confidence8(sc, 1, conf.data.data());
        frame.parts.push_back(std::move(mono));
        frame.parts.push_back(std::move(conf));
    }
    uint64_t frame_bytes = 0;
    for (const GvspPart& p : frame.parts) frame_bytes += p.data.size();

    const auto start = Clock::now();
    const auto end = start + std::chrono::duration<double>(opt.seconds);
    uint64_t frames = 0;
    while (Clock::now() < end) {
        frame.block_id = frames + 1;
        if (!sender.send_frame(frame)) {
            std::fprintf(stderr, "send_frame: %s\n", sender.last_error().c_str());
            break;
        }
        ++frames;
    }
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    stop = true;
    receiver.join();
    close(rx);

    const StreamCounters c = sender.counters();
    const double payload_bits = static_cast<double>(frames * frame_bytes) * 8.0;
    const double gbps = payload_bits / elapsed / 1e9;
    const double packets_per_frame = static_cast<double>(c.packets_sent) / static_cast<double>(frames ? frames : 1);
    std::printf("frames            %llu x %.2f MB (%s, packet size %u)\n", static_cast<unsigned long long>(frames),
                static_cast<double>(frame_bytes) / 1e6,
                opt.single ? "single Coord3D_ABC32f" : "multipart ABC32f+Mono8+Conf8", opt.packet_size);
    std::printf("elapsed           %.3f s, %.1f frames/s, %.0f packets/frame\n", elapsed,
                static_cast<double>(frames) / elapsed, packets_per_frame);
    std::printf("sender payload    %.2f Gbit/s\n", gbps);
    std::printf(
        "receiver got      %.1f%% of the packets (%llu of %llu)\n",
        c.packets_sent ? 100.0 * static_cast<double>(rx_packets.load()) / static_cast<double>(c.packets_sent) : 0.0,
        static_cast<unsigned long long>(rx_packets.load()), static_cast<unsigned long long>(c.packets_sent));
    std::printf("send errors       %llu\n", static_cast<unsigned long long>(c.send_errors));
    return gbps > 0 ? 0 : 1;
}
