// One command/ack exchange over UDP: send, wait for the ack with the same
// id, resend after a time-out, a bounded number of times. Acks answering
// other requests are skipped; only a header that answers this request is
// handed back, checked for status, answer code and exact length.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/gvcp/address_list.h"
#include "wire/gvcp_packets.h"
#include "wire/udp_socket.h"

namespace gvcp {

enum class TransactionOutcome {
    kAcknowledged,   // success status, right answer and payload size
    kDeviceError,    // the device answered with an error status
    kInvalidAnswer,  // right id, but wrong answer code or size
    kTimeout,
    kUnreachable,  // the one address asked has nothing listening on the control port
    kSendFailed,
};

struct TransactionResult {
    TransactionOutcome outcome = TransactionOutcome::kTimeout;
    uint16_t status = 0;           // status of the ack, when one came
    std::vector<uint8_t> payload;  // ack payload on kAcknowledged
    std::string detail;            // what went wrong, for logs
};

// A socket and the addresses (host byte order, possibly broadcast) that the
// command is sent to through it.
struct TransactionRoute {
    wire::UdpSocket* socket = nullptr;
    AddressList targets;
};

// Sends `command` to every target of every route, `attempts` times at most,
// waiting `timeout_ms` for the ack each time; the first ack with the
// command's id on any route decides. It must carry `expected_answer` and
// exactly `expected_payload_size` bytes of payload.
TransactionResult run_transaction(const std::vector<TransactionRoute>& routes, const std::vector<uint8_t>& command,
                                  uint16_t expected_answer, size_t expected_payload_size, int timeout_ms, int attempts);

}  // namespace gvcp
