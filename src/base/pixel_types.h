// Conversion between the public pixel codes and the transport's pixel types.
#pragma once

#include "ORNBase.h"
#include "platform/PvPixelType.h"

// Identity on the codes both sides know; everything else maps to "undefined".
PvPixelType ORN_ConvertPixelTypeFromORN(orn_pixel_t pix);
orn_pixel_t ORN_ConvertPixelTypeToORN(PvPixelType pvpix);
