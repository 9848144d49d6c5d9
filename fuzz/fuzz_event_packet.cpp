// One datagram on the host end of the message channel, as a device (or
// anyone who can reach the port) sends it: EVENT and EVENTDATA commands
// with legacy or extended ids, one or many entries. A datagram that
// parses must describe only bytes that were sent: every event's data fits
// the protocol's limit and, summed, the datagram; its acknowledge is a
// well-formed header.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/gvcp/message_channel.h"
#include "wire/gvcp_packets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<uint8_t> datagram(data, data + size);  // exact size: overreads are caught
    gvcp::EventCommand command;
    std::string reason;
    const bool parsed =
        gvcp::parse_event_command(datagram.empty() ? nullptr : datagram.data(), datagram.size(), &command, &reason);
    if (!parsed) {
        if (reason.empty()) __builtin_trap();  // a drop always says why
        return 0;
    }
    if (command.command != gvcp::EVENT_CMD && command.command != gvcp::EVENTDATA_CMD) __builtin_trap();
    size_t carried = 0;
    for (const gvcp::EventWithData& event : command.events) {
        if (event.data.size() > gvcp::kEventDataMaxSize) __builtin_trap();
        if (command.command == gvcp::EVENT_CMD && !event.data.empty()) __builtin_trap();
        carried += event.data.size();
    }
    if (carried > size) __builtin_trap();
    const std::vector<uint8_t> ack =
        gvcp::build_ack(gvcp::STATUS_SUCCESS, gvcp::ack_for(command.command), command.request_id);
    if (ack.size() < gvcp::kHeaderSize) __builtin_trap();
    if (wire::load_be16(ack.data() + gvcp::kAckLengthOffset) != ack.size() - gvcp::kHeaderSize) __builtin_trap();
    if (wire::load_be16(ack.data() + gvcp::kAckIdOffset) != command.request_id) __builtin_trap();
    return 0;
}
