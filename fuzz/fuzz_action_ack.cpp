// One ACTION_ACK datagram as it arrives from the network. The first input
// byte says whether the datagram is checked against the ack id it carries
// (so that the fuzzer reaches the status) or against a fixed one; the rest
// is the datagram, exactly sized. An accepted ack must be exactly a header
// of an ACTION_ACK for the request, and a refused one leaves the status
// untouched.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/gvcp/action_ack.h"
#include "wire/gvcp_packets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::vector<uint8_t> datagram(data + 1, data + size);
    const uint8_t* bytes = datagram.empty() ? nullptr : datagram.data();
    const gvcp::AckHeader header = gvcp::read_ack_header(bytes, datagram.size());
    const uint16_t request_id = (data[0] & 1) != 0 ? header.ack_id : 0x1234;

    uint16_t status = 0xBEEF;
    const gvcp::ActionAckVerdict verdict = gvcp::decode_action_ack(bytes, datagram.size(), request_id, &status);
    if (gvcp::action_ack_verdict_text(verdict) == nullptr) __builtin_trap();
    if (verdict != gvcp::ActionAckVerdict::kAccepted) {
        if (status != 0xBEEF) __builtin_trap();  // a refused datagram set the status
        return 0;
    }
    if (datagram.size() != gvcp::kHeaderSize || header.answer != gvcp::ACTION_ACK || header.length != 0 ||
        header.ack_id != request_id || status != header.status) {
        __builtin_trap();
    }
    // A null status or datagram is refused without a crash.
    gvcp::decode_action_ack(bytes, datagram.size(), request_id, nullptr);
    if (gvcp::decode_action_ack(nullptr, datagram.size(), request_id, &status) == gvcp::ActionAckVerdict::kAccepted) {
        __builtin_trap();
    }
    return 0;
}
