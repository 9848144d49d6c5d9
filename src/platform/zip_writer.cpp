#include "platform/zip_writer.h"

#include <array>

namespace platform {

namespace {

// Record signatures and the fixed fields of a stored (method 0) entry.
constexpr uint32_t kLocalHeaderSignature = 0x04034b50;
constexpr uint32_t kCentralHeaderSignature = 0x02014b50;
constexpr uint32_t kEndOfCentralSignature = 0x06054b50;
constexpr uint16_t kVersionNeeded = 20;  // 2.0: plain files
constexpr uint16_t kMethodStored = 0;
constexpr uint16_t kDosDate1980 = 0x21;  // 1980-01-01: no meaningful time stamp
constexpr uint16_t kDosTimeMidnight = 0;

void put16(std::string& out, uint16_t value) {
    out.push_back(static_cast<char>(value & 0xFF));
    out.push_back(static_cast<char>(value >> 8));
}

void put32(std::string& out, uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        out.push_back(static_cast<char>((value >> shift) & 0xFF));
    }
}

const std::array<uint32_t, 256>& crc_table() {
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> entries{};
        for (uint32_t n = 0; n < 256; ++n) {
            uint32_t c = n;
            for (int k = 0; k < 8; ++k) {
                c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            }
            entries[n] = c;
        }
        return entries;
    }();
    return table;
}

}  // namespace

uint32_t zip_crc32(const void* data, size_t size) {
    const auto& table = crc_table();
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < size; ++i) {
        crc = table[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
    }
    return crc ^ 0xFFFFFFFFu;
}

std::string make_stored_zip(const std::string& entry_name, const std::string& content) {
    if (entry_name.empty() || entry_name.size() > 0xFFFF || content.size() >= 0xFFFF0000ull) {
        return {};
    }
    const uint32_t crc = zip_crc32(content.data(), content.size());
    const uint32_t size = static_cast<uint32_t>(content.size());
    const uint16_t name_length = static_cast<uint16_t>(entry_name.size());

    std::string out;
    out.reserve(content.size() + 2 * entry_name.size() + 128);
    put32(out, kLocalHeaderSignature);
    put16(out, kVersionNeeded);
    put16(out, 0);  // flags
    put16(out, kMethodStored);
    put16(out, kDosTimeMidnight);
    put16(out, kDosDate1980);
    put32(out, crc);
    put32(out, size);  // compressed
    put32(out, size);  // uncompressed
    put16(out, name_length);
    put16(out, 0);  // extra field length
    out += entry_name;
    out += content;

    const uint32_t central_offset = static_cast<uint32_t>(out.size());
    put32(out, kCentralHeaderSignature);
    put16(out, kVersionNeeded);  // made by
    put16(out, kVersionNeeded);
    put16(out, 0);
    put16(out, kMethodStored);
    put16(out, kDosTimeMidnight);
    put16(out, kDosDate1980);
    put32(out, crc);
    put32(out, size);
    put32(out, size);
    put16(out, name_length);
    put16(out, 0);  // extra
    put16(out, 0);  // comment
    put16(out, 0);  // disk number
    put16(out, 0);  // internal attributes
    put32(out, 0);  // external attributes
    put32(out, 0);  // local header offset
    out += entry_name;
    const uint32_t central_size = static_cast<uint32_t>(out.size()) - central_offset;

    put32(out, kEndOfCentralSignature);
    put16(out, 0);  // this disk
    put16(out, 0);  // disk with the central directory
    put16(out, 1);  // entries on this disk
    put16(out, 1);  // entries in total
    put32(out, central_size);
    put32(out, central_offset);
    put16(out, 0);  // comment length
    return out;
}

}  // namespace platform
