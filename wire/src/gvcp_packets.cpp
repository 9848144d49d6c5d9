#include "wire/gvcp_packets.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "wire/byte_order.h"

namespace gvcp {

namespace {

// A header followed by `size` bytes of payload.
std::vector<uint8_t> datagram_of(const uint8_t (&header)[kHeaderSize], const uint8_t* payload, size_t size) {
    std::vector<uint8_t> packet(kHeaderSize + size);
    uint8_t* out = packet.data();
    if (out == nullptr) {
        return packet;  // never: the header alone is kHeaderSize bytes
    }
    std::memcpy(out, header, kHeaderSize);
    if (size > 0) {
        std::memcpy(out + kHeaderSize, payload, size);
    }
    return packet;
}

}  // namespace

CommandHeader read_command_header(const uint8_t* datagram, size_t size) {
    CommandHeader header;
    if (datagram == nullptr || size < kHeaderSize) return header;
    header.key = datagram[kCmdKeyOffset];
    header.flags = datagram[kCmdFlagsOffset];
    header.command = wire::load_be16(datagram + kCmdCommandOffset);
    header.length = wire::load_be16(datagram + kCmdLengthOffset);
    header.request_id = wire::load_be16(datagram + kCmdReqIdOffset);
    return header;
}

AckHeader read_ack_header(const uint8_t* datagram, size_t size) {
    AckHeader header;
    if (datagram == nullptr || size < kHeaderSize) return header;
    header.status = wire::load_be16(datagram + kAckStatusOffset);
    header.answer = wire::load_be16(datagram + kAckAnswerOffset);
    header.length = wire::load_be16(datagram + kAckLengthOffset);
    header.ack_id = wire::load_be16(datagram + kAckIdOffset);
    return header;
}

EventEntry read_event_entry(const uint8_t* entry, size_t size, bool extended_ids) {
    EventEntry event;
    event.event_id = wire::read_be16(entry, size, kEventIdOffset);
    event.stream_channel = wire::read_be16(entry, size, kEventChannelOffset);
    if (extended_ids) {
        event.block_id = wire::read_be64(entry, size, kEventExtendedBlockIdOffset);
        event.timestamp = wire::read_be64(entry, size, kEventExtendedTimestampOffset);
    } else {
        event.block_id = wire::read_be16(entry, size, kEventLegacyBlockIdOffset);
        event.timestamp = wire::read_be64(entry, size, kEventLegacyTimestampOffset);
    }
    return event;
}

bool read_resend_request(const uint8_t* payload, size_t size, bool extended_ids, ResendRequest* request) {
    if (payload == nullptr || request == nullptr ||
        size < (extended_ids ? kResendExtendedPayloadSize : kResendLegacyPayloadSize)) {
        return false;
    }
    request->stream_channel = wire::load_be16(payload + kResendChannelOffset);
    request->first_packet = wire::load_be32(payload + kResendFirstPacketOffset);
    request->last_packet = wire::load_be32(payload + kResendLastPacketOffset);
    if (extended_ids) {
        request->block_id = wire::load_be64(payload + kResendExtendedBlockIdOffset);
    } else {
        request->block_id = wire::load_be16(payload + kResendLegacyBlockIdOffset);
        request->first_packet &= kResendLegacyPacketIdMask;
        request->last_packet &= kResendLegacyPacketIdMask;
    }
    return true;
}

bool read_force_ip(const uint8_t* payload, size_t size, ForceIpRequest* request) {
    if (payload == nullptr || request == nullptr || size < kForceIpCmdPayloadSize) {
        return false;
    }
    std::copy_n(payload + kForceIpMacOffset, request->mac.size(), request->mac.begin());
    request->ip = wire::load_be32(payload + kForceIpAddressOffset);
    request->mask = wire::load_be32(payload + kForceIpMaskOffset);
    request->gateway = wire::load_be32(payload + kForceIpGatewayOffset);
    return true;
}

bool read_action_command(uint8_t flags, const uint8_t* payload, size_t size, ActionCommand* action) {
    const bool scheduled = (flags & kFlagScheduledAction) != 0;
    if (payload == nullptr || action == nullptr ||
        size < (scheduled ? kScheduledActionCmdPayloadSize : kActionCmdPayloadSize)) {
        return false;
    }
    action->device_key = wire::load_be32(payload + kActionDeviceKeyOffset);
    action->group_key = wire::load_be32(payload + kActionGroupKeyOffset);
    action->group_mask = wire::load_be32(payload + kActionGroupMaskOffset);
    action->action_time.reset();
    if (scheduled) {
        action->action_time = wire::load_be64(payload + kActionTimeOffset);
    }
    return true;
}

std::vector<uint8_t> build_command(uint8_t flags, uint16_t command, uint16_t request_id,
                                   const std::vector<uint8_t>& payload) {
    uint8_t header[kHeaderSize] = {};
    header[kCmdKeyOffset] = kKey;
    header[kCmdFlagsOffset] = flags;
    wire::store_be16(header + kCmdCommandOffset, command);
    wire::store_be16(header + kCmdLengthOffset, static_cast<uint16_t>(payload.size()));
    wire::store_be16(header + kCmdReqIdOffset, request_id);
    return datagram_of(header, payload.data(), payload.size());
}

std::vector<uint8_t> build_ack(uint16_t status, uint16_t answer, uint16_t ack_id, const uint8_t* payload, size_t size) {
    const size_t carried = payload != nullptr ? size : 0;
    uint8_t header[kHeaderSize] = {};
    wire::store_be16(header + kAckStatusOffset, status);
    wire::store_be16(header + kAckAnswerOffset, answer);
    wire::store_be16(header + kAckLengthOffset, static_cast<uint16_t>(carried));
    wire::store_be16(header + kAckIdOffset, ack_id);
    return datagram_of(header, payload, carried);
}

std::vector<uint8_t> build_discovery_ack(uint16_t ack_id, const std::vector<uint8_t>& bootstrap) {
    std::vector<uint8_t> block(kDiscoveryAckPayloadSize, 0);
    std::copy_n(bootstrap.begin(), std::min(bootstrap.size(), block.size()), block.begin());
    return build_ack(STATUS_SUCCESS, DISCOVERY_ACK, ack_id, block.data(), block.size());
}

std::vector<uint8_t> build_event_data(uint8_t flags, uint16_t request_id, const std::vector<EventWithData>& events) {
    const bool extended = (flags & kFlagExtendedIds) != 0;
    std::vector<uint8_t> payload;
    for (const EventWithData& event : events) {
        const size_t start = payload.size();
        payload.resize(start + event_entry_size(extended), 0);
        uint8_t* p = payload.data() + start;
        wire::store_be16(p + kEventIdOffset, event.entry.event_id);
        wire::store_be16(p + kEventChannelOffset, event.entry.stream_channel);
        if (extended) {
            wire::store_be16(p + kEventExtendedSizeOffset,
                             static_cast<uint16_t>(kEventExtendedHeaderSize + event.data.size()));
            wire::store_be64(p + kEventExtendedBlockIdOffset, event.entry.block_id);
            wire::store_be64(p + kEventExtendedTimestampOffset, event.entry.timestamp);
        } else {
            wire::store_be16(p + kEventLegacyBlockIdOffset, static_cast<uint16_t>(event.entry.block_id));
            wire::store_be64(p + kEventLegacyTimestampOffset, event.entry.timestamp);
        }
        payload.insert(payload.end(), event.data.begin(), event.data.end());
        if (!extended) break;
    }
    return build_command(flags, EVENTDATA_CMD, request_id, payload);
}

std::vector<uint8_t> build_force_ip(uint16_t request_id, const ForceIpRequest& request) {
    std::vector<uint8_t> payload(kForceIpCmdPayloadSize, 0);
    std::copy(request.mac.begin(), request.mac.end(), payload.begin() + kForceIpMacOffset);
    wire::store_be32(payload.data() + kForceIpAddressOffset, request.ip);
    wire::store_be32(payload.data() + kForceIpMaskOffset, request.mask);
    wire::store_be32(payload.data() + kForceIpGatewayOffset, request.gateway);
    return build_command(kFlagAckRequired | kFlagForceIpAllowBroadcastAck, FORCEIP_CMD, request_id, payload);
}

std::vector<uint8_t> build_resend_request(bool extended_ids, uint16_t request_id, const ResendRequest& request) {
    std::vector<uint8_t> payload(extended_ids ? kResendExtendedPayloadSize : kResendLegacyPayloadSize, 0);
    uint8_t* p = payload.data();
    wire::store_be16(p + kResendChannelOffset, request.stream_channel);
    wire::store_be32(p + kResendFirstPacketOffset, request.first_packet);
    wire::store_be32(p + kResendLastPacketOffset, request.last_packet);
    if (extended_ids) {
        wire::store_be64(p + kResendExtendedBlockIdOffset, request.block_id);
    } else {
        wire::store_be16(p + kResendLegacyBlockIdOffset, static_cast<uint16_t>(request.block_id));
    }
    return build_command(extended_ids ? kFlagExtendedIds : 0, PACKETRESEND_CMD, request_id, payload);
}

std::vector<uint8_t> build_action_command(bool ack_required, uint16_t request_id, const ActionCommand& action) {
    const bool scheduled = action.action_time.has_value();
    std::vector<uint8_t> payload(scheduled ? kScheduledActionCmdPayloadSize : kActionCmdPayloadSize, 0);
    wire::store_be32(payload.data() + kActionDeviceKeyOffset, action.device_key);
    wire::store_be32(payload.data() + kActionGroupKeyOffset, action.group_key);
    wire::store_be32(payload.data() + kActionGroupMaskOffset, action.group_mask);
    if (scheduled) {
        wire::store_be64(payload.data() + kActionTimeOffset, *action.action_time);
    }
    const uint8_t flags = (ack_required ? kFlagAckRequired : 0) | (scheduled ? kFlagScheduledAction : 0);
    return build_command(flags, ACTION_CMD, request_id, payload);
}

}  // namespace gvcp
