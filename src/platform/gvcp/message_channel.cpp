#include "platform/gvcp/message_channel.h"

#include <algorithm>

#include "wire/byte_order.h"
#include "wire/gvcp_packets.h"

namespace gvcp {

namespace {

// How many request ids are remembered to recognise resends: a device
// resends a command only a few times before it moves on.
constexpr size_t kRememberedRequests = 64;
// Largest datagram read; a longer one is cut and then rejected by its
// length field.
constexpr size_t kReceiveCapacity = 2048;

}  // namespace

bool parse_event_command(const uint8_t* datagram, size_t size, EventCommand* command, std::string* reason) {
    auto reject = [reason](const std::string& why) {
        if (reason != nullptr) {
            *reason = why;
        }
        return false;
    };
    if (datagram == nullptr || command == nullptr) {
        return reject("no datagram");
    }
    if (size < kHeaderSize) {
        return reject("shorter than a header (" + std::to_string(size) + " bytes)");
    }
    const CommandHeader header = read_command_header(datagram, size);
    if (header.key != kKey) {
        return reject("no command key");
    }
    const uint8_t flags = header.flags;
    const uint16_t code = header.command;
    const uint16_t length = header.length;
    const uint16_t request_id = header.request_id;
    if (code != EVENT_CMD && code != EVENTDATA_CMD) {
        return reject(std::string("not an event command: ") + command_name(static_cast<Command>(code)));
    }
    if (length != size - kHeaderSize) {
        return reject("length field " + std::to_string(length) + " for a payload of " +
                      std::to_string(size - kHeaderSize) + " bytes");
    }
    if (request_id == 0) {
        return reject("request id 0");
    }
    const bool extended = (flags & kFlagExtendedIds) != 0;
    const size_t entry_size = event_entry_size(extended);
    const uint8_t* payload = datagram + kHeaderSize;
    EventCommand parsed;
    parsed.command = code;
    parsed.request_id = request_id;
    parsed.wants_ack = (flags & kFlagAckRequired) != 0;
    auto read_entry = [&](const uint8_t* entry) {
        return EventWithData{read_event_entry(entry, entry_size, extended), {}};
    };
    if (code == EVENT_CMD) {
        if (length == 0 || length % entry_size != 0) {
            return reject("EVENT_CMD payload of " + std::to_string(length) + " bytes is not a whole number of " +
                          std::to_string(entry_size) + "-byte events");
        }
        for (size_t offset = 0; offset < length; offset += entry_size) {
            parsed.events.push_back(read_entry(payload + offset));
        }
    } else if (length < entry_size) {
        return reject("EVENTDATA_CMD payload of " + std::to_string(length) + " bytes is shorter than its " +
                      std::to_string(entry_size) + "-byte header");
    } else if (!extended) {
        const size_t data_size = length - entry_size;
        if (data_size > kEventDataMaxSize) {
            return reject("EVENTDATA_CMD carries " + std::to_string(data_size) + " data bytes (at most " +
                          std::to_string(kEventDataMaxSize) + ")");
        }
        EventWithData event = read_entry(payload);
        event.data.assign(payload + entry_size, payload + length);
        parsed.events.push_back(std::move(event));
    } else {
        // Events back to back, each as long as its size says. One whose
        // size cannot be right ends the walk (the next one cannot be
        // found); one with too much data is stepped over. Either way the
        // command itself stays well-formed and is acknowledged.
        size_t offset = 0;
        while (offset < length) {
            const size_t left = length - offset;
            const size_t event_size = wire::read_be16(payload + offset, left, kEventExtendedSizeOffset);
            if (event_size < entry_size || event_size > left) {
                parsed.skipped.push_back("event at byte " + std::to_string(offset) + " has size " +
                                         std::to_string(event_size) + " with " + std::to_string(left) +
                                         " bytes left; the rest of the datagram is skipped");
                break;
            }
            if (event_size - entry_size > kEventDataMaxSize) {
                parsed.skipped.push_back("event at byte " + std::to_string(offset) + " carries " +
                                         std::to_string(event_size - entry_size) + " data bytes (at most " +
                                         std::to_string(kEventDataMaxSize) + ")");
            } else {
                EventWithData event = read_entry(payload + offset);
                event.data.assign(payload + offset + entry_size, payload + offset + event_size);
                parsed.events.push_back(std::move(event));
            }
            offset += event_size;
        }
    }
    *command = std::move(parsed);
    return true;
}

bool MessageChannel::open(uint32_t local_address, uint32_t device_address, std::string* error) {
    recent_ids_.clear();
    device_address_ = device_address;
    if (!socket_.open(local_address, 0, error)) {
        return false;
    }
    port_ = socket_.local_port();
    if (port_ == 0) {
        if (error != nullptr) {
            *error = "the message channel socket has no port";
        }
        socket_.close();
        return false;
    }
    return true;
}

bool MessageChannel::seen_before(uint16_t request_id) {
    if (std::find(recent_ids_.begin(), recent_ids_.end(), request_id) != recent_ids_.end()) {
        return true;
    }
    recent_ids_.push_back(request_id);
    if (recent_ids_.size() > kRememberedRequests) {
        recent_ids_.pop_front();
    }
    return false;
}

void MessageChannel::receive(std::vector<EventWithData>* events, std::vector<std::string>* rejected) {
    uint8_t datagram[kReceiveCapacity];
    for (;;) {
        uint32_t source = 0;
        uint16_t source_port = 0;
        const long received = socket_.receive(datagram, sizeof datagram, &source, &source_port);
        if (received < 0) {
            return;
        }
        EventCommand command;
        std::string reason;
        const size_t size = std::min(static_cast<size_t>(received), sizeof datagram);
        if (source != device_address_) {
            reason = "datagram from another host than the device";
        } else if (static_cast<size_t>(received) > sizeof datagram) {
            reason = "datagram of " + std::to_string(received) + " bytes is too long";
        }
        if (!reason.empty() || !parse_event_command(datagram, size, &command, &reason)) {
            ++dropped_;
            if (rejected != nullptr) {
                rejected->push_back(reason);
            }
            continue;
        }
        if (rejected != nullptr) {
            rejected->insert(rejected->end(), command.skipped.begin(), command.skipped.end());
        }
        if (command.wants_ack) {
            const std::vector<uint8_t> ack = build_ack(STATUS_SUCCESS, ack_for(command.command), command.request_id);
            if (socket_.send_to(source, source_port, ack.data(), ack.size(), nullptr)) {
                ++acknowledged_;
            }
        }
        if (seen_before(command.request_id) || events == nullptr) {
            continue;
        }
        for (EventWithData& event : command.events) {
            events->push_back(std::move(event));
        }
    }
}

}  // namespace gvcp
