#include "gvsp_sender.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "gvsp_block.h"
#include "resend_store.h"
#include "wire/gvcp_layout.h"
#include "wire/udp_socket.h"

namespace ornsim {

namespace {

// Packets handed to the kernel per sendmmsg call.
constexpr size_t kBatchSize = 64;
// A paced stream never waits longer than this between two packets, whatever
// the delay register says: a frame must end in bounded time.
constexpr uint64_t kMaxPacketDelayNs = 10'000'000;
// Socket send buffer asked for: several frames of packets in flight.
constexpr int kSendBufferBytes = 8 * 1024 * 1024;
// How long a send waits for room in the socket buffer before giving a packet up.
constexpr int kBusyRetries = 200;
constexpr long kBusyRetryNs = 50'000;
// Largest burst handed to the kernel at once when the link rate is emulated.
constexpr size_t kPacedBurstBytes = 32 * 1024;
// Fixed seed: the same settings drop the same packets on every run.
constexpr uint64_t kLossSeed = 0x6a09e667f3bcc909ull;

uint64_t monotonic_ns() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1'000'000'000ull + static_cast<uint64_t>(ts.tv_nsec);
}

void sleep_until_ns(uint64_t deadline) {
    timespec ts{};
    ts.tv_sec = static_cast<time_t>(deadline / 1'000'000'000ull);
    ts.tv_nsec = static_cast<long>(deadline % 1'000'000'000ull);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr) == EINTR) {
    }
}

void nap_ns(long ns) {
    timespec ts{0, ns};
    nanosleep(&ts, nullptr);
}

// Packets of one sendmmsg call, with their headers and iovecs in place.
struct PacketBatch {
    mmsghdr messages[kBatchSize];
    iovec iov[kBatchSize][GvspBlock::kMaxIov];
    uint8_t headers[kBatchSize][GvspBlock::kMaxHeaderSize];
    size_t count = 0;
};

}  // namespace

class GvspSender::Impl {
public:
    explicit Impl(uint32_t ip) : source_ip(ip) {}

