// Pixel types of the transport layer: the wire's pixel format codes, so
// conversion to and from the public orn_pixel_t codes is the identity on the
// types both sides know.
#pragma once

#include <cstdint>

#include "wire/pixel_formats.h"

enum PvPixelType : uint32_t {
    PvPixelUndefined = wire::kPixelFormatUndefined,
    PvPixelMono8 = wire::kPixelFormatMono8,
    PvPixelMono12 = wire::kPixelFormatMono12,
    PvPixelMono16 = wire::kPixelFormatMono16,
    PvPixelConfidence8 = wire::kPixelFormatConfidence8,
    PvPixelCoord3D_C16 = wire::kPixelFormatCoord3D_C16,
    PvPixelCoord3D_C32f = wire::kPixelFormatCoord3D_C32f,
    PvPixelRGB8 = wire::kPixelFormatRGB8,
    PvPixelRGBa8 = wire::kPixelFormatRGBa8,
    PvPixelRGB16 = wire::kPixelFormatRGB16,
    PvPixelRGBa16 = wire::kPixelFormatRGBa16,
    PvPixelCoord3D_AC32f = wire::kPixelFormatCoord3D_AC32f,
    PvPixelCoord3D_ABC32f = wire::kPixelFormatCoord3D_ABC32f,
};
