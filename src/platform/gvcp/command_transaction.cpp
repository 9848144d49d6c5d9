#include "platform/gvcp/command_transaction.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "platform/gvcp/address_text.h"
#include "platform/gvcp/gvcp_protocol.h"

namespace gvcp {

std::vector<uint8_t> build_command(uint8_t flags, uint16_t command, uint16_t request_id,
                                   const std::vector<uint8_t>& payload) {
    uint8_t header[kHeaderSize] = {};
    header[kCmdKeyOffset] = kKey;
    header[kCmdFlagsOffset] = flags;
    store_be16(header + kCmdCommandOffset, command);
    store_be16(header + kCmdLengthOffset, static_cast<uint16_t>(payload.size()));
    store_be16(header + kCmdReqIdOffset, request_id);
    std::vector<uint8_t> packet(kHeaderSize + payload.size());
    std::copy(header, header + kHeaderSize, packet.begin());
    if (!payload.empty()) {
        std::copy(payload.begin(), payload.end(), packet.begin() + static_cast<std::ptrdiff_t>(kHeaderSize));
    }
    return packet;
}

namespace {

constexpr size_t kReceiveCapacity = 2048;

// Looks at one datagram. Returns true when it ends the transaction.
bool judge_ack(const uint8_t* datagram, long size, uint16_t request_id, uint16_t expected_answer,
               size_t expected_payload_size, uint32_t source, TransactionResult* result) {
    if (size < static_cast<long>(kHeaderSize) || static_cast<size_t>(size) > kReceiveCapacity) {
        return false;
    }
    if (load_be16(datagram + kAckIdOffset) != request_id) {
        return false;  // a late ack of an earlier attempt or someone else's
    }
    const uint16_t status = load_be16(datagram + kAckStatusOffset);
    const uint16_t answer = load_be16(datagram + kAckAnswerOffset);
    const size_t length = load_be16(datagram + kAckLengthOffset);
    result->status = status;
    if (answer == PENDING_ACK) {
        return false;  // the device asks for patience; the time-out still bounds it
    }
    if (answer != expected_answer) {
        result->outcome = TransactionOutcome::kInvalidAnswer;
        result->detail = std::string("answer ") + command_name(answer) + " from " + format_ipv4(source);
        return true;
    }
    if (status != STATUS_SUCCESS) {
        result->outcome = TransactionOutcome::kDeviceError;
        result->detail = std::string("status ") + status_name(status) + " from " + format_ipv4(source);
        return true;
    }
    if (length != expected_payload_size || kHeaderSize + length != static_cast<size_t>(size)) {
        result->outcome = TransactionOutcome::kInvalidAnswer;
        char detail[64];
        std::snprintf(detail, sizeof detail, "ack of %ld bytes from ", size);
        result->detail = detail + format_ipv4(source);
        return true;
    }
    result->outcome = TransactionOutcome::kAcknowledged;
    result->payload.assign(datagram + kHeaderSize, datagram + kHeaderSize + length);
    return true;
}

}  // namespace

TransactionResult run_transaction(const std::vector<TransactionRoute>& routes, const std::vector<uint8_t>& command,
                                  uint16_t expected_answer, size_t expected_payload_size, int timeout_ms,
                                  int attempts) {
    TransactionResult result;
    if (command.size() < kHeaderSize) {
        result.outcome = TransactionOutcome::kSendFailed;
        result.detail = "command without header";
        return result;
    }
    const uint16_t request_id = load_be16(command.data() + kCmdReqIdOffset);
    DescriptorList fds;
    for (const TransactionRoute& route : routes) {
        fds.push_back(route.socket->fd());
    }
    for (int attempt = 0; attempt < attempts; ++attempt) {
        bool sent = false;
        std::string error;
        for (const TransactionRoute& route : routes) {
            for (uint32_t target : route.targets) {
                sent = route.socket->send_to(target, kPort, command.data(), command.size(), &error) || sent;
            }
        }
        if (!sent) {
            result.outcome = TransactionOutcome::kSendFailed;
            result.detail = error;
            return result;
        }
        const int64_t deadline = monotonic_ms() + timeout_ms;
        for (int64_t now = monotonic_ms(); now < deadline; now = monotonic_ms()) {
            if (!wait_readable(fds.data(), fds.size(), static_cast<int>(deadline - now))) {
                continue;
            }
            for (const TransactionRoute& route : routes) {
                uint8_t datagram[kReceiveCapacity];
                for (;;) {
                    uint32_t source = 0;
                    uint16_t port = 0;
                    const long size = route.socket->receive(datagram, sizeof datagram, &source, &port);
                    if (size < 0) {
                        break;
                    }
                    if (judge_ack(datagram, size, request_id, expected_answer, expected_payload_size, source,
                                  &result)) {
                        return result;
                    }
                }
                uint32_t refused = 0;
                while (route.socket->receive_error(&refused)) {
                    if (routes.size() == 1 && route.targets.size() == 1 && refused == route.targets.front()) {
                        result.outcome = TransactionOutcome::kUnreachable;
                        result.detail = "port unreachable at " + format_ipv4(refused);
                        return result;
                    }
                }
            }
        }
    }
    result.outcome = TransactionOutcome::kTimeout;
    result.detail = "no answer";
    return result;
}

}  // namespace gvcp
