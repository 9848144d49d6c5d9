// The image in a received buffer (a single image, or one part of a
// multipart frame). It points into the buffer's memory: valid until the
// buffer is queued again, reset, freed or deleted.
#pragma once

#include <cstdint>

#include "platform/PvPixelType.h"

class IPvImage {
public:
    virtual ~IPvImage() = default;

    // First byte of the pixel data; null when the buffer holds no image.
    virtual uint8_t* GetDataPointer() = 0;
    virtual const uint8_t* GetDataPointer() const = 0;
    virtual uint32_t GetWidth() const = 0;
    virtual uint32_t GetHeight() const = 0;
    virtual PvPixelType GetPixelType() const = 0;
    // Bytes of pixel data received for this image.
    virtual uint32_t GetImageSize() const = 0;
    virtual uint32_t GetOffsetX() const = 0;
    virtual uint32_t GetOffsetY() const = 0;
};
