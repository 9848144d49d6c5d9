// The device's message channel: sends EVENTDATA commands to the address and
// port the controller wrote to MCDA/MCP, and retries each one (MCTT, MCRC)
// until the host acknowledges it. Events are queued and sent by the
// channel's own thread, so a host that never answers does not slow frames.
//
// The event-flood fault adds FrameEnd-shaped events that belong to no frame
// (block id 0), offered at a fixed rate whenever no queued event waits. They
// follow the same rules as every other event: one command in flight at a
// time, acknowledge required, MCTT/MCRC retries; so a slow host lowers the
// rate actually sent, and a rate the channel cannot keep is not made up
// later.
//
// Thread-safe. Owns its socket and thread; close() joins the thread.
#ifndef ORNSIM_MESSAGE_CHANNEL_H
#define ORNSIM_MESSAGE_CHANNEL_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device_model.h"
#include "wire/gvcp_packets.h"
#include "wire/udp_socket.h"

namespace ornsim {

// An event to send: its fixed part and at most gvcp::kEventDataMaxSize data bytes.
using DeviceEvent = gvcp::EventWithData;

class MessageChannel {
public:
    explicit MessageChannel(DeviceModel& model);
    ~MessageChannel();
    MessageChannel(const MessageChannel&) = delete;
    MessageChannel& operator=(const MessageChannel&) = delete;

    bool open(uint32_t source_ip, std::string* error);
    void close();
    uint16_t source_port() const { return port_; }
    // Queues an event for the destination in the message channel registers;
    // dropped when the channel is closed (MCP = 0) or the queue is full.
    void post(DeviceEvent event);
    // While silenced nothing is sent (the silent fault).
    void set_silenced(bool silenced) { silenced_ = silenced; }
    // Extra events per second (the event-flood fault); 0 switches it off.
    void set_flood_rate(double events_per_s);

    uint64_t events_sent() const { return events_sent_; }
    uint64_t events_acknowledged() const { return events_acked_; }
    // Flood events that went out at least once (retries not counted again).
    uint64_t events_flooded() const { return events_flooded_; }

private:
    void run();
    // Waits for the next thing to send: a queued event first, else a flood
    // event when one is due. False when the channel is stopping.
    bool next_event(DeviceEvent* event, bool* flood);
    DeviceEvent flood_event() const;
    // True when the host acknowledged; *went_out tells whether any send left.
    bool deliver(const DeviceEvent& event, const MessageRegisters& target, bool extended_ids, bool* went_out);

    DeviceModel& model_;
    wire::UdpSocket socket_;
    uint16_t port_ = 0;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<DeviceEvent> queue_;
    bool stopping_ = false;
    double flood_per_s_ = 0.0;                            // guarded by mutex_
    std::chrono::steady_clock::time_point next_flood_{};  // guarded by mutex_
    std::atomic<bool> silenced_{false};
    std::atomic<uint64_t> events_sent_{0}, events_acked_{0}, events_flooded_{0};
    uint16_t next_req_id_ = 1;
};

}  // namespace ornsim

#endif  // ORNSIM_MESSAGE_CHANNEL_H
