// Pixel types of the transport layer: the wire's pixel format codes, so
// conversion to and from the public orn_pixel_t codes is the identity on the
// types both sides know.
#pragma once

#include <cstdint>

#include "wire/pixel_formats.h"

// PvPixel<name> for every wire format.
enum PvPixelType : uint32_t {
#define PV_PIXEL_TYPE(name, code) PvPixel##name = code,
    WIRE_PIXEL_FORMATS(PV_PIXEL_TYPE)
#undef PV_PIXEL_TYPE
};
