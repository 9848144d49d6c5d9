#include "platform/aravis_stream_receiver.h"

#include <arv.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>

#include "platform/aravis_result.h"
#include "platform/aravis_stream_info.h"
#include "platform/resent_packet_ledger.h"
#include "wire/address_text.h"

namespace platform {

namespace {

// Aravis sizes its receive socket to about one frame by default; a burst
// of frames on a fast link (loopback above all) overflows it while its
// thread sleeps. A fixed large buffer absorbs several frames.
constexpr gint kSocketBufferBytes = 8 * 1024 * 1024;
// Aravis's own default retention (0.1 s) is shorter than a resend round
// trip on a loaded host: it gets receiver_policy's.
constexpr guint kFrameRetentionUs = receiver_policy::kFrameRetention.count();
// Aravis closes frames in the order they started: an unfinished frame at
// the head holds every later one, whole or not, until its retention runs
// out, and each of them keeps a buffer. A frame the device will never
// finish (cut short, its resends refused) would so hold a second of
// frames; at 20 fps that is more than the camera layer's 16 buffers, and
// Aravis then drops whole frames behind it for want of a buffer. So the
// long retention lasts only while buffers are plentiful: once a starting
// frame leaves fewer than kReserveBuffers free, the head gets the short
// retention and, silent that long, is given up (its frames behind it close
// at once).
constexpr gint kReserveBuffers = receiver_policy::kReserveBuffers;
constexpr guint kShortFrameRetentionUs = receiver_policy::kShortFrameRetention.count();
// Aravis asks again for the missing packets of an unfinished frame each
// time they are overdue (its packet time-out, also while nothing else
// arrives), but compares each run of missing packets with this share of
// the frame's packets and, once a run is longer, never asks for that frame
// again. Its default (a quarter) gives up on exactly the frame whose tail
// and trailer are lost, such as a single triggered frame: nothing follows
// to split the run. No run is longer than the whole frame. Requests stay
// bounded: one per run and packet time-out, within the frame retention.
constexpr double kPacketRequestRatio = 1.0;

// Aravis reads the channel's packet size once, when the stream is
// created, and places the data of single images by it (packet id times the
// data per packet): a stream that believes another size than the device
// sends puts every packet after the first at the wrong offset. The packet
// size is therefore negotiated before the stream is created; negotiating
// again later on the same link finds the same size. Node map lock held.
//
// The receiver is a UDP socket, never Aravis's packet socket (its choice
// when it runs as root): a packet socket sees every datagram on the
// adapter until its port filter is attached, and it is opened again each
// time buffers are aborted. Control traffic and other sensors' streams
// that slip in during that window count as frames with foreign ids, and
// the device's next real frames are then discarded as late. The kernel
// hands a UDP socket only what is addressed to its port.
ArvStream* create_stream_at_negotiated_size(ArvDevice* device, ArvStreamCallback callback, void* callback_data,
                                            GError** error) {
    if (ARV_IS_GV_DEVICE(device)) {
        arv_gv_device_set_stream_options(ARV_GV_DEVICE(device), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        GError* negotiation = nullptr;
        arv_gv_device_auto_packet_size(ARV_GV_DEVICE(device), &negotiation);
        g_clear_error(&negotiation);  // the size set before stays
    }
    return arv_device_create_stream(device, callback, callback_data, error);
}

// Aravis applies its receive buffer size only when the first frame starts,
// on its receiving thread. Until then the socket has the system default
// (about 90 datagrams of a 1500-byte link), and the first frame's burst
// overflows it while that thread wakes; with more than a quarter of a
// frame missing Aravis asks for no resend, and the frame fails a second
// later. So the socket bound to `address`:`port` (host byte order) gets
// the buffer at once: it is found among this process's descriptors by its
// local address.
void size_receive_buffer_now(uint32_t address, uint16_t port) {
    DIR* descriptors = opendir("/proc/self/fd");
    if (descriptors == nullptr) {
        return;
    }
    while (dirent* entry = readdir(descriptors)) {
        const int fd = std::atoi(entry->d_name);
        int type = 0;
        socklen_t type_size = sizeof type;
        sockaddr_in local{};
        socklen_t local_size = sizeof local;
        if (fd > 2 && getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &type_size) == 0 && type == SOCK_DGRAM &&
            getsockname(fd, reinterpret_cast<sockaddr*>(&local), &local_size) == 0 && local.sin_family == AF_INET &&
            ntohl(local.sin_addr.s_addr) == address && ntohs(local.sin_port) == port) {
            setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kSocketBufferBytes, sizeof kSocketBufferBytes);
            break;
        }
    }
    closedir(descriptors);
}

void tune_receiver(ArvStream* stream, const PvString& local_ip) {
    g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size", kSocketBufferBytes,
                 "frame-retention", kFrameRetentionUs, "packet-resend", ARV_GV_STREAM_PACKET_RESEND_ALWAYS,
                 "packet-request-ratio", kPacketRequestRatio, nullptr);
    uint32_t address = 0;
    if (wire::parse_ipv4(local_ip.str(), &address)) {
        size_receive_buffer_now(address, arv_gv_stream_get_port(ARV_GV_STREAM(stream)));
    }
}

