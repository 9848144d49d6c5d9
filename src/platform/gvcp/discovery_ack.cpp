#include "platform/gvcp/discovery_ack.h"

#include <cstring>

#include "wire/gvcp_packets.h"

namespace gvcp {

const char* ack_verdict_text(AckVerdict verdict) {
    switch (verdict) {
        case AckVerdict::kAccepted:
            return "accepted";
        case AckVerdict::kTooShort:
            return "too short";
        case AckVerdict::kLengthMismatch:
            return "length field disagrees with datagram size";
        case AckVerdict::kBadStatus:
            return "error status";
        case AckVerdict::kWrongAnswer:
            return "not a discovery ack";
        case AckVerdict::kWrongAckId:
            return "answers another request";
        case AckVerdict::kUnterminatedText:
            return "unterminated text field";
        case AckVerdict::kUnprintableText:
            return "control characters or broken UTF-8 in a text field";
        case AckVerdict::kAddressMismatch:
            return "reported address differs from the sender";
    }
    return "unknown";
}

namespace {

enum class TextCheck { kOk, kUnterminated, kUnprintable };

// Device texts are ASCII or UTF-8 (the device mode register says which;
// ASCII is a subset). Control characters and broken sequences would end up
// in logs and in the application's buffers, so they are refused.
bool is_clean_utf8(const uint8_t* text, size_t length) {
    size_t i = 0;
    while (i < length) {
        const uint8_t lead = text[i];
        size_t continuation = 0;
        uint32_t code = 0;
        if (lead < 0x80) {
            if (lead < 0x20 || lead == 0x7F) return false;
            ++i;
            continue;
        } else if (lead >= 0xC2 && lead <= 0xDF) {
            continuation = 1;
            code = lead & 0x1Fu;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            continuation = 2;
            code = lead & 0x0Fu;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            continuation = 3;
            code = lead & 0x07u;
        } else {
            return false;
        }
        if (length - i <= continuation) return false;
        for (size_t k = 1; k <= continuation; ++k) {
            if ((text[i + k] & 0xC0u) != 0x80u) return false;
            code = (code << 6) | (text[i + k] & 0x3Fu);
        }
        // Overlong forms, surrogates and values past Unicode.
        const uint32_t smallest[] = {0, 0x80, 0x800, 0x10000};
        if (code < smallest[continuation] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return false;
        if (code < 0xA0 && code >= 0x80) return false;  // C1 control characters
        i += continuation + 1;
    }
    return true;
}

// A text slot must hold its NUL inside the slot; what follows the NUL is
// padding and ignored.
TextCheck read_text(const uint8_t* payload, size_t offset, size_t slot, std::string* out) {
    const uint8_t* start = payload + offset;
    const void* nul = std::memchr(start, 0, slot);
    if (nul == nullptr) {
        return TextCheck::kUnterminated;
    }
    const size_t length = static_cast<size_t>(static_cast<const uint8_t*>(nul) - start);
    if (!is_clean_utf8(start, length)) {
        return TextCheck::kUnprintable;
    }
    out->assign(reinterpret_cast<const char*>(start), length);
    return TextCheck::kOk;
}

}  // namespace

AckVerdict decode_discovery_ack(const uint8_t* datagram, size_t size, uint16_t request_id, uint32_t source_address,
                                DeviceIdentity* identity) {
    if (datagram == nullptr || size < kHeaderSize + kDiscoveryAckPayloadSize) {
        return AckVerdict::kTooShort;
    }
    const AckHeader header = read_ack_header(datagram, size);
    if (header.answer != DISCOVERY_ACK) {
        return AckVerdict::kWrongAnswer;
    }
    if (header.status != STATUS_SUCCESS) {
        return AckVerdict::kBadStatus;
    }
    const size_t length = header.length;
    if (length < kDiscoveryAckPayloadSize || length > kMaxPayloadSize || kHeaderSize + length != size) {
        return AckVerdict::kLengthMismatch;
    }
    if (header.ack_id != request_id) {
        return AckVerdict::kWrongAckId;
    }

    const uint8_t* payload = datagram + kHeaderSize;
    DeviceIdentity decoded;
    struct TextField {
        size_t offset;
        size_t slot;
        std::string* target;
    };
    const TextField texts[] = {
        {kDiscoveryManufacturerOffset, MANUFACTURER_NAME_SIZE, &decoded.manufacturer},
        {kDiscoveryModelOffset, MODEL_NAME_SIZE, &decoded.model},
        {kDiscoveryDeviceVersionOffset, DEVICE_VERSION_SIZE, &decoded.device_version},
        {kDiscoveryManufacturerInfoOffset, MANUFACTURER_INFO_SIZE, &decoded.manufacturer_info},
        {kDiscoverySerialOffset, SERIAL_NUMBER_SIZE, &decoded.serial_number},
        {kDiscoveryUserNameOffset, USER_DEFINED_NAME_SIZE, &decoded.user_name},
    };
    for (const TextField& field : texts) {
        static_assert(kDiscoveryUserNameOffset + USER_DEFINED_NAME_SIZE <= kDiscoveryAckPayloadSize,
                      "every text slot lies inside the discovery payload");
        switch (read_text(payload, field.offset, field.slot, field.target)) {
            case TextCheck::kOk:
                break;
            case TextCheck::kUnterminated:
                return AckVerdict::kUnterminatedText;
            case TextCheck::kUnprintable:
                return AckVerdict::kUnprintableText;
        }
    }

    decoded.gev_version = wire::load_be32(payload + kDiscoveryVersionOffset);
    decoded.device_mode = wire::load_be32(payload + kDiscoveryDeviceModeOffset);
    std::memcpy(decoded.mac.data(), payload + kDiscoveryMacOffset, kDiscoveryMacSize);
    decoded.ip_config_supported = wire::load_be32(payload + kDiscoverySupportedIpConfigOffset);
    decoded.ip_config_current = wire::load_be32(payload + kDiscoveryCurrentIpConfigOffset);
    decoded.ip_address = wire::load_be32(payload + kDiscoveryCurrentIpOffset);
    decoded.subnet_mask = wire::load_be32(payload + kDiscoveryCurrentMaskOffset);
    decoded.default_gateway = wire::load_be32(payload + kDiscoveryCurrentGatewayOffset);
    // A device answers from its current address; an ack that names another
    // one would send every later command to the wrong place.
    if (decoded.ip_address != source_address) {
        return AckVerdict::kAddressMismatch;
    }
    if (identity != nullptr) {
        *identity = std::move(decoded);
    }
    return AckVerdict::kAccepted;
}

}  // namespace gvcp
