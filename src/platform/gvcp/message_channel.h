// The host end of a device's message channel: a UDP socket the device
// sends EVENT and EVENTDATA commands to. Every command is checked before
// any of its bytes is used (header, length field, entry sizes, data
// limit); a malformed datagram is dropped and counted, never answered.
// With extended ids an EVENTDATA command is walked event by event by each
// event's size: events that cannot be read are skipped (and reported),
// the others are delivered, and the command is acknowledged.
// A well-formed command that asks for an acknowledge gets one, also when
// it is a retry (the device did not hear the first); a retry is not
// reported as a new event.
//
// Threads: one thread at a time calls receive(); the counters may be read
// from any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "wire/gvcp_packets.h"
#include "wire/udp_socket.h"

namespace gvcp {

// One parsed EVENT/EVENTDATA command.
struct EventCommand {
    uint16_t command = 0;
    uint16_t request_id = 0;
    bool wants_ack = false;
    std::vector<EventWithData> events;
    // Parts of an EVENTDATA_CMD that could not be read (one line each).
    std::vector<std::string> skipped;
};

// Parses one datagram. False, with the reason in `*reason`, when it is not
// a well-formed EVENT_CMD or EVENTDATA_CMD.
bool parse_event_command(const uint8_t* datagram, size_t size, EventCommand* command, std::string* reason);

class MessageChannel {
public:
    // Binds a socket on `local_address` (host byte order), any port, and
    // takes datagrams from `device_address` only (another host cannot
    // inject events).
    bool open(uint32_t local_address, uint32_t device_address, std::string* error);
    void close() { socket_.close(); }
    bool is_open() const { return socket_.is_open(); }
    int fd() const { return socket_.fd(); }
    uint16_t port() const { return port_; }

    // Takes every pending datagram, acknowledges what needs it and appends
    // the events not seen before to `events`. Reasons for dropped
    // datagrams and skipped events go to `rejected` (one line each) when
    // non-null.
    void receive(std::vector<EventWithData>* events, std::vector<std::string>* rejected);

    uint64_t dropped() const { return dropped_; }
    uint64_t acknowledged() const { return acknowledged_; }

private:
    // Request ids recently seen from the device: a resent command carries
    // the id of the first send.
    bool seen_before(uint16_t request_id);

    wire::UdpSocket socket_;
    uint16_t port_ = 0;
    uint32_t device_address_ = 0;
    std::deque<uint16_t> recent_ids_;
    std::atomic<uint64_t> dropped_{0};
    std::atomic<uint64_t> acknowledged_{0};
};

}  // namespace gvcp