// Chooses the frame retention each time the receiver starts or closes a
// frame (on Aravis's receiving thread) and when a waiting retrieval finds
// that the device refused a resend.
//
// A device that no longer holds a frame answers its resend request with
// PACKET_UNAVAILABLE. Aravis then stops asking but still holds the frame
// (and every frame behind it) for the whole retention. Once such a refusal
// is seen, the short retention applies until a failed frame has closed:
// the refused frame, silent since the refusal, closes within it.
class RetentionGuard {
public:
    // stream is null until the stream exists; no frame starts before that.
    void OnStreamEvent(ArvStream* stream, ArvStreamCallbackType type, ArvBuffer* buffer) {
        if (type == ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE && buffer != nullptr &&
            arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_SUCCESS) {
            refused_pending_ = false;
        }
        if (type == ARV_STREAM_CALLBACK_TYPE_START_BUFFER || type == ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE) {
            Choose(stream);
        }
    }

    // Looks for refusals the receiver met since the last look.
    void CheckRefusals(ArvStream* stream) {
        const guint64 refused = arv_stream_get_info_uint64_by_name(stream, aravis_stream_info::kResendRefused);
        if (refusals_seen_.exchange(refused) != refused) {
            refused_pending_ = true;
            Choose(stream);
        }
    }

private:
    void Choose(ArvStream* stream) {
        if (stream == nullptr) {
            return;
        }
        gint free_buffers = 0;
        arv_stream_get_n_buffers(stream, &free_buffers, nullptr);
        const bool short_retention = refused_pending_ || free_buffers < kReserveBuffers;
        const guint retention = short_retention ? kShortFrameRetentionUs : kFrameRetentionUs;
        std::lock_guard<std::mutex> guard(lock_);
        if (retention != retention_us_) {
            g_object_set(stream, "frame-retention", retention, nullptr);
            retention_us_ = retention;
        }
    }

    std::mutex lock_;                           // the receiving and the retrieving thread choose
    guint retention_us_ = kFrameRetentionUs;    // as tune_receiver sets it
    std::atomic<bool> refused_pending_{false};  // a refusal whose frame has not closed yet
    std::atomic<guint64> refusals_seen_{0};
};

// What Aravis's receiving thread tells, from the stream's creation on.
struct ReceiverWatch {
    RetentionGuard retention;
    ResentPacketLedger resent;
    std::function<void()> wake_up;  // set before the stream exists

    static void OnStreamEvent(void* data, ArvStreamCallbackType type, ArvBuffer* buffer) {
        ReceiverWatch* watch = static_cast<ReceiverWatch*>(data);
        if (watch == nullptr) {
            return;
        }
        watch->retention.OnStreamEvent(watch->stream.load(), type, buffer);
        if (type == ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE && buffer != nullptr) {
            watch->resent.FrameClosed(arv_buffer_get_frame_id(buffer), watch->requested_packets());
            // Aravis has handed the buffer over by now, and the ledger
            // knows the frame: a retrieval woken here finds both.
            watch->wake_up();
        }
    }

    // Set once the stream exists, before any buffer is queued: no frame
    // starts before that, but the receiving thread may already report.
    std::atomic<ArvStream*> stream{nullptr};

private:
    uint64_t requested_packets() const {
        ArvStream* known = stream.load();
        return known != nullptr ? arv_stream_get_info_uint64_by_name(known, aravis_stream_info::kResendRequests) : 0;
    }
};

