// Validation of one ACTION_ACK datagram. An ACTION_ACK is a bare ack
// header: no payload. Its status says whether the device took the action
// (SUCCESS), took it at once because its time had passed (ACTION_LATE), or
// refused it (OVERFLOW when its queue of scheduled actions was full, ...).
#pragma once

#include <cstddef>
#include <cstdint>

namespace gvcp {

enum class ActionAckVerdict {
    kAccepted,        // a well-formed ACTION_ACK for the request; see its status
    kTooShort,        // smaller than an ack header
    kLengthMismatch,  // a payload announced or present
    kWrongAnswer,     // not an ACTION_ACK
    kWrongAckId,      // answers another request
};

const char* action_ack_verdict_text(ActionAckVerdict verdict);

// Checks `datagram` (as received, `size` bytes) against the request
// `request_id`. `status` (may be null) receives the ack's status only when
// the result is kAccepted.
ActionAckVerdict decode_action_ack(const uint8_t* datagram, size_t size, uint16_t request_id, uint16_t* status);

// True for the statuses that say the device took the action.
bool action_taken(uint16_t status);

}  // namespace gvcp
