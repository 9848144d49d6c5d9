// Pixel formats as they travel in stream leaders and the PixelFormat
// feature: the GenICam pixel format naming convention's 32-bit codes
// (bits 23..16 hold the bits per pixel).
#pragma once

#include <cstdint>

namespace wire {

constexpr uint32_t kPixelFormatUndefined = 0x00000000;
constexpr uint32_t kPixelFormatMono8 = 0x01080001;
constexpr uint32_t kPixelFormatMono12 = 0x01100005;
constexpr uint32_t kPixelFormatMono16 = 0x01100007;
constexpr uint32_t kPixelFormatConfidence8 = 0x010800C6;
constexpr uint32_t kPixelFormatCoord3D_C16 = 0x011000B8;
constexpr uint32_t kPixelFormatCoord3D_C32f = 0x012000BF;
constexpr uint32_t kPixelFormatRGB8 = 0x02180014;
constexpr uint32_t kPixelFormatRGBa8 = 0x02200016;
constexpr uint32_t kPixelFormatRGB16 = 0x02300033;
constexpr uint32_t kPixelFormatRGBa16 = 0x02400063;
constexpr uint32_t kPixelFormatCoord3D_AC32f = 0x024000C2;
constexpr uint32_t kPixelFormatCoord3D_ABC32f = 0x026000C0;

constexpr uint32_t kPixelFormatBitsMask = 0x00FF0000;
constexpr unsigned kPixelFormatBitsShift = 16;

// Effective bits per pixel of a format.
constexpr uint32_t pixel_format_bits(uint32_t format) {
    return (format & kPixelFormatBitsMask) >> kPixelFormatBitsShift;
}

}  // namespace wire
