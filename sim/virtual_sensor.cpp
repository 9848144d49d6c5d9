#include "ornsim/virtual_sensor.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include "acquisition_engine.h"
#include "action_queue.h"
#include "device_model.h"
#include "device_registers.h"
#include "genicam_xml.h"
#include "gvcp_handler.h"
#include "message_channel.h"
#include "stream/gvsp_sender.h"
#include "wire/address_text.h"
#include "wire/gvcp_layout.h"
#include "wire/udp_socket.h"
#include "wire/zip_writer.h"

namespace ornsim {
namespace {

constexpr int kControlPollMs = 20;
constexpr size_t kMaxDatagram = 1500;

// 02 (locally administered, unicast) and five bytes of the serial's FNV-1a
// hash: stable for a serial, different for two sensors.
std::array<uint8_t, 6> mac_for_serial(const std::string& serial) {
    uint64_t hash = 14695981039346656037ULL;
    for (const unsigned char c : serial) hash = (hash ^ c) * 1099511628211ULL;
    std::array<uint8_t, 6> mac{0x02, 0, 0, 0, 0, 0};
    for (size_t i = 1; i < mac.size(); ++i) mac[i] = static_cast<uint8_t>(hash >> (8 * (i - 1)));
    return mac;
}

}  // namespace

class VirtualSensor::Impl : public DeviceActions {
public:
    explicit Impl(SensorConfig config) : config_(std::move(config)) {}
    ~Impl() override { stop(); }

    bool start(std::string* error);
    void stop();
    bool set_faults(const FaultSwitches& faults);
    SensorCounters counters() const;
    std::string current_address() const { return wire::format_ipv4(ip_.load()); }
    const SensorConfig& config() const { return config_; }

    // DeviceActions, called on the control thread.
    void apply(const WriteEffects& effects) override;
    void packet_resend(uint64_t block_id, uint32_t first, uint32_t last) override;
    bool force_ip(uint32_t ip, uint32_t mask, uint32_t gateway) override;
    void control_lost() override;
    void fire_actions(uint32_t signals, uint64_t timestamp) override;
    bool schedule_actions(uint32_t signals, uint64_t time) override;

private:
    bool fail(std::string* error, const std::string& message) {
        if (error != nullptr) *error = message;
        stop();
        return false;
    }
    bool open_control_sockets(uint32_t ip, std::string* error);
    void open_channels(uint32_t ip);
    bool move_to(uint32_t ip, bool end_acquisition);
    void configure_stream();
    std::vector<wire::UdpSocket*> listening_sockets() {
        std::vector<wire::UdpSocket*> sockets{&control_};
        for (wire::UdpSocket& s : broadcast_) sockets.push_back(&s);
        return sockets;
    }
    void control_loop();
    bool silent_now();
    void end_silence_when_due(std::chrono::steady_clock::time_point now);
    void power_cycle();

    SensorConfig config_;
    std::string xml_text_;
    std::atomic<uint32_t> ip_{0};
    std::unique_ptr<DeviceModel> model_;
    std::unique_ptr<GvcpHandler> handler_;
    std::unique_ptr<MessageChannel> message_;
    std::unique_ptr<AcquisitionEngine> engine_;
    std::unique_ptr<ActionQueue> actions_;

    // Guards the sender_ pointer, which FORCEIP replaces (exclusive lock). The
    // sender itself is thread-safe: frames, resends and settings share the lock,
    // so a resend never waits for a frame to finish.
    mutable std::shared_mutex stream_mutex_;
    std::unique_ptr<GvspSender> sender_;

    wire::UdpSocket control_;                 // unicast, replies go out here
    std::vector<wire::UdpSocket> broadcast_;  // broadcast listeners, when the interface has broadcast
    uint64_t sockets_generation_ = 0;         // bumps when FORCEIP replaces the sockets
    std::thread control_thread_;
    std::atomic<bool> running_{false};

    mutable std::mutex faults_mutex_;
    FaultSwitches faults_;
    bool silent_armed_ = false;
    std::chrono::steady_clock::time_point silent_at_{};
    bool silence_ends_ = false;  // the silence is timed: it ends at silent_until_
    std::chrono::steady_clock::time_point silent_until_{};
    uint32_t return_ip_ = 0;  // where the sensor answers after the silence; 0: where it was
    std::atomic<bool> silent_{false};

