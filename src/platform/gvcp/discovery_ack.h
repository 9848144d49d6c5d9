// Validation and decoding of one DISCOVERY_ACK datagram. Nothing in a
// datagram is trusted until every check has passed: size, header fields,
// the answered request, string termination and the reported address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "wire/address_text.h"

namespace gvcp {

// What a device reports about itself in its discovery ack.
struct DeviceIdentity {
    uint32_t gev_version = 0;  // major in the upper 16 bits, minor in the lower
    uint32_t device_mode = 0;
    wire::MacAddress mac{};
    uint32_t ip_config_supported = 0;  // IP_CONFIG_* bits
    uint32_t ip_config_current = 0;
    uint32_t ip_address = 0;  // host byte order
    uint32_t subnet_mask = 0;
    uint32_t default_gateway = 0;
    std::string manufacturer;
    std::string model;
    std::string device_version;
    std::string manufacturer_info;
    std::string serial_number;
    std::string user_name;
};

enum class AckVerdict {
    kAccepted,
    kTooShort,          // smaller than header + discovery payload
    kLengthMismatch,    // header length disagrees with the datagram size
    kBadStatus,         // status is not SUCCESS
    kWrongAnswer,       // not a DISCOVERY_ACK
    kWrongAckId,        // answers another request
    kUnterminatedText,  // a text field fills its whole slot without a NUL
    kUnprintableText,   // a text field holds control characters or broken UTF-8
    kAddressMismatch,   // the reported address is not the sender's
};

const char* ack_verdict_text(AckVerdict verdict);

// Checks `datagram` (as received, `size` bytes) against the request
// `request_id`, sent to a device that answered from `source_address`
// (host order). Fills `identity` only when the result is kAccepted.
AckVerdict decode_discovery_ack(const uint8_t* datagram, size_t size, uint16_t request_id, uint32_t source_address,
                                DeviceIdentity* identity);

}  // namespace gvcp
