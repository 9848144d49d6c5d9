#include "wire/zip_writer.h"

#include <zlib.h>

#include <vector>

namespace wire {
namespace {

// Record signatures and the fixed fields of a deflated entry. Zip headers
// are little-endian.
constexpr uint32_t kLocalHeaderSignature = 0x04034b50;
constexpr uint32_t kCentralHeaderSignature = 0x02014b50;
constexpr uint32_t kEndOfCentralDirectorySignature = 0x06054b50;
constexpr uint16_t kVersionNeeded = 20;
constexpr uint16_t kMethodDeflate = 8;
constexpr uint16_t kDosTimeMidnight = 0;
constexpr uint16_t kDosDate1980 = 0x21;  // 1980-01-01

void put16(std::string& out, uint32_t v) {
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>((v >> 8) & 0xFF));
}
void put32(std::string& out, uint32_t v) {
    put16(out, v & 0xFFFF);
    put16(out, v >> 16);
}

// Raw deflate stream (no zlib header), as zip stores it. False on failure.
bool deflate_raw(const std::string& content, std::string* packed) {
    z_stream z{};
    if (deflateInit2(&z, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) return false;
    std::vector<Bytef> out(deflateBound(&z, static_cast<uLong>(content.size())));
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    z.avail_in = static_cast<uInt>(content.size());
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&z, Z_FINISH);
    const size_t packed_size = z.total_out;
    deflateEnd(&z);
    if (result != Z_STREAM_END) return false;
    packed->assign(reinterpret_cast<const char*>(out.data()), packed_size);
    return true;
}

// The fields a local header and a central directory record share, from
// "version needed" to the name length.
void put_entry_fields(std::string& out, uint32_t crc, uint32_t packed_size, uint32_t size, uint32_t name_size) {
    put16(out, kVersionNeeded);
    put16(out, 0);  // flags
    put16(out, kMethodDeflate);
    put16(out, kDosTimeMidnight);
    put16(out, kDosDate1980);
    put32(out, crc);
    put32(out, packed_size);
    put32(out, size);
    put16(out, name_size);
    put16(out, 0);  // extra field length
}

}  // namespace

std::string zip_single_file(const std::string& entry_name, const std::string& content) {
    if (entry_name.empty() || entry_name.size() > 0xFFFF || content.size() > 0x7FFFFFFF) return {};
    std::string packed;
    if (!deflate_raw(content, &packed)) return {};
    const uint32_t crc = static_cast<uint32_t>(
        crc32(0L, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())));
    const uint32_t size = static_cast<uint32_t>(content.size());
    const uint32_t packed_size = static_cast<uint32_t>(packed.size());
    const uint32_t name_size = static_cast<uint32_t>(entry_name.size());

    std::string out;
    out.reserve(packed.size() + 2 * entry_name.size() + 128);
    put32(out, kLocalHeaderSignature);
    put_entry_fields(out, crc, packed_size, size, name_size);
    out += entry_name;
    out += packed;

    const uint32_t central_offset = static_cast<uint32_t>(out.size());
    put32(out, kCentralHeaderSignature);
    put16(out, kVersionNeeded);  // made by
    put_entry_fields(out, crc, packed_size, size, name_size);
    put16(out, 0);  // comment length
    put16(out, 0);  // disk number
    put16(out, 0);  // internal attributes
    put32(out, 0);  // external attributes
    put32(out, 0);  // local header offset
    out += entry_name;
    const uint32_t central_size = static_cast<uint32_t>(out.size()) - central_offset;

    put32(out, kEndOfCentralDirectorySignature);
    put16(out, 0);  // this disk
    put16(out, 0);  // disk with the central directory
    put16(out, 1);  // entries on this disk
    put16(out, 1);  // entries in total
    put32(out, central_size);
    put32(out, central_offset);
    put16(out, 0);  // comment length
    return out;
}

}  // namespace wire
