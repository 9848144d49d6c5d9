// Pixel type codes known to the image records, with their sizes.
#include "base/pixel_types.h"

namespace {

struct PixelTypeInfo {
    orn_pixel_t code;
    int bytes_per_pixel;
};

// Only these codes are recognised; MONO32F and C32F share one code.
constexpr PixelTypeInfo kKnownPixelTypes[] = {
    {ORN_PIX_CONF8, 1},   {ORN_PIX_MONO8, 1}, {ORN_PIX_MONO16, 2}, {ORN_PIX_MONO32F, 4},
    {ORN_PIX_RGB8, 3},    {ORN_PIX_RGBA8, 4}, {ORN_PIX_RGB16, 6},  {ORN_PIX_RGBA16, 8},
    {ORN_PIX_ABC32F, 12}, {ORN_PIX_AC32F, 8}, {ORN_PIX_MONO12, 2},
};

const PixelTypeInfo* find_pixel_type(orn_pixel_t code) {
    if (code == ORN_PIX_GENERIC) return nullptr;
    for (const PixelTypeInfo& info : kKnownPixelTypes) {
        if (info.code == code) return &info;
    }
    return nullptr;
}

}  // namespace

extern "C" {

int ORNPixelTypeGetSize(orn_pixel_t type) {
    const PixelTypeInfo* info = find_pixel_type(type);
    return info != nullptr ? info->bytes_per_pixel : 0;
}

int ORN_GetPixelSize(orn_pixel_t pix) { return ORNPixelTypeGetSize(pix); }

}  // extern "C"

orn_pixel_t ORN_ConvertPixelTypeToORN(uint32_t pixel_format) {
    const orn_pixel_t code = static_cast<orn_pixel_t>(pixel_format);
    return find_pixel_type(code) != nullptr ? code : ORN_PIX_GENERIC;
}
