#include "gvcp_handler.h"

#include <algorithm>
#include <cstring>

#include "wire/gvcp_packets.h"

namespace ornsim {

GvcpHandler::GvcpHandler(DeviceModel& model, DeviceActions& actions) : model_(model), actions_(actions) {}

std::vector<uint8_t> GvcpHandler::ack(uint16_t status, uint16_t answer, uint16_t req_id, const uint8_t* payload,
                                      size_t size) {
    if (status != gvcp::STATUS_SUCCESS) ++counters_.errors;
    return gvcp::build_ack(status, answer, req_id, payload, size);
}

void GvcpHandler::lose_control() {
    privilege_.release();
    model_.set_privilege_register(0);
    model_.reset_channels();
    actions_.control_lost();
}

void GvcpHandler::check_heartbeat(Clock::time_point now) {
    if (!privilege_.has_controller() || model_.heartbeat_disabled()) return;
    if (privilege_.expire(now, model_.heartbeat_timeout_ms())) lose_control();
}

std::vector<uint8_t> GvcpHandler::handle(const uint8_t* data, size_t size, const PeerAddress& peer,
                                         Clock::time_point now) {
    check_heartbeat(now);
    // Too short to carry a request id, or not a command: nothing to answer.
    const gvcp::CommandHeader header = gvcp::read_command_header(data, size);
    if (header.key != gvcp::kKey) {
        ++counters_.errors;
        return {};
    }
    const uint8_t flags = header.flags;
    const uint16_t command = header.command;
    const uint16_t length = header.length;
    const uint16_t req_id = header.request_id;
    const bool ack_required = (flags & gvcp::kFlagAckRequired) != 0 || command == gvcp::DISCOVERY_CMD;
    const uint16_t answer = gvcp::ack_for(command);
    const uint8_t* payload = data + gvcp::kHeaderSize;
    const size_t available = size - gvcp::kHeaderSize;

    if (length > available || length > gvcp::kMaxPayloadSize || (req_id == 0 && command != gvcp::DISCOVERY_CMD)) {
        if (!ack_required) {
            ++counters_.errors;
            return {};
        }
        return ack(gvcp::STATUS_INVALID_HEADER, answer, req_id, nullptr, 0);
    }
    ++counters_.commands;
    privilege_.touch(peer, now);

    std::vector<uint8_t> reply;
    switch (command) {
        case gvcp::DISCOVERY_CMD:
            reply = on_discovery(req_id);
            break;
        case gvcp::FORCEIP_CMD:
            reply = on_force_ip(payload, length, req_id, peer);
            break;
        case gvcp::READREG_CMD:
            reply = on_read_register(payload, length, req_id, peer);
            break;
        case gvcp::WRITEREG_CMD:
            reply = on_write_register(payload, length, req_id, peer, now);
            break;
        case gvcp::READMEM_CMD:
            reply = on_read_memory(payload, length, req_id, peer);
            break;
        case gvcp::WRITEMEM_CMD:
            reply = on_write_memory(payload, length, req_id, peer, now);
            break;
        case gvcp::ACTION_CMD:
            reply = on_action(payload, length, flags, req_id);
            break;
        case gvcp::PACKETRESEND_CMD:
            on_packet_resend(payload, length, flags);
            return {};  // answered on the stream channel
        default:
            reply = ack(gvcp::STATUS_NOT_IMPLEMENTED, answer, req_id, nullptr, 0);
            break;
    }
    if (!ack_required) return {};
    return reply;
}

std::vector<uint8_t> GvcpHandler::on_discovery(uint16_t req_id) {
    return gvcp::build_discovery_ack(req_id, model_.discovery_block());
}

std::vector<uint8_t> GvcpHandler::on_force_ip(const uint8_t* p, size_t n, uint16_t req_id, const PeerAddress& peer) {
    gvcp::ForceIpRequest request;
    if (!gvcp::read_force_ip(p, n, &request))
        return ack(gvcp::STATUS_INVALID_PARAMETER, gvcp::FORCEIP_ACK, req_id, nullptr, 0);
    if (request.mac != model_.mac()) return {};  // another device's
    if (!privilege_.may_write(peer)) return ack(gvcp::STATUS_ACCESS_DENIED, gvcp::FORCEIP_ACK, req_id, nullptr, 0);
    const uint32_t ip = request.ip, mask = request.mask, gateway = request.gateway;
    // A zero address, a broadcast or multicast address cannot be a device address.
    if (ip == 0 || ip == 0xFFFFFFFFu || (ip >> 28) == 0xE)
        return ack(gvcp::STATUS_INVALID_PARAMETER, gvcp::FORCEIP_ACK, req_id, nullptr, 0);
    if (!actions_.force_ip(ip, mask, gateway))
        return ack(gvcp::STATUS_LOCAL_PROBLEM, gvcp::FORCEIP_ACK, req_id, nullptr, 0);
    model_.set_current_ip(ip, mask, gateway);
    return ack(gvcp::STATUS_SUCCESS, gvcp::FORCEIP_ACK, req_id, nullptr, 0);
}

std::vector<uint8_t> GvcpHandler::on_read_register(const uint8_t* p, size_t n, uint16_t req_id,
                                                   const PeerAddress& peer) {
    if (n == 0 || n % 4 != 0) return ack(gvcp::STATUS_INVALID_PARAMETER, gvcp::READREG_ACK, req_id, nullptr, 0);
    if (!privilege_.may_read(peer)) return ack(gvcp::STATUS_ACCESS_DENIED, gvcp::READREG_ACK, req_id, nullptr, 0);
    std::vector<uint8_t> values;
    values.reserve(n);
    uint16_t status = gvcp::STATUS_SUCCESS;
    for (size_t i = 0; i < n; i += 4) {
        uint32_t address = wire::load_be32(p + i);
        uint8_t word[4];
        status = model_.read(address, word, sizeof word);
        if (status != gvcp::STATUS_SUCCESS) break;
        values.insert(values.end(), word, word + 4);
    }
    return ack(status, gvcp::READREG_ACK, req_id, values.data(), values.size());
}

uint16_t GvcpHandler::write_word(uint32_t address, uint32_t value, const PeerAddress& peer, Clock::time_point now) {
    if (address == gvcp::REG_CCP) {
        bool had = privilege_.has_controller();
        uint16_t status = privilege_.write(peer, value, now);
        if (status == gvcp::STATUS_SUCCESS) {
            model_.set_privilege_register(privilege_.register_value());
            if (had && !privilege_.has_controller()) {
                model_.reset_channels();
                actions_.control_lost();
            }
        }
        return status;
    }
    if (!privilege_.may_write(peer)) return gvcp::STATUS_ACCESS_DENIED;
    uint8_t bytes[4];
    wire::store_be32(bytes, value);
    WriteEffects effects;
    uint16_t status = model_.write(address, bytes, sizeof bytes, &effects);
    if (status == gvcp::STATUS_SUCCESS) actions_.apply(effects);
    return status;
}

std::vector<uint8_t> GvcpHandler::on_write_register(const uint8_t* p, size_t n, uint16_t req_id,
                                                    const PeerAddress& peer, Clock::time_point now) {
    uint8_t index[gvcp::kWriteRegAckPayloadSize] = {};
    if (n == 0 || n % 8 != 0)
        return ack(gvcp::STATUS_INVALID_PARAMETER, gvcp::WRITEREG_ACK, req_id, index, sizeof index);
    uint16_t status = gvcp::STATUS_SUCCESS;
    uint16_t written = 0;
    for (size_t i = 0; i < n; i += 8) {
        status = write_word(wire::load_be32(p + i), wire::load_be32(p + i + 4), peer, now);
        if (status != gvcp::STATUS_SUCCESS) break;
        ++written;
    }
    wire::store_be16(index + gvcp::kWriteRegAckIndexOffset, written);
    return ack(status, gvcp::WRITEREG_ACK, req_id, index, sizeof index);
}

std::vector<uint8_t> GvcpHandler::on_read_memory(const uint8_t* p, size_t n, uint16_t req_id, const PeerAddress& peer) {
    if (n < gvcp::kReadMemCmdPayloadSize)
        return ack(gvcp::STATUS_INVALID_PARAMETER, gvcp::READMEM_ACK, req_id, nullptr, 0);
    uint32_t address = wire::load_be32(p + gvcp::kReadMemAddressOffset);
    uint16_t count = wire::load_be16(p + gvcp::kReadMemCountOffset);
    uint8_t address_bytes[4];
    wire::store_be32(address_bytes, address);
    if (!privilege_.may_read(peer)) return ack(gvcp::STATUS_ACCESS_DENIED, gvcp::READMEM_ACK, req_id, address_bytes, 4);
    if (count == 0 || count > gvcp::kMaxReadMemSize)
        return ack(gvcp::STATUS_INVALID_PARAMETER, gvcp::READMEM_ACK, req_id, address_bytes, 4);
    std::vector<uint8_t> out(gvcp::kReadMemAckDataOffset + count);
    std::memcpy(out.data(), address_bytes, 4);
    uint16_t status = model_.read(address, out.data() + gvcp::kReadMemAckDataOffset, count);
    if (status != gvcp::STATUS_SUCCESS) return ack(status, gvcp::READMEM_ACK, req_id, address_bytes, 4);
    if (address <= gvcp::REG_CCP && uint64_t{address} + count >= uint64_t{gvcp::REG_CCP} + 4)
        wire::store_be32(out.data() + gvcp::kReadMemAckDataOffset + (gvcp::REG_CCP - address),
                         privilege_.register_value());
    return ack(gvcp::STATUS_SUCCESS, gvcp::READMEM_ACK, req_id, out.data(), out.size());
}

std::vector<uint8_t> GvcpHandler::on_write_memory(const uint8_t* p, size_t n, uint16_t req_id, const PeerAddress& peer,
                                                  Clock::time_point now) {
    uint8_t index[gvcp::kWriteMemAckPayloadSize] = {};
    if (n < gvcp::kWriteMemDataOffset + 4 || n - gvcp::kWriteMemDataOffset > gvcp::kMaxWriteMemSize)
        return ack(gvcp::STATUS_INVALID_PARAMETER, gvcp::WRITEMEM_ACK, req_id, index, sizeof index);
    uint32_t address = wire::load_be32(p + gvcp::kWriteMemAddressOffset);
    const uint8_t* bytes = p + gvcp::kWriteMemDataOffset;
    size_t count = n - gvcp::kWriteMemDataOffset;
    uint16_t status;
    if (address == gvcp::REG_CCP && count == 4) {
        status = write_word(address, wire::load_be32(bytes), peer, now);
    } else if (address <= gvcp::REG_CCP && uint64_t{address} + count > gvcp::REG_CCP) {
        status = gvcp::STATUS_INVALID_PARAMETER;  // the privilege is taken one register at a time
    } else if (!privilege_.may_write(peer)) {
        status = gvcp::STATUS_ACCESS_DENIED;
    } else {
        WriteEffects effects;
        status = model_.write(address, bytes, count, &effects);
        if (status == gvcp::STATUS_SUCCESS) actions_.apply(effects);
    }
    wire::store_be16(index + gvcp::kWriteMemAckIndexOffset,
                     status == gvcp::STATUS_SUCCESS ? static_cast<uint16_t>(count) : uint16_t{0});
    return ack(status, gvcp::WRITEMEM_ACK, req_id, index, sizeof index);
}

// An action is taken while an application controls the device, or at any
// time in unconditional mode, and only where its keys and mask match: other
// devices stay silent, as they do when the command is too short to tell.
// A scheduled action needs the synchronised clock; one whose time has passed
// fires at once. The late, overflow and no-clock answers are statuses of
// the extended set; without it the device answers ERROR.
std::vector<uint8_t> GvcpHandler::on_action(const uint8_t* p, size_t n, uint8_t flags, uint16_t req_id) {
    gvcp::ActionCommand action;
    if (!gvcp::read_action_command(flags, p, n, &action)) {
        ++counters_.errors;
        return {};
    }
    const uint32_t config = model_.gvcp_configuration();
    if (!privilege_.has_controller() && (config & gvcp::GVCP_CONFIG_UNCONDITIONAL_ACTION) == 0) return {};
    const uint32_t signals = model_.action_signals(action.device_key, action.group_key, action.group_mask);
    if (signals == 0) return {};
    const bool extended = (config & gvcp::GVCP_CONFIG_EXTENDED_STATUS_2_0) != 0;
    const auto answer = [&](uint16_t status) {
        return ack(extended || status == gvcp::STATUS_SUCCESS ? status : uint16_t{gvcp::STATUS_ERROR}, gvcp::ACTION_ACK,
                   req_id, nullptr, 0);
    };
    const uint64_t now = model_.timestamp_now();
    if (!action.action_time) {
        actions_.fire_actions(signals, now);
        return answer(gvcp::STATUS_SUCCESS);
    }
    if ((config & gvcp::GVCP_CONFIG_IEEE1588_ENABLE) == 0) return answer(gvcp::STATUS_NO_REF_TIME);
    if (*action.action_time <= now) {
        actions_.fire_actions(signals, now);
        return answer(gvcp::STATUS_ACTION_LATE);
    }
    if (!actions_.schedule_actions(signals, *action.action_time)) return answer(gvcp::STATUS_OVERFLOW);
    return answer(gvcp::STATUS_SUCCESS);
}

void GvcpHandler::on_packet_resend(const uint8_t* p, size_t n, uint8_t flags) {
    gvcp::ResendRequest request;
    if (!gvcp::read_resend_request(p, n, (flags & gvcp::kFlagExtendedIds) != 0, &request) ||
        request.stream_channel != 0 || request.first_packet > request.last_packet) {
        ++counters_.errors;
        return;
    }
    actions_.packet_resend(request.block_id, request.first_packet, request.last_packet);
}

}  // namespace ornsim