    std::atomic<uint64_t> gvcp_commands_{0}, gvcp_errors_{0}, outages_begun_{0}, outages_ended_{0};
};

bool VirtualSensor::Impl::start(std::string* error) {
    if (running_) return true;
    uint32_t ip = 0;
    if (!wire::parse_ipv4(config_.address, &ip)) return fail(error, "invalid IPv4 address: '" + config_.address + "'");
    DeviceIdentity identity;
    if (config_.mac.empty()) {
        identity.mac = mac_for_serial(config_.serial);
    } else if (!wire::parse_mac(config_.mac, &identity.mac)) {
        return fail(error, "invalid MAC address: '" + config_.mac + "'");
    }
    if (config_.width < 16 || config_.height < 16 || config_.width > 8192 || config_.height > 8192)
        return fail(error, "image size must be between 16 and 8192 pixels per side");
    if (!(config_.fps > 0.0) || config_.fps > 1000.0) return fail(error, "frame rate must be in (0, 1000] Hz");
    if (config_.link_speed_mbps < 10 || config_.link_speed_mbps > 100000)
        return fail(error, "link speed must be between 10 and 100000 Mbit/s");
    constexpr int64_t kMaxSkewMs = 1000LL * 86400 * 365;
    if (config_.clock_skew_ms < -kMaxSkewMs || config_.clock_skew_ms > kMaxSkewMs)
        return fail(error, "clock skew must be within a year");

    // The GenICam file: built in, or the given one.
    if (config_.genicam_file.empty()) {
        xml_text_ = builtin_genicam_xml({config_.vendor, config_.model, config_.width, config_.height});
    } else {
        FILE* in = std::fopen(config_.genicam_file.c_str(), "rb");
        if (in == nullptr) return fail(error, "cannot read GenICam file '" + config_.genicam_file + "'");
        std::vector<char> chunk(65536);
        size_t n;
        xml_text_.clear();
        while ((n = std::fread(chunk.data(), 1, chunk.size(), in)) > 0 && xml_text_.size() <= reg::kXmlMaxSize)
            xml_text_.append(chunk.data(), n);
        std::fclose(in);
        if (xml_text_.empty() || xml_text_.size() > reg::kXmlMaxSize)
            return fail(error, "GenICam file '" + config_.genicam_file + "' is empty or larger than 1 MiB");
    }
    std::vector<uint8_t> served;
    std::string served_name = "ornc-virtual-sensor.xml";
    if (config_.zipped_xml) {
        served_name = "ornc-virtual-sensor.zip";
        const std::string archive = wire::zip_single_file("ornc-virtual-sensor.xml", xml_text_);
        if (archive.empty()) return fail(error, "cannot compress the GenICam file");
        served.assign(archive.begin(), archive.end());
    } else {
        served.assign(xml_text_.begin(), xml_text_.end());
    }

    identity.vendor = config_.vendor;
    identity.model = config_.model;
    identity.device_version = "1.0.0";
    identity.manufacturer_info = "Virtual 3D sensor (software)";
    identity.serial = config_.serial;
    identity.user_name = config_.user_name;
    identity.ip = ip;
    uint32_t mask = 0xFF000000;
    uint32_t broadcast = 0;
    if (wire::interface_broadcast_address(ip, &broadcast, &mask)) identity.mask = mask;
    identity.sensor_width = config_.width;
    identity.sensor_height = config_.height;
    identity.fps = config_.fps;
    identity.link_speed_mbps = config_.link_speed_mbps;
    identity.clock_skew_ns = config_.clock_skew_ms * 1000000;
    model_ = std::make_unique<DeviceModel>(identity, std::move(served), served_name);
    handler_ = std::make_unique<GvcpHandler>(*model_, *this);

    if (!open_control_sockets(ip, error)) return fail(error, error != nullptr ? *error : "cannot open control socket");
    ip_ = ip;
    {
        std::unique_lock<std::shared_mutex> lock(stream_mutex_);
        sender_ = std::make_unique<GvspSender>(ip);
        std::string why;
        if (!sender_->open(&why)) return fail(error, "stream socket: " + why);
        model_->set_stream_source_port(sender_->source_port());
    }
    message_ = std::make_unique<MessageChannel>(*model_);
    {
        std::string why;
        if (!message_->open(ip, &why)) return fail(error, "message channel socket: " + why);
    }
    engine_ = std::make_unique<AcquisitionEngine>(
        *model_,
        [this](GvspFrame&& frame) {
            std::shared_lock<std::shared_mutex> lock(stream_mutex_);
            return sender_ != nullptr && sender_->send_frame(std::move(frame));
        },
        [this](const AcquisitionSnapshot& settings, uint64_t block_id, uint64_t timestamp) {
            if (!settings.frame_end_event) return;
            DeviceEvent event;
            event.entry.event_id = reg::kEventIdFrameEnd;
            event.entry.block_id = block_id;
            event.entry.timestamp = timestamp;
            event.data.resize(reg::kEventFrameEndDataSize);
            wire::store_be64(event.data.data() + reg::kEventFrameEndFrameIdOffset, block_id);
            wire::store_be64(event.data.data() + reg::kEventFrameEndTimestampOffset, timestamp);
            message_->post(std::move(event));
        });
    engine_->start_thread();
    actions_ = std::make_unique<ActionQueue>(
        reg::kActionQueueSize, [this] { return model_->timestamp_now(); },
        [this](uint32_t signals, uint64_t time) { fire_actions(signals, time); });
    set_faults(faults_);
    running_ = true;
    control_thread_ = std::thread(&Impl::control_loop, this);
    return true;
}

bool VirtualSensor::Impl::open_control_sockets(uint32_t ip, std::string* error) {
    wire::UdpSocket control;
    if (!control.open(ip, gvcp::kPort, error)) return false;
    control.enable_broadcast();
    std::vector<wire::UdpSocket> listeners;
    uint32_t broadcast = 0, mask = 0;
    if (wire::interface_broadcast_address(ip, &broadcast, &mask)) {
        // Discovery may come to the subnet broadcast or to the limited broadcast.
        for (uint32_t address : {broadcast, 0xFFFFFFFFu}) {
            wire::UdpSocket listener;
            if (listener.open(address, gvcp::kPort, nullptr, true)) listeners.push_back(std::move(listener));
        }
    }
    control_ = std::move(control);
    broadcast_ = std::move(listeners);
    ++sockets_generation_;
    return true;
}

void VirtualSensor::Impl::stop() {
    running_ = false;
    if (control_thread_.joinable()) control_thread_.join();
    actions_.reset();  // before the engine its actions trigger
    if (engine_) engine_->stop_thread();
    if (message_) message_->close();
    {
        std::unique_lock<std::shared_mutex> lock(stream_mutex_);
        if (sender_) sender_->close();
    }
    control_.close();
    broadcast_.clear();
}

// Begins the silence when it is due.
bool VirtualSensor::Impl::silent_now() {
    if (silent_) return true;
    std::lock_guard<std::mutex> lock(faults_mutex_);
    if (silent_armed_ && std::chrono::steady_clock::now() >= silent_at_) {
        silent_ = true;
        ++outages_begun_;
        if (engine_) engine_->set_silenced(true);
        if (message_) message_->set_silenced(true);
    }
    return silent_;
}

// Ends a timed silence once it is over: at the return address when one is
// set (tried again on every turn until it can be bound), after a power cycle
// when one is asked for. On the control thread only: it replaces sockets.
void VirtualSensor::Impl::end_silence_when_due(std::chrono::steady_clock::time_point now) {
    uint32_t return_ip = 0;
    bool cycle = false;
    {
        std::lock_guard<std::mutex> lock(faults_mutex_);
        if (!silent_ || !silence_ends_ || now < silent_until_) return;
        return_ip = return_ip_;
        cycle = faults_.power_cycle;
    }
    if (return_ip != 0 && return_ip != ip_.load()) {
        if (!move_to(return_ip, false)) return;
        uint32_t broadcast = 0, mask = 0xFF000000;
        wire::interface_broadcast_address(return_ip, &broadcast, &mask);
        model_->set_current_ip(return_ip, mask, 0);
    }
    if (cycle) power_cycle();
    // What was sent to the sensor while it was away never reached it.
    std::vector<uint8_t> scratch(kMaxDatagram);
    for (wire::UdpSocket* socket : listening_sockets()) {
        while (socket->receive(scratch.data(), scratch.size(), nullptr, nullptr) >= 0) {
        }
    }
    std::lock_guard<std::mutex> lock(faults_mutex_);
    if (!silent_) return;  // set_faults ended it meanwhile
    silent_armed_ = false;
    silent_ = false;
    ++outages_ended_;
    engine_->set_silenced(false);
    message_->set_silenced(false);
}

// Back to power-up: no controller, no acquisition, channels closed and
// nothing kept for resend, registers at their first values, clock from 0.
void VirtualSensor::Impl::power_cycle() {
    engine_->power_up();
    actions_->clear();
    handler_->forget_controller();
    model_->power_up();
    open_channels(ip_.load());
}

void VirtualSensor::Impl::control_loop() {
    std::vector<uint8_t> buffer(kMaxDatagram);
    while (running_) {
        auto now = std::chrono::steady_clock::now();
        // The heartbeat clock runs during a silence too.
        handler_->check_heartbeat(now);
        if (silent_now()) end_silence_when_due(now);
        const std::vector<wire::UdpSocket*> sockets = listening_sockets();
        const uint64_t generation = sockets_generation_;
        // Wait on the unicast socket; the broadcast listeners are drained without waiting.
        for (size_t i = 0; i < sockets.size() && generation == sockets_generation_; ++i) {
            uint32_t peer_ip = 0;
            uint16_t peer_port = 0;
            long n = sockets[i]->receive_within(buffer.data(), buffer.size(), i == 0 ? kControlPollMs : 0, &peer_ip,
                                                &peer_port);
            if (n <= 0 || silent_now()) continue;  // checked per datagram: faults change at any time
            std::vector<uint8_t> reply =
                handler_->handle(buffer.data(), static_cast<size_t>(n), PeerAddress{peer_ip, peer_port},
                                 std::chrono::steady_clock::now());
            gvcp_commands_ = handler_->counters().commands;
            gvcp_errors_ = handler_->counters().errors;
            if (reply.empty()) continue;
            uint32_t delay_ms;
            {
                std::lock_guard<std::mutex> lock(faults_mutex_);
                delay_ms = faults_.ack_delay_ms;
            }
            if (delay_ms > 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(std::min<uint32_t>(delay_ms, 10000)));
            control_.send_to(peer_ip, peer_port, reply.data(), reply.size());
        }
    }
}

void VirtualSensor::Impl::configure_stream() {
    StreamRegisters regs = model_->stream();
    StreamSettings settings;
    settings.dest_ip = regs.dest_ip;
    settings.dest_port = regs.dest_port;
    settings.packet_size = regs.packet_size;
    settings.do_not_fragment = regs.do_not_fragment;
    settings.packet_delay_ticks = regs.packet_delay;
    settings.tick_frequency = 1000000000;
    settings.extended_ids = regs.extended_ids;
    settings.link_speed_bps = uint64_t{regs.link_speed_mbps} * 1000000u;
    {
        std::lock_guard<std::mutex> lock(faults_mutex_);
        settings.loss_ratio = faults_.stream_loss_ratio;
        settings.cut_frame_every = faults_.cut_frame_every;
        settings.hold_tail_every = faults_.hold_tail_every;
    }
    std::shared_lock<std::shared_mutex> lock(stream_mutex_);
    if (sender_) sender_->configure(settings);
}

void VirtualSensor::Impl::apply(const WriteEffects& effects) {
    if (effects.stream_changed || effects.start_acquisition || effects.fire_test_packet) configure_stream();
    if (effects.fire_test_packet) {
        std::shared_lock<std::shared_mutex> lock(stream_mutex_);
        if (sender_) sender_->send_test_packet(effects.test_packet_size);
    }
    if (effects.stop_acquisition) engine_->stop();
    if (effects.start_acquisition) engine_->start();
    if (effects.trigger_software) engine_->trigger();
}

void VirtualSensor::Impl::packet_resend(uint64_t block_id, uint32_t first, uint32_t last) {
    if (silent_) return;
    std::shared_lock<std::shared_mutex> lock(stream_mutex_);
    if (sender_) sender_->resend(block_id, first, last);
}

bool VirtualSensor::Impl::force_ip(uint32_t ip, uint32_t /*mask*/, uint32_t /*gateway*/) {
    return ip == ip_.load() || move_to(ip, true);
}

// Rebinds every socket on `ip`: control and discovery, stream, message
// channel. False, with nothing changed, when `ip` cannot be bound.
bool VirtualSensor::Impl::move_to(uint32_t ip, bool end_acquisition) {
    std::string why;
    wire::UdpSocket probe;
    if (!probe.open(ip, gvcp::kPort, &why)) return false;
    probe.close();
    if (end_acquisition) engine_->stop();
    if (!open_control_sockets(ip, &why)) return false;
    open_channels(ip);
    ip_ = ip;
    return true;
}

// A new stream sender (nothing kept for resend) and message channel on `ip`.
void VirtualSensor::Impl::open_channels(uint32_t ip) {
    std::string why;
    {
        std::unique_lock<std::shared_mutex> lock(stream_mutex_);
        auto sender = std::make_unique<GvspSender>(ip);
        if (sender->open(&why)) {
            if (sender_) sender_->close();
            sender_ = std::move(sender);
            model_->set_stream_source_port(sender_->source_port());
        }
    }
    message_->open(ip, &why);
    configure_stream();
}

void VirtualSensor::Impl::control_lost() { engine_->stop(); }

// Signal n triggers a frame when the trigger's source is Action<n+1>.
void VirtualSensor::Impl::fire_actions(uint32_t signals, uint64_t timestamp) {
    const AcquisitionSnapshot settings = model_->acquisition();
    const uint32_t source = settings.trigger_source;
    if (!settings.trigger_on || source < reg::kTriggerSourceAction1) return;
    if (signals & (1u << (source - reg::kTriggerSourceAction1))) engine_->trigger(timestamp);
}

bool VirtualSensor::Impl::schedule_actions(uint32_t signals, uint64_t time) { return actions_->push(signals, time); }

bool VirtualSensor::Impl::set_faults(const FaultSwitches& faults) {
    uint32_t return_ip = 0;
    if (!faults.return_address.empty() && (!wire::parse_ipv4(faults.return_address, &return_ip) || return_ip == 0 ||
                                           return_ip == 0xFFFFFFFFu || (return_ip >> 28) == 0xE))
        return false;
    uint32_t address = 0, length = 0;
    bool refuse = !faults.refuse_writes_feature.empty() &&
                  find_feature_register(xml_text_, faults.refuse_writes_feature, &address, &length);
    {
        std::lock_guard<std::mutex> lock(faults_mutex_);
        faults_ = faults;
        silent_armed_ = faults.silent_after_s >= 0.0;
        const auto seconds = [](double s) {
            return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                std::chrono::duration<double>(std::min(s, 1e6)));
        };
        silence_ends_ = faults.silent_for_s > 0.0;
        return_ip_ = return_ip;
        if (silent_armed_) {
            silent_at_ = std::chrono::steady_clock::now() + seconds(faults.silent_after_s);
            if (silence_ends_) silent_until_ = silent_at_ + seconds(faults.silent_for_s);
        } else {
            if (silent_) ++outages_ended_;
            silent_ = false;
            if (engine_) engine_->set_silenced(false);
            if (message_) message_->set_silenced(false);
        }
    }
    if (model_) {
        model_->set_refused_register(refuse ? address : 0, refuse ? length : 0);
        configure_stream();
    }
    if (message_) message_->set_flood_rate(faults.event_flood_per_s);
    return true;
}

