#include "xml_archive.h"

#include <zlib.h>

namespace ornsim {
namespace {

// Zip headers are little-endian.
void put16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}
void put32(std::vector<uint8_t>& out, uint32_t v) {
    put16(out, v & 0xFFFF);
    put16(out, v >> 16);
}

constexpr uint32_t kLocalHeaderSignature = 0x04034b50;
constexpr uint32_t kCentralHeaderSignature = 0x02014b50;
constexpr uint32_t kEndOfCentralDirectorySignature = 0x06054b50;
constexpr uint16_t kVersionNeeded = 20;
constexpr uint16_t kMethodDeflate = 8;

}  // namespace

bool zip_single_file(const std::string& file_name, const std::string& content, std::vector<uint8_t>* archive) {
    if (archive == nullptr) return false;
    archive->clear();
    if (content.size() > 0x7FFFFFFF || file_name.size() > 0xFFFF) return false;
    // Raw deflate stream (no zlib header), as zip stores it.
    z_stream z{};
    if (deflateInit2(&z, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) return false;
    std::vector<uint8_t> packed(deflateBound(&z, static_cast<uLong>(content.size())));
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    z.avail_in = static_cast<uInt>(content.size());
    z.next_out = packed.data();
    z.avail_out = static_cast<uInt>(packed.size());
    int result = deflate(&z, Z_FINISH);
    size_t packed_size = z.total_out;
    deflateEnd(&z);
    if (result != Z_STREAM_END) return false;
    packed.resize(packed_size);

    const uint32_t crc = static_cast<uint32_t>(
        crc32(0L, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())));
    const uint32_t size = static_cast<uint32_t>(content.size());
    const uint32_t csize = static_cast<uint32_t>(packed.size());
    std::vector<uint8_t>& out = *archive;

    put32(out, kLocalHeaderSignature);
    put16(out, kVersionNeeded);
    put16(out, 0);  // flags
    put16(out, kMethodDeflate);
    put16(out, 0);     // time
    put16(out, 0x21);  // date: 1980-01-01
    put32(out, crc);
    put32(out, csize);
    put32(out, size);
    put16(out, static_cast<uint32_t>(file_name.size()));
    put16(out, 0);  // extra
    out.insert(out.end(), file_name.begin(), file_name.end());
    out.insert(out.end(), packed.begin(), packed.end());

    const uint32_t central_offset = static_cast<uint32_t>(out.size());
    put32(out, kCentralHeaderSignature);
    put16(out, kVersionNeeded);  // made by
    put16(out, kVersionNeeded);
    put16(out, 0);
    put16(out, kMethodDeflate);
    put16(out, 0);
    put16(out, 0x21);
    put32(out, crc);
    put32(out, csize);
    put32(out, size);
    put16(out, static_cast<uint32_t>(file_name.size()));
    put16(out, 0);  // extra
    put16(out, 0);  // comment
    put16(out, 0);  // disk
    put16(out, 0);  // internal attributes
    put32(out, 0);  // external attributes
    put32(out, 0);  // local header offset
    out.insert(out.end(), file_name.begin(), file_name.end());
    const uint32_t central_size = static_cast<uint32_t>(out.size()) - central_offset;

    put32(out, kEndOfCentralDirectorySignature);
    put16(out, 0);
    put16(out, 0);
    put16(out, 1);
    put16(out, 1);
    put32(out, central_size);
    put32(out, central_offset);
    put16(out, 0);
    return true;
}

}  // namespace ornsim
