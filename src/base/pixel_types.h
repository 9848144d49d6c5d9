// Conversion from the wire's pixel format codes to the public pixel codes.
#pragma once

#include <cstdint>

#include "ORNBase.h"

// Identity on the codes the image records know; everything else is
// ORN_PIX_GENERIC.
orn_pixel_t ORN_ConvertPixelTypeToORN(uint32_t pixel_format);
