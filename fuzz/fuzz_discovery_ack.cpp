// One DISCOVERY_ACK datagram as it arrives from the network. The first
// input byte says whether the datagram is checked against the request id
// and sender address it claims (so that the fuzzer gets past those checks
// and reaches the text fields) or against fixed ones; the rest is the
// datagram, exactly sized. An accepted ack must hold only what the checks
// promise: texts that fit their slots and are clean UTF-8 without control
// characters, and the sender's address.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/gvcp/discovery_ack.h"
#include "wire/gvcp_layout.h"

namespace {

// Printable UTF-8: no control characters, well-formed sequences only.
bool clean_text(const std::string& text, size_t slot) {
    if (text.size() >= slot) return false;
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c == 0x7F) return false;
        size_t length = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
        if (length == 0 || i + length > text.size()) return false;
        for (size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
        }
        i += length;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t mode = data[0];
    const std::vector<uint8_t> datagram(data + 1, data + size);
    const uint8_t* bytes = datagram.empty() ? nullptr : datagram.data();
    const uint8_t* payload = bytes != nullptr ? bytes + gvcp::kHeaderSize : nullptr;

    uint16_t request_id = 0x1234;
    if ((mode & 1) != 0 && datagram.size() >= gvcp::kHeaderSize) {
        request_id = wire::load_be16(bytes + gvcp::kAckIdOffset);
    }
    uint32_t source = 0x7F000002;
    if ((mode & 2) != 0 && datagram.size() >= gvcp::kHeaderSize + gvcp::kDiscoveryCurrentIpOffset + 4) {
        source = wire::load_be32(payload + gvcp::kDiscoveryCurrentIpOffset);
    }

    gvcp::DeviceIdentity identity;
    identity.model = "untouched";
    const gvcp::AckVerdict verdict = gvcp::decode_discovery_ack(bytes, datagram.size(), request_id, source, &identity);
    if (gvcp::ack_verdict_text(verdict) == nullptr) __builtin_trap();
    if (verdict != gvcp::AckVerdict::kAccepted) {
        if (identity.model != "untouched") __builtin_trap();  // a refused ack filled the output
        return 0;
    }
    if (identity.ip_address != source) __builtin_trap();
    if (!clean_text(identity.manufacturer, gvcp::MANUFACTURER_NAME_SIZE) ||
        !clean_text(identity.model, gvcp::MODEL_NAME_SIZE) ||
        !clean_text(identity.device_version, gvcp::DEVICE_VERSION_SIZE) ||
        !clean_text(identity.manufacturer_info, gvcp::MANUFACTURER_INFO_SIZE) ||
        !clean_text(identity.serial_number, gvcp::SERIAL_NUMBER_SIZE) ||
        !clean_text(identity.user_name, gvcp::USER_DEFINED_NAME_SIZE)) {
        __builtin_trap();
    }
    // A null output or datagram is refused without a crash.
    gvcp::decode_discovery_ack(bytes, datagram.size(), request_id, source, nullptr);
    gvcp::decode_discovery_ack(nullptr, datagram.size(), request_id, source, &identity);
    return 0;
}
