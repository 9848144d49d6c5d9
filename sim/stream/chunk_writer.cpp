#include "chunk_writer.h"

#include <cstring>
#include <limits>

#include "wire/gvsp_layout.h"

namespace ornsim {

void write_chunk_tag(uint8_t* tag, uint32_t chunk_id, uint32_t length) {
    wire::store_be32(tag + gvsp::kChunkTagIdOffset, chunk_id);
    wire::store_be32(tag + gvsp::kChunkTagLengthOffset, length);
}

bool append_chunk(std::vector<uint8_t>& payload, uint32_t chunk_id, const void* data, size_t size) {
    if (data == nullptr && size != 0) return false;
    const size_t align = gvsp::kChunkAlignment;
    if (size > std::numeric_limits<uint32_t>::max() - (align - 1)) return false;
    const size_t padded = (size + align - 1) / align * align;
    const size_t start = payload.size();
    payload.resize(start + padded + gvsp::kChunkTagSize, 0);
    if (size != 0) std::memcpy(payload.data() + start, data, size);
    write_chunk_tag(payload.data() + start + padded, chunk_id, static_cast<uint32_t>(padded));
    return true;
}

}  // namespace ornsim