SensorCounters VirtualSensor::Impl::counters() const {
    SensorCounters c;
    c.gvcp_commands = gvcp_commands_;
    c.gvcp_errors = gvcp_errors_;
    c.outages_begun = outages_begun_;
    c.outages_ended = outages_ended_;
    {
        std::shared_lock<std::shared_mutex> lock(stream_mutex_);
        if (sender_) {
            StreamCounters s = sender_->counters();
            c.frames_sent = s.frames_sent;
            c.packets_sent = s.packets_sent;
            c.packets_dropped = s.packets_dropped;
            c.resend_requests = s.resend_requests;
            c.packets_resent = s.packets_resent;
            c.frames_cut = s.frames_cut;
            c.stream_too_big = s.too_big;
        }
    }
    if (message_) {
        c.events_sent = message_->events_sent();
        c.events_flooded = message_->events_flooded();
    }
    return c;
}

VirtualSensor::VirtualSensor(SensorConfig config) : impl_(std::make_unique<Impl>(std::move(config))) {}
VirtualSensor::~VirtualSensor() { impl_->stop(); }
bool VirtualSensor::start(std::string* error) { return impl_->start(error); }
void VirtualSensor::stop() { impl_->stop(); }
bool VirtualSensor::set_faults(const FaultSwitches& faults) { return impl_->set_faults(faults); }
SensorCounters VirtualSensor::counters() const { return impl_->counters(); }
const SensorConfig& VirtualSensor::config() const { return impl_->config(); }
std::string VirtualSensor::current_address() const { return impl_->current_address(); }

}  // namespace ornsim
