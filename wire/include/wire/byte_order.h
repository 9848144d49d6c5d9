// Big-endian fields, as every multi-byte field of the control and stream
// protocols travels. load_* and store_* leave the bounds to the caller;
// read_* take the datagram's size and answer 0 for a field that does not
// fit in it, so that a short packet never makes a reader go past its end.
#pragma once

#include <cstddef>
#include <cstdint>

namespace wire {

constexpr uint16_t load_be16(const uint8_t* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }
constexpr uint32_t load_be32(const uint8_t* p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | static_cast<uint32_t>(p[3]);
}
constexpr uint64_t load_be48(const uint8_t* p) {
    return (static_cast<uint64_t>(load_be16(p)) << 32) | load_be32(p + 2);
}
constexpr uint64_t load_be64(const uint8_t* p) {
    return (static_cast<uint64_t>(load_be32(p)) << 32) | load_be32(p + 4);
}

inline void store_be16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v >> 8);
    p[1] = static_cast<uint8_t>(v);
}
inline void store_be32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v >> 24);
    p[1] = static_cast<uint8_t>(v >> 16);
    p[2] = static_cast<uint8_t>(v >> 8);
    p[3] = static_cast<uint8_t>(v);
}
inline void store_be48(uint8_t* p, uint64_t v) {
    store_be16(p, static_cast<uint16_t>(v >> 32));
    store_be32(p + 2, static_cast<uint32_t>(v));
}
inline void store_be64(uint8_t* p, uint64_t v) {
    store_be32(p, static_cast<uint32_t>(v >> 32));
    store_be32(p + 4, static_cast<uint32_t>(v));
}

// True when `width` bytes at `offset` lie inside a datagram of `size` bytes.
constexpr bool fits(size_t size, size_t offset, size_t width) { return offset <= size && width <= size - offset; }

constexpr uint8_t read_u8(const uint8_t* d, size_t size, size_t offset) {
    return d != nullptr && fits(size, offset, 1) ? d[offset] : 0;
}
constexpr uint16_t read_be16(const uint8_t* d, size_t size, size_t offset) {
    return d != nullptr && fits(size, offset, 2) ? load_be16(d + offset) : 0;
}
constexpr uint32_t read_be32(const uint8_t* d, size_t size, size_t offset) {
    return d != nullptr && fits(size, offset, 4) ? load_be32(d + offset) : 0;
}
constexpr uint64_t read_be64(const uint8_t* d, size_t size, size_t offset) {
    return d != nullptr && fits(size, offset, 8) ? load_be64(d + offset) : 0;
}

}  // namespace wire