    // Sends the queued packets of `batch`, retrying while the socket buffer is
    // full. Returns the number of datagrams the kernel took.
    size_t flush(int socket_fd, PacketBatch& batch) {
        size_t done = 0;
        size_t refused = 0;
        int busy = 0;
        while (done < batch.count) {
            const int sent = sendmmsg(socket_fd, batch.messages + done, static_cast<unsigned>(batch.count - done), 0);
            if (sent > 0) {
                done += static_cast<size_t>(sent);
                busy = 0;
                continue;
            }
            if (sent < 0 && errno == EINTR) continue;
            if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) && busy++ < kBusyRetries) {
                nap_ns(kBusyRetryNs);
                continue;
            }
            // The kernel refuses this datagram: give it up, keep the others.
            if (sent < 0 && errno == EMSGSIZE) ++too_big;
            ++send_errors;
            ++refused;
            ++done;
            busy = 0;
        }
        const size_t accepted = batch.count - refused;
        batch.count = 0;
        return accepted;
    }

    // Queues packet `packet_id` of `block` into `batch`.
    void queue(const GvspBlock& block, uint32_t packet_id, bool resend, const sockaddr_in& dest, PacketBatch& batch) {
        const size_t i = batch.count;
        size_t bytes = 0;
        const size_t n = block.packet(packet_id, resend, batch.headers[i], batch.iov[i], &bytes);
        if (n == 0) return;
        msghdr& m = batch.messages[i].msg_hdr;
        m = msghdr{};
        m.msg_name = const_cast<sockaddr_in*>(&dest);
        m.msg_namelen = sizeof dest;
        m.msg_iov = batch.iov[i];
        m.msg_iovlen = n;
        batch.messages[i].msg_len = 0;
        ++batch.count;
    }

    // Spaces bursts of packets so that the average rate stays at the link
    // speed: after `bytes` datagram bytes since `start`, wait until they would
    // have left a link of `bps` bits per second.
    struct LinkPacer {
        uint64_t bps = 0;
        uint64_t start_ns = 0;
        uint64_t bytes = 0;
        size_t burst_packets = kBatchSize;

        LinkPacer(uint64_t link_bps, uint32_t packet_size) : bps(link_bps), start_ns(monotonic_ns()) {
            if (bps > 0) {
                const size_t per_burst = kPacedBurstBytes / (packet_size > 0 ? packet_size : 1);
                burst_packets = per_burst < 1 ? 1 : per_burst > kBatchSize ? kBatchSize : per_burst;
            }
        }
        void account(size_t packets, size_t udp_bytes) {
            if (bps == 0) return;
            bytes += udp_bytes + packets * gvsp::kIpUdpOverhead;
            const long double due = static_cast<long double>(bytes) * 8e9L / static_cast<long double>(bps);
            sleep_until_ns(start_ns + static_cast<uint64_t>(due));
        }
    };

    // Sends what `batch` holds, then lets the pacer wait.
    size_t flush_paced(int socket_fd, PacketBatch& batch, LinkPacer& pacer) {
        size_t udp_bytes = 0;
        for (size_t i = 0; i < batch.count; ++i)
            for (size_t k = 0; k < batch.messages[i].msg_hdr.msg_iovlen; ++k)
                udp_bytes += batch.messages[i].msg_hdr.msg_iov[k].iov_len;
        const size_t packets = batch.count;
        const size_t accepted = flush(socket_fd, batch);
        pacer.account(packets, udp_bytes);
        return accepted;
    }

    bool drop_this_packet(double ratio) {
        if (!(ratio > 0.0)) return false;
        std::lock_guard<std::mutex> lock(rng_mutex);
        // splitmix64
        uint64_t z = (rng_state += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        z ^= z >> 31;
        const double draw = static_cast<double>(z >> 11) * (1.0 / 9007199254740992.0);
        return draw < ratio;
    }

    bool reject(const std::string& why) {
        ++frames_rejected;
        std::lock_guard<std::mutex> lock(error_mutex);
        last_error = why;
        return false;
    }

    bool send(GvspFrame frame) {
        const StreamSettings s = current_settings();
        std::shared_lock<std::shared_mutex> socket_lock(socket_mutex);
        if (fd < 0) return reject("stream socket is not open");
        if (s.dest_ip == 0 || s.dest_port == 0) return reject("no stream destination");
        std::string error;
        std::shared_ptr<const GvspBlock> block = GvspBlock::build(std::move(frame), s, &error);
        if (!block) return reject(error);
        // A cut frame ends after the first half of its payload: no trailer, and
        // no copy for resends, so the receiver's requests for the rest find
        // nothing and the frame can never complete.
        // A frame with its tail held back loses its last third of payload and
        // its trailer on this send only; resends serve them.
        const bool cut = count_toward(s.cut_frame_every, frames_toward_cut);
        const bool hold = !cut && count_toward(s.hold_tail_every, frames_toward_hold);
        const uint32_t payload_packets = block->packet_count() > 2 ? block->packet_count() - 2 : 0;
        const uint32_t packets_to_send = cut    ? 1 + payload_packets / 2
                                         : hold ? 1 + payload_packets - (payload_packets + 2) / 3
                                                : block->packet_count();
        // Stored before the first packet leaves, so that a resend request racing
        // with the frame already finds it.
        if (!cut) store.add(block, s.resend_frames);

        const sockaddr_in dest = wire::socket_address(s.dest_ip, s.dest_port);
        uint64_t delay_ns = 0;
        if (s.packet_delay_ticks > 0 && s.tick_frequency > 0) {
            const long double ns =
                static_cast<long double>(s.packet_delay_ticks) * 1e9L / static_cast<long double>(s.tick_frequency);
            delay_ns = ns > static_cast<long double>(kMaxPacketDelayNs) ? kMaxPacketDelayNs : static_cast<uint64_t>(ns);
        }

        PacketBatch batch;
        LinkPacer pacer(s.link_speed_bps, s.packet_size);
        uint64_t next_send = monotonic_ns();
        uint64_t sent = 0, dropped = 0;
        for (uint32_t id = 0; id < packets_to_send; ++id) {
            if (block->is_payload_packet(id) && drop_this_packet(s.loss_ratio)) {
                ++dropped;
                continue;
            }
            queue(*block, id, false, dest, batch);
            if (delay_ns > 0) {
                sleep_until_ns(next_send);
                sent += flush_paced(fd, batch, pacer);
                next_send = monotonic_ns() + delay_ns;
            } else if (batch.count >= pacer.burst_packets) {
                sent += flush_paced(fd, batch, pacer);
            }
        }
        sent += flush_paced(fd, batch, pacer);

        packets_sent += sent;
        packets_dropped += dropped + (hold ? block->packet_count() - packets_to_send : 0);
        ++frames_sent;
        if (cut) ++frames_cut;
        std::lock_guard<std::mutex> lock(error_mutex);
        last_error.clear();
        return true;
    }

    // Counts this frame toward a fault that strikes every `every`th frame;
    // true when it strikes this one.
    bool count_toward(uint32_t every, uint64_t& frames) {
        if (every == 0) return false;
        std::lock_guard<std::mutex> lock(settings_mutex);
        return ++frames % every == 0;
    }

    StreamSettings current_settings() const {
        std::lock_guard<std::mutex> lock(settings_mutex);
        return settings;
    }

    // Sets the don't-fragment bit of what the socket sends, or gives it back
    // the path MTU mode it was opened with. Socket lock held.
    void apply_fragmentation(bool do_not_fragment) {
        if (fd < 0) return;
        const int mode = do_not_fragment ? IP_PMTUDISC_DO : opened_pmtu_mode;
        (void)setsockopt(fd, IPPROTO_IP, IP_MTU_DISCOVER, &mode, sizeof mode);
    }

    const uint32_t source_ip;

    mutable std::shared_mutex socket_mutex;  // exclusive: open/close; shared: sending
    int fd = -1;
    uint16_t port = 0;
    int opened_pmtu_mode = IP_PMTUDISC_WANT;

    mutable std::mutex settings_mutex;
    StreamSettings settings;
    uint64_t frames_toward_cut = 0;   // frames since cut_frame_every last changed
    uint64_t frames_toward_hold = 0;  // frames since hold_tail_every last changed

    ResendStore store;

    std::mutex rng_mutex;
    uint64_t rng_state = kLossSeed;

    mutable std::mutex error_mutex;
    std::string last_error;

    std::atomic<uint64_t> frames_sent{0}, packets_sent{0}, packets_dropped{0}, resend_requests{0}, packets_resent{0},
        frames_rejected{0}, resend_unknown_block{0}, send_errors{0}, frames_cut{0}, too_big{0};
};

