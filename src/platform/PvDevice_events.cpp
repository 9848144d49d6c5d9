// Link-loss and device-event notification of a connected device: the
// sinks, Aravis's control-lost signal, the message channel the device
// sends its events to, and the thread that tells the sinks.
//
// Threads: Aravis emits control-lost on its heartbeat thread; the handler
// only flags it and wakes the dispatch thread, which calls every sink.
// The state both threads share lives in a Shared record kept alive by
// whoever still uses it (the dispatch, its thread, the signal handler), so
// a disconnect from inside a notification or a signal still being emitted
// never touches freed memory.
#include <arv.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/log.h"
#include "platform/PvDevice.h"
#include "platform/aravis_result.h"
#include "platform/event_data_map.h"
#include "platform/gvcp/message_channel.h"
#include "platform/local_address.h"
#include "wire/address_text.h"
#include "wire/gvcp_layout.h"

namespace {

// The dispatch thread also wakes this often without anything to do, so
// that no wait is unbounded.
constexpr int kIdleWakeMs = 250;
constexpr const char* kControlLostSignal = "control-lost";

bool ipv4_of(GSocketAddress* socket_address, uint32_t& address) {
    if (socket_address == nullptr || !G_IS_INET_SOCKET_ADDRESS(socket_address)) {
        return false;
    }
    gchar* text = g_inet_address_to_string(g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(socket_address)));
    const bool parsed = text != nullptr && wire::parse_ipv4(text, &address);
    g_free(text);
    return parsed;
}

// Both ends of the control connection: the host's, where the device is
// to send its events, and the device's, the only sender accepted.
bool connection_addresses(ArvDevice* device, uint32_t& host, uint32_t& peer) {
    return ARV_IS_GV_DEVICE(device) && ipv4_of(arv_gv_device_get_interface_address(ARV_GV_DEVICE(device)), host) &&
           ipv4_of(arv_gv_device_get_device_address(ARV_GV_DEVICE(device)), peer);
}

}  // namespace

class PvDevice::EventDispatch {
public:
    explicit EventDispatch(PvDevice* owner) : shared_(std::make_shared<Shared>()) { shared_->owner = owner; }
    ~EventDispatch() { Stop(); }
    EventDispatch(const EventDispatch&) = delete;
    EventDispatch& operator=(const EventDispatch&) = delete;

    PvResult Start(ArvDevice* device);
    void Stop();

    PvResult Add(PvDeviceEventSink* sink);
    PvResult Remove(PvDeviceEventSink* sink);
    bool Empty() {
        std::lock_guard<std::mutex> guard(shared_->lock);
        return shared_->sinks.empty();
    }

private:
    struct Shared {
        ~Shared() {
            for (int& fd : wake) {
                if (fd >= 0) {
                    ::close(fd);
                    fd = -1;
                }
            }
        }
        void Wake() {
            const char byte = 1;
            if (wake[1] >= 0) {
                (void)::write(wake[1], &byte, 1);
            }
        }

        PvDevice* owner = nullptr;
        std::mutex lock;
        std::condition_variable idle;  // no notification in progress
        std::vector<PvDeviceEventSink*> sinks;
        bool notifying = false;
        std::thread::id dispatch_thread;
        std::atomic<bool> stopping{false};
        std::atomic<bool> link_lost{false};
        bool link_reported = false;
        int wake[2] = {-1, -1};
        gvcp::MessageChannel channel;
        std::unique_ptr<platform::EventDataMap> event_data;
    };

    static void OnControlLost(ArvDevice*, gpointer data) {
        std::shared_ptr<Shared>& shared = *static_cast<std::shared_ptr<Shared>*>(data);
        shared->link_lost = true;
        shared->Wake();
    }
    static void ReleaseHandlerData(gpointer data, GClosure*) { delete static_cast<std::shared_ptr<Shared>*>(data); }
    static void Run(std::shared_ptr<Shared> shared);
    static void Notify(Shared& shared, const std::function<void(PvDeviceEventSink*)>& call);
    PvResult OpenMessageChannel(ArvDevice* device);

    std::shared_ptr<Shared> shared_;
    ArvDevice* device_ = nullptr;
    gulong handler_ = 0;
    bool channel_pointed_ = false;
    std::thread thread_;
};

