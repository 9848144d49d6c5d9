// Pixel formats as they travel in stream leaders and the PixelFormat
// feature: the GenICam pixel format naming convention's 32-bit codes
// (bits 23..16 hold the bits per pixel).
#pragma once

#include <cstdint>

namespace wire {

// Every format we know, by its name in the convention and its code; each
// becomes kPixelFormat<name>.
#define WIRE_PIXEL_FORMATS(X)    \
    X(Undefined, 0x00000000)     \
    X(Mono8, 0x01080001)         \
    X(Mono12, 0x01100005)        \
    X(Mono16, 0x01100007)        \
    X(Confidence8, 0x010800C6)   \
    X(Coord3D_C16, 0x011000B8)   \
    X(Coord3D_C32f, 0x012000BF)  \
    X(RGB8, 0x02180014)          \
    X(RGBa8, 0x02200016)         \
    X(RGB16, 0x02300033)         \
    X(RGBa16, 0x02400063)        \
    X(Coord3D_AC32f, 0x024000C2) \
    X(Coord3D_ABC32f, 0x026000C0)

#define WIRE_PIXEL_FORMAT_CONSTANT(name, code) constexpr uint32_t kPixelFormat##name = code;
WIRE_PIXEL_FORMATS(WIRE_PIXEL_FORMAT_CONSTANT)
#undef WIRE_PIXEL_FORMAT_CONSTANT

constexpr uint32_t kPixelFormatBitsMask = 0x00FF0000;
constexpr unsigned kPixelFormatBitsShift = 16;

// Effective bits per pixel of a format.
constexpr uint32_t pixel_format_bits(uint32_t format) {
    return (format & kPixelFormatBitsMask) >> kPixelFormatBitsShift;
}

}  // namespace wire