class AravisStreamReceiver : public StreamReceiver {
public:
    // Takes the reference on `stream`; `watch` is the one its thread calls.
    AravisStreamReceiver(ArvStream* stream, std::unique_ptr<ReceiverWatch> watch)
        : stream_(stream), watch_(std::move(watch)) {}
    // Stops the receiving thread, which drops every wrapper it holds; the
    // watch outlives it.
    ~AravisStreamReceiver() override { g_object_unref(stream_); }

    uint16_t LocalPort() const override { return arv_gv_stream_get_port(ARV_GV_STREAM(stream_)); }

    void Push(ArvBuffer* wrapper, uint8_t*, uint32_t) override {
        g_object_ref(wrapper);
        arv_stream_push_buffer(stream_, wrapper);
    }

    ArvBuffer* TryPop(TransferFacts* facts) override {
        ArvBuffer* wrapper = arv_stream_try_pop_buffer(stream_);
        if (wrapper != nullptr) {
            *facts = read_aravis_transfer(wrapper, static_cast<const uint8_t*>(arv_buffer_get_data(wrapper, nullptr)));
        }
        return wrapper;
    }

    // Aravis hands nothing back on its own: stopping its receiver with
    // buffer deletion drops its references to every queued and completed
    // wrapper (the one being filled included).
    void DropAll() override {
        arv_stream_stop_thread(stream_, TRUE);
        arv_stream_start_thread(stream_);
    }

    // The restarted receiver forgets the frames it knew, while its socket
    // still holds the rest of the frame that was on the wire when the
    // device stopped. With no buffer queued those packets are counted and
    // dropped; had a buffer been queued, they would start a frame without
    // its beginning, which fails only after the frame retention and holds
    // every later frame back until then.
    void Drain() override {
        wait_until_quiet(
            [this] { return arv_stream_get_info_uint64_by_name(stream_, aravis_stream_info::kReceivedPackets); });
    }

    ReceiverStatistics Statistics() override {
        ReceiverStatistics statistics;
        guint64 completed = 0;
        guint64 failures = 0;
        guint64 underruns = 0;
        arv_stream_get_statistics(stream_, &completed, &failures, &underruns);
        statistics.completed = completed;
        statistics.failures = failures;
        statistics.underruns = underruns;
        if (ARV_IS_GV_STREAM(stream_)) {
            guint64 missing = 0;
            arv_gv_stream_get_statistics(ARV_GV_STREAM(stream_), nullptr, &missing);
            statistics.packets_missing = missing;
            statistics.resend_requests =
                arv_stream_get_info_uint64_by_name(stream_, aravis_stream_info::kResendRequests);
        }
        statistics.transferred_bytes =
            arv_stream_get_info_uint64_by_name(stream_, aravis_stream_info::kTransferredBytes);
        statistics.datagrams = arv_stream_get_info_uint64_by_name(stream_, aravis_stream_info::kReceivedPackets);
        return statistics;
    }

    bool FindResentPackets(uint64_t block_id, uint32_t* packets) override {
        return packets != nullptr && watch_->resent.Find(block_id, receiver_policy::kResentAccountingWait, packets);
    }

    void WhileRetrieving() override { watch_->retention.CheckRefusals(stream_); }
    void AfterAbort() override { watch_->resent.Forget(); }

private:
    ArvStream* stream_;
    std::unique_ptr<ReceiverWatch> watch_;
};

}  // namespace

std::unique_ptr<StreamReceiver> open_aravis_receiver(ArvDevice* device, const PvString& local_ip,
                                                     std::function<void()> wake_up, PvResult* result) {
    // The receiving thread calls it from the stream's creation on: every
    // path below releases the stream before the watch.
    std::unique_ptr<ReceiverWatch> watch(new ReceiverWatch);
    watch->wake_up = std::move(wake_up);
    GError* error = nullptr;
    // Opening points the device's stream channel at the new socket
    // through the device's node map.
    ArvStream* stream = create_stream_at_negotiated_size(device, &ReceiverWatch::OnStreamEvent, watch.get(), &error);
    if (stream == nullptr || error != nullptr) {
        if (stream != nullptr) {
            g_object_unref(stream);
        }
        *result =
            error != nullptr ? take_error(error) : PvResult(PvResult::GENERIC_ERROR, "the stream cannot be opened");
        return nullptr;
    }
    tune_receiver(stream, local_ip);
    watch->stream = stream;
    *result = PvResult::OK;
    return std::unique_ptr<StreamReceiver>(new AravisStreamReceiver(stream, std::move(watch)));
}

}  // namespace platform