PvResult PvDevice::EventDispatch::Start(ArvDevice* device) {
    device_ = device;
    if (pipe2(shared_->wake, O_CLOEXEC | O_NONBLOCK) != 0) {
        return PvResult(PvResult::GENERIC_ERROR, std::string("no wake-up pipe: ") + std::strerror(errno));
    }
    PvResult channel = OpenMessageChannel(device);
    if (channel.IsFailure()) {
        // Link loss is still reported without events.
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: Message channel not opened: %s",
                 channel.GetDescription().GetAscii());
    }
    handler_ = g_signal_connect_data(device, kControlLostSignal, G_CALLBACK(&EventDispatch::OnControlLost),
                                     new std::shared_ptr<Shared>(shared_), &EventDispatch::ReleaseHandlerData,
                                     static_cast<GConnectFlags>(0));
    thread_ = std::thread(&EventDispatch::Run, shared_);
    return PvResult::OK;
}

PvResult PvDevice::EventDispatch::OpenMessageChannel(ArvDevice* device) {
    GError* error = nullptr;
    guint32 channels = 0;
    if (!arv_device_read_register(device, gvcp::REG_NUMBER_OF_MESSAGE_CHANNELS, &channels, &error)) {
        return platform::take_error(error);
    }
    if (channels == 0) {
        return PvResult(PvResult::NOT_SUPPORTED, "the device has no message channel");
    }
    uint32_t host = 0;
    uint32_t peer = 0;
    if (!connection_addresses(device, host, peer)) {
        return PvResult(PvResult::GENERIC_ERROR, "the addresses of the connection are unknown");
    }
    std::string reason;
    if (!shared_->channel.open(host, peer, &reason)) {
        return PvResult(PvResult::NETWORK_ERROR, reason);
    }
    size_t size = 0;
    const char* xml = arv_device_get_genicam_xml(device, &size);
    PvResult parsed;
    {
        PvGenParameterArray* parameters = shared_->owner->GetParameters();
        std::lock_guard<std::mutex> guard(parameters->GetLock());
        shared_->event_data = platform::EventDataMap::Create(xml, size, parameters->GetGenicam(), &parsed);
    }
    if (shared_->event_data == nullptr) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: Event data features not available: %s",
                 parsed.GetDescription().GetAscii());
    }
    if (!arv_device_write_register(device, gvcp::REG_MCDA, host, &error) ||
        !arv_device_write_register(device, gvcp::REG_MCP, shared_->channel.port() & gvcp::MCP_PORT_MASK, &error)) {
        shared_->channel.close();
        return platform::take_error(error);
    }
    channel_pointed_ = true;
    return PvResult::OK;
}

void PvDevice::EventDispatch::Stop() {
    if (handler_ != 0) {
        g_signal_handler_disconnect(device_, handler_);
        handler_ = 0;
    }
    // Turning the channel off costs a round trip; a device whose link is
    // gone would only make it wait for its time-outs.
    if (channel_pointed_ && !shared_->link_lost) {
        arv_device_write_register(device_, gvcp::REG_MCP, 0, nullptr);
        arv_device_write_register(device_, gvcp::REG_MCDA, 0, nullptr);
    }
    channel_pointed_ = false;
    shared_->stopping = true;
    shared_->Wake();
    if (thread_.joinable()) {
        if (thread_.get_id() == std::this_thread::get_id()) {
            // Disconnected from inside a notification: the thread ends by
            // itself after it, holding the shared state until then.
            thread_.detach();
        } else {
            thread_.join();
        }
    }
    std::lock_guard<std::mutex> guard(shared_->lock);
    shared_->sinks.clear();
}

PvResult PvDevice::EventDispatch::Add(PvDeviceEventSink* sink) {
    std::lock_guard<std::mutex> guard(shared_->lock);
    if (std::find(shared_->sinks.begin(), shared_->sinks.end(), sink) != shared_->sinks.end()) {
        return PvResult(PvResult::INVALID_PARAMETER, "the sink is already registered");
    }
    shared_->sinks.push_back(sink);
    return PvResult::OK;
}

PvResult PvDevice::EventDispatch::Remove(PvDeviceEventSink* sink) {
    std::unique_lock<std::mutex> guard(shared_->lock);
    auto found = std::find(shared_->sinks.begin(), shared_->sinks.end(), sink);
    if (found == shared_->sinks.end()) {
        return PvResult(PvResult::NOT_FOUND, "the sink is not registered");
    }
    shared_->sinks.erase(found);
    // The caller may delete the sink once this returns: wait for a
    // notification in progress (unless this is that notification).
    if (shared_->dispatch_thread != std::this_thread::get_id()) {
        shared_->idle.wait(guard, [this] { return !shared_->notifying; });
    }
    return PvResult::OK;
}

