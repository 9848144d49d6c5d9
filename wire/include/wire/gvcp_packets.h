// Control-channel packets: one builder per packet kind, used by the library
// and the virtual sensor alike, and readers that take the datagram's size
// and answer zeros for what a short datagram does not hold.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "wire/gvcp_layout.h"

namespace gvcp {

struct CommandHeader {
    uint8_t key = 0;
    uint8_t flags = 0;
    uint16_t command = 0;
    uint16_t length = 0;  // of the payload
    uint16_t request_id = 0;
};

struct AckHeader {
    uint16_t status = 0;
    uint16_t answer = 0;
    uint16_t length = 0;  // of the payload
    uint16_t ack_id = 0;
};

// All zero when the datagram is shorter than a header.
CommandHeader read_command_header(const uint8_t* datagram, size_t size);
AckHeader read_ack_header(const uint8_t* datagram, size_t size);

// The fixed part of an EVENT_CMD entry or of an EVENTDATA_CMD payload.
struct EventEntry {
    uint16_t event_id = 0;
    uint16_t stream_channel = 0;
    uint64_t block_id = 0;  // 16 bits without extended ids
    uint64_t timestamp = 0;
};

constexpr size_t event_entry_size(bool extended_ids) {
    return extended_ids ? kEventExtendedHeaderSize : kEventLegacyHeaderSize;
}
// The entry at the start of `entry`, `size` bytes long; zeros for the
// fields that do not fit.
EventEntry read_event_entry(const uint8_t* entry, size_t size, bool extended_ids);

// A packet-resend request's payload.
struct ResendRequest {
    uint16_t stream_channel = 0;
    uint64_t block_id = 0;  // 16 bits without extended ids
    uint32_t first_packet = 0;
    uint32_t last_packet = 0;  // 24 bits without extended ids
};

// False when the payload is too short for its form.
bool read_resend_request(const uint8_t* payload, size_t size, bool extended_ids, ResendRequest* request);

// A FORCEIP_CMD's payload: the device it is for and its new settings.
struct ForceIpRequest {
    std::array<uint8_t, 6> mac{};
    uint32_t ip = 0;
    uint32_t mask = 0;
    uint32_t gateway = 0;
};

// False when the payload is too short.
bool read_force_ip(const uint8_t* payload, size_t size, ForceIpRequest* request);

// An ACTION_CMD's payload: which devices and which of their action groups it
// fires, and when.
struct ActionCommand {
    uint32_t device_key = 0;
    uint32_t group_key = 0;
    uint32_t group_mask = 0;
    // Only a scheduled action (kFlagScheduledAction) has one: device time in ns.
    std::optional<uint64_t> action_time;
};

// False when the payload is too short for the form `flags` announce.
bool read_action_command(uint8_t flags, const uint8_t* payload, size_t size, ActionCommand* action);

// Builders. Each returns the whole datagram (header and payload).
std::vector<uint8_t> build_command(uint8_t flags, uint16_t command, uint16_t request_id,
                                   const std::vector<uint8_t>& payload);
std::vector<uint8_t> build_ack(uint16_t status, uint16_t answer, uint16_t ack_id, const uint8_t* payload = nullptr,
                               size_t size = 0);
// A successful DISCOVERY_ACK carrying the first kDiscoveryAckPayloadSize
// bytes of `bootstrap` (zeros where it is shorter).
std::vector<uint8_t> build_discovery_ack(uint16_t ack_id, const std::vector<uint8_t>& bootstrap);
// One event of an EVENTDATA_CMD: its fixed part and its data.
struct EventWithData {
    EventEntry entry;
    std::vector<uint8_t> data;
};
// An EVENTDATA_CMD; kFlagExtendedIds in `flags` picks the entry's form.
// With extended ids each event starts with its size and several may share
// the datagram; legacy ids carry one event (only the first is sent).
std::vector<uint8_t> build_event_data(uint8_t flags, uint16_t request_id, const std::vector<EventWithData>& events);
inline std::vector<uint8_t> build_event_data(uint8_t flags, uint16_t request_id, const EventEntry& entry,
                                             const std::vector<uint8_t>& data) {
    return build_event_data(flags, request_id, {EventWithData{entry, data}});
}
// A FORCEIP_CMD asking for an ack, which may come by broadcast.
std::vector<uint8_t> build_force_ip(uint16_t request_id, const ForceIpRequest& request);
// An ACTION_CMD; a scheduled one carries its time and kFlagScheduledAction.
std::vector<uint8_t> build_action_command(bool ack_required, uint16_t request_id, const ActionCommand& action);
// A PACKETRESEND_CMD; extended ids set kFlagExtendedIds.
std::vector<uint8_t> build_resend_request(bool extended_ids, uint16_t request_id, const ResendRequest& request);

}  // namespace gvcp
