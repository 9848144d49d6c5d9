#include "platform/gvcp/command_transaction.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "wire/address_text.h"
#include "wire/gvcp_packets.h"

namespace gvcp {

namespace {

constexpr size_t kReceiveCapacity = 2048;

// Looks at one datagram. Returns true when it ends the transaction.
bool judge_ack(const uint8_t* datagram, long size, uint16_t request_id, uint16_t expected_answer,
               size_t expected_payload_size, uint32_t source, TransactionResult* result) {
    if (size < static_cast<long>(kHeaderSize) || static_cast<size_t>(size) > kReceiveCapacity) {
        return false;
    }
    const AckHeader ack = read_ack_header(datagram, static_cast<size_t>(size));
    if (ack.ack_id != request_id) {
        return false;  // a late ack of an earlier attempt or someone else's
    }
    const uint16_t status = ack.status;
    const uint16_t answer = ack.answer;
    const size_t length = ack.length;
    result->status = status;
    if (answer == PENDING_ACK) {
        return false;  // the device asks for patience; the time-out still bounds it
    }
    if (answer != expected_answer) {
        result->outcome = TransactionOutcome::kInvalidAnswer;
        result->detail =
            std::string("answer ") + command_name(static_cast<Command>(answer)) + " from " + wire::format_ipv4(source);
        return true;
    }
    if (status != STATUS_SUCCESS) {
        result->outcome = TransactionOutcome::kDeviceError;
        result->detail =
            std::string("status ") + status_name(static_cast<Status>(status)) + " from " + wire::format_ipv4(source);
        return true;
    }
    if (length != expected_payload_size || kHeaderSize + length != static_cast<size_t>(size)) {
        result->outcome = TransactionOutcome::kInvalidAnswer;
        char detail[64];
        std::snprintf(detail, sizeof detail, "ack of %ld bytes from ", size);
        result->detail = detail + wire::format_ipv4(source);
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
    const uint16_t request_id = read_command_header(command.data(), command.size()).request_id;
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
        const int64_t deadline = wire::monotonic_ms() + timeout_ms;
        for (int64_t now = wire::monotonic_ms(); now < deadline; now = wire::monotonic_ms()) {
            if (!wire::wait_readable(fds.data(), fds.size(), static_cast<int>(deadline - now))) {
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
                        result.detail = "port unreachable at " + wire::format_ipv4(refused);
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
