// Building the chunk data that follows a payload in extended chunk mode.
//
// A chunk is its data, zero-padded to a multiple of 4 bytes, followed by an
// 8-byte big-endian tag: chunk id, then the (padded) data length. Readers find
// chunks by walking the tags backwards from the end of the payload, so chunks
// are simply appended one after another.
#ifndef ORNSIM_STREAM_CHUNK_WRITER_H
#define ORNSIM_STREAM_CHUNK_WRITER_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ornsim {

// Appends one chunk to `payload`. Returns false (and leaves `payload` as it
// was) when `data` is null with a non-zero size or the padded size does not
// fit the 32-bit length field.
bool append_chunk(std::vector<uint8_t>& payload, uint32_t chunk_id, const void* data, size_t size);

// The 8-byte tag that closes a chunk of `length` bytes.
void write_chunk_tag(uint8_t* tag, uint32_t chunk_id, uint32_t length);

}  // namespace ornsim

#endif  // ORNSIM_STREAM_CHUNK_WRITER_H
