#include "platform/gvcp/action_ack.h"

#include "wire/gvcp_packets.h"

namespace gvcp {

const char* action_ack_verdict_text(ActionAckVerdict verdict) {
    // In the order of ActionAckVerdict.
    static const char* const kTexts[] = {"accepted", "too short",
                                         "carries a payload, or its length field disagrees with the datagram size",
                                         "not an action ack", "answers another request"};
    const size_t index = static_cast<size_t>(verdict);
    return index < sizeof kTexts / sizeof kTexts[0] ? kTexts[index] : "unknown";
}

ActionAckVerdict decode_action_ack(const uint8_t* datagram, size_t size, uint16_t request_id, uint16_t* status) {
    if (datagram == nullptr || size < kHeaderSize) return ActionAckVerdict::kTooShort;
    const AckHeader header = read_ack_header(datagram, size);
    if (size != kHeaderSize || header.length != 0) return ActionAckVerdict::kLengthMismatch;
    if (header.answer != ACTION_ACK) return ActionAckVerdict::kWrongAnswer;
    if (header.ack_id != request_id) return ActionAckVerdict::kWrongAckId;
    if (status != nullptr) *status = header.status;
    return ActionAckVerdict::kAccepted;
}

bool action_taken(uint16_t status) { return status == STATUS_SUCCESS || status == STATUS_ACTION_LATE; }

}  // namespace gvcp