GvspSender::GvspSender(uint32_t source_ip) : impl_(new Impl(source_ip)) {}

GvspSender::~GvspSender() { close(); }

bool GvspSender::open(std::string* error) {
    std::unique_lock<std::shared_mutex> lock(impl_->socket_mutex);
    if (impl_->fd >= 0) return true;
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        if (error) *error = std::string("stream socket: ") + std::strerror(errno);
        return false;
    }
    // A large send buffer lets whole frames go out in a burst. The forced
    // variant needs privileges; the plain one is capped by wmem_max.
    const int size = kSendBufferBytes;
    if (setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &size, sizeof size) != 0)
        (void)setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    sockaddr_in local = wire::socket_address(impl_->source_ip, 0);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
        if (error) *error = std::string("stream socket bind: ") + std::strerror(errno);
        ::close(fd);
        return false;
    }
    socklen_t len = sizeof local;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len) != 0) {
        if (error) *error = std::string("stream socket name: ") + std::strerror(errno);
        ::close(fd);
        return false;
    }
    socklen_t mode_len = sizeof impl_->opened_pmtu_mode;
    (void)getsockopt(fd, IPPROTO_IP, IP_MTU_DISCOVER, &impl_->opened_pmtu_mode, &mode_len);
    impl_->fd = fd;
    impl_->port = ntohs(local.sin_port);
    impl_->apply_fragmentation(impl_->current_settings().do_not_fragment);
    return true;
}

void GvspSender::close() {
    std::unique_lock<std::shared_mutex> lock(impl_->socket_mutex);
    if (impl_->fd >= 0) ::close(impl_->fd);
    impl_->fd = -1;
    impl_->port = 0;
    impl_->store.clear();
}

uint16_t GvspSender::source_port() const {
    std::shared_lock<std::shared_mutex> lock(impl_->socket_mutex);
    return impl_->port;
}

void GvspSender::configure(const StreamSettings& settings) {
    {
        std::shared_lock<std::shared_mutex> socket_lock(impl_->socket_mutex);
        impl_->apply_fragmentation(settings.do_not_fragment);
    }
    std::lock_guard<std::mutex> lock(impl_->settings_mutex);
    // The count toward the next cut starts again when the fault changes, so
    // that "every Nth frame" counts from the moment it was set.
    if (settings.cut_frame_every != impl_->settings.cut_frame_every) impl_->frames_toward_cut = 0;
    if (settings.hold_tail_every != impl_->settings.hold_tail_every) impl_->frames_toward_hold = 0;
    impl_->settings = settings;
}

