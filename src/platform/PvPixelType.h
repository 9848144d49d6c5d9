// Pixel types of the transport layer. The values are the GenICam pixel
// format codes, so conversion to and from the public orn_pixel_t codes is
// the identity on the types both sides know.
#pragma once

#include <cstdint>

enum PvPixelType : uint32_t {
    PvPixelUndefined = 0x00000000u,
    PvPixelMono8 = 0x01080001u,
    PvPixelMono12 = 0x01100005u,
    PvPixelMono16 = 0x01100007u,
    PvPixelConfidence8 = 0x010800C6u,
    PvPixelCoord3D_C16 = 0x011000B8u,
    PvPixelCoord3D_C32f = 0x012000BFu,
    PvPixelRGB8 = 0x02180014u,
    PvPixelRGBa8 = 0x02200016u,
    PvPixelRGB16 = 0x02300033u,
    PvPixelRGBa16 = 0x02400063u,
    PvPixelCoord3D_AC32f = 0x024000C2u,
    PvPixelCoord3D_ABC32f = 0x026000C0u,
};