void PvDevice::EventDispatch::Notify(Shared& shared, const std::function<void(PvDeviceEventSink*)>& call) {
    std::vector<PvDeviceEventSink*> sinks;
    {
        std::lock_guard<std::mutex> guard(shared.lock);
        sinks = shared.sinks;
        shared.notifying = true;
    }
    for (PvDeviceEventSink* sink : sinks) {
        {
            // A sink removed by an earlier one in this round is skipped.
            std::lock_guard<std::mutex> guard(shared.lock);
            if (shared.stopping || std::find(shared.sinks.begin(), shared.sinks.end(), sink) == shared.sinks.end()) {
                continue;
            }
        }
        call(sink);
    }
    {
        std::lock_guard<std::mutex> guard(shared.lock);
        shared.notifying = false;
    }
    shared.idle.notify_all();
}

void PvDevice::EventDispatch::Run(std::shared_ptr<Shared> shared) {
    {
        std::lock_guard<std::mutex> guard(shared->lock);
        shared->dispatch_thread = std::this_thread::get_id();
    }
    std::vector<gvcp::EventWithData> events;
    std::vector<std::string> rejected;
    while (!shared->stopping) {
        pollfd fds[2] = {{shared->wake[0], POLLIN, 0}, {shared->channel.fd(), POLLIN, 0}};
        const nfds_t count = shared->channel.is_open() ? 2 : 1;
        if (::poll(fds, count, kIdleWakeMs) < 0 && errno != EINTR) {
            break;
        }
        char drain[64];
        while (::read(shared->wake[0], drain, sizeof drain) > 0) {
        }
        if (shared->stopping) {
            break;
        }
        if (shared->link_lost && !shared->link_reported) {
            shared->link_reported = true;
            PvDevice* owner = shared->owner;
            Notify(*shared, [owner](PvDeviceEventSink* sink) { sink->OnLinkDisconnected(owner); });
        }
        if (count < 2 || (fds[1].revents & (POLLIN | POLLERR)) == 0) {
            continue;
        }
        events.clear();
        rejected.clear();
        shared->channel.receive(&events, &rejected);
        for (const std::string& reason : rejected) {
            ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: Message channel datagram dropped: %s", reason.c_str());
        }
        for (const gvcp::EventWithData& event : events) {
            if (shared->stopping) {
                break;
            }
            PvGenParameterList* data =
                shared->event_data != nullptr
                    ? shared->event_data->Bind(event.entry.event_id, event.data.data(), event.data.size())
                    : nullptr;
            PvDevice* owner = shared->owner;
            Notify(*shared, [&](PvDeviceEventSink* sink) {
                sink->OnEvent(owner, event.entry.event_id, event.entry.stream_channel, event.entry.block_id,
                              event.entry.timestamp, event.data.empty() ? nullptr : event.data.data(),
                              static_cast<uint32_t>(event.data.size()));
                sink->OnEventGenICam(owner, event.entry.event_id, event.entry.stream_channel, event.entry.block_id,
                                     event.entry.timestamp, data);
            });
        }
    }
    shared->channel.close();
}

PvResult PvDevice::RegisterEventSink(PvDeviceEventSink* sink) {
    if (sink == nullptr) {
        return PvResult(PvResult::INVALID_PARAMETER, "no sink");
    }
    if (device_ == nullptr) {
        return PvResult(PvResult::NOT_CONNECTED, "the device is not connected");
    }
    if (events_ == nullptr) {
        std::unique_ptr<EventDispatch, EventDispatchDeleter> events(new EventDispatch(this));
        PvResult started = events->Start(device_);
        if (started.IsFailure()) {
            return started;
        }
        events_ = std::move(events);
    }
    return events_->Add(sink);
}

PvResult PvDevice::UnregisterEventSink(PvDeviceEventSink* sink) {
    if (sink == nullptr) {
        return PvResult(PvResult::INVALID_PARAMETER, "no sink");
    }
    if (events_ == nullptr) {
        return PvResult(PvResult::NOT_FOUND, "the sink is not registered");
    }
    PvResult removed = events_->Remove(sink);
    if (removed.IsOK() && events_->Empty()) {
        events_.reset();
    }
    return removed;
}

void PvDevice::StopEvents() { events_.reset(); }

void PvDevice::EventDispatchDeleter::operator()(EventDispatch* events) const { delete events; }