StreamSettings GvspSender::settings() const { return impl_->current_settings(); }

bool GvspSender::send_frame(const GvspFrame& frame) { return impl_->send(frame); }

bool GvspSender::send_frame(GvspFrame&& frame) { return impl_->send(std::move(frame)); }

void GvspSender::resend(uint64_t block_id, uint32_t first_packet_id, uint32_t last_packet_id) {
    ++impl_->resend_requests;
    const StreamSettings s = impl_->current_settings();
    std::shared_lock<std::shared_mutex> socket_lock(impl_->socket_mutex);
    if (impl_->fd < 0 || s.dest_ip == 0 || s.dest_port == 0) return;
    std::shared_ptr<const GvspBlock> block = impl_->store.find(block_id);
    if (!block) {
        // Gone (or never sent): the answer is a header alone with the
        // PACKET_UNAVAILABLE status for the first packet asked for, so that
        // the receiver stops waiting for the block.
        ++impl_->resend_unknown_block;
        uint8_t header[GvspBlock::kMaxHeaderSize];
        const size_t size =
            GvspBlock::write_packet_header(header, s.extended_ids, block_id, gvcp::STATUS_PACKET_UNAVAILABLE,
                                           gvsp::FORMAT_PAYLOAD, first_packet_id, 0, true);
        const sockaddr_in dest = wire::socket_address(s.dest_ip, s.dest_port);
        if (sendto(impl_->fd, header, size, 0, reinterpret_cast<const sockaddr*>(&dest), sizeof dest) < 0)
            ++impl_->send_errors;
        return;
    }
    // A range running past the end (e.g. "up to the last packet" written as all
    // ones) is cut to the block; an empty or inverted range sends nothing.
    const uint32_t last = last_packet_id < block->packet_count() ? last_packet_id : block->packet_count() - 1;
    if (first_packet_id > last) return;

    const sockaddr_in dest = wire::socket_address(s.dest_ip, s.dest_port);
    PacketBatch batch;
    Impl::LinkPacer pacer(s.link_speed_bps, s.packet_size);
    uint64_t sent = 0;
    for (uint64_t id = first_packet_id; id <= last; ++id) {
        impl_->queue(*block, static_cast<uint32_t>(id), true, dest, batch);
        if (batch.count >= pacer.burst_packets) sent += impl_->flush_paced(impl_->fd, batch, pacer);
    }
    sent += impl_->flush_paced(impl_->fd, batch, pacer);
    impl_->packets_resent += sent;
}

bool GvspSender::send_test_packet(uint32_t packet_size) {
    const StreamSettings s = impl_->current_settings();
    std::shared_lock<std::shared_mutex> socket_lock(impl_->socket_mutex);
    if (impl_->fd < 0 || s.dest_ip == 0 || s.dest_port == 0) return false;
    if (packet_size <= gvsp::kIpUdpOverhead + gvsp::kStdHeaderSize || packet_size > gvsp::kMaxPacketSize) return false;
    // The probe's content does not matter, only its size; a zero header keeps
    // it from looking like part of a block.
    std::vector<uint8_t> datagram(packet_size - gvsp::kIpUdpOverhead, 0);
    for (size_t i = gvsp::kStdHeaderSize; i < datagram.size(); ++i) datagram[i] = static_cast<uint8_t>(i);
    const sockaddr_in dest = wire::socket_address(s.dest_ip, s.dest_port);
    const ssize_t n =
        sendto(impl_->fd, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&dest), sizeof dest);
    // Larger than the path with don't-fragment on: the probe is lost, as on a
    // link that cannot carry it.
    if (n < 0 && errno == EMSGSIZE) ++impl_->too_big;
    return n == static_cast<ssize_t>(datagram.size());
}

StreamCounters GvspSender::counters() const {
    StreamCounters c;
    c.frames_sent = impl_->frames_sent;
    c.packets_sent = impl_->packets_sent;
    c.packets_dropped = impl_->packets_dropped;
    c.resend_requests = impl_->resend_requests;
    c.packets_resent = impl_->packets_resent;
    c.frames_rejected = impl_->frames_rejected;
    c.resend_unknown_block = impl_->resend_unknown_block;
    c.send_errors = impl_->send_errors;
    c.frames_cut = impl_->frames_cut;
    c.too_big = impl_->too_big;
    return c;
}

std::string GvspSender::last_error() const {
    std::lock_guard<std::mutex> lock(impl_->error_mutex);
    return impl_->last_error;
}

}  // namespace ornsim
