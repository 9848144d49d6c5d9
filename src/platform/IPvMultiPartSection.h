// One part of a received multipart frame. Points into the buffer's
// memory, with the same lifetime as the buffer's IPvImage.
#pragma once

#include <cstdint>

#include "platform/IPvImage.h"
#include "platform/PvPixelType.h"

// What a part carries (the stream protocol's part data types).
enum PvMultiPartDataType : uint32_t {
    PvMultiPartInvalid = 0x0000,
    PvMultiPart2DImage = 0x0001,
    PvMultiPart2DPlaneBiplanar = 0x0002,
    PvMultiPart2DPlaneTriplanar = 0x0003,
    PvMultiPart2DPlaneQuadplanar = 0x0004,
    PvMultiPart3DImage = 0x0005,
    PvMultiPart3DPlaneBiplanar = 0x0006,
    PvMultiPart3DPlaneTriplanar = 0x0007,
    PvMultiPart3DPlaneQuadplanar = 0x0008,
    PvMultiPartConfidenceMap = 0x0009,
    PvMultiPartChunkData = 0x000A,
    PvMultiPartJPEG = 0x000B,
    PvMultiPartJPEG2000 = 0x000C,
};

class IPvMultiPartSection {
public:
    virtual ~IPvMultiPartSection() = default;

    // The part as an image; null when the part carries no image (chunk
    // data, compressed data).
    virtual IPvImage* GetImage() = 0;
    virtual PvMultiPartDataType GetDataType() const = 0;
    // Pixel type, geometry and data whatever the data type.
    virtual PvPixelType GetPixelType() const = 0;
    virtual uint32_t GetWidth() const = 0;
    virtual uint32_t GetHeight() const = 0;
    virtual uint8_t* GetDataPointer() = 0;
    virtual uint32_t GetSize() const = 0;
    // The part's data purpose id, which the device uses as the id of the
    // component (ComponentIDValue) the part carries.
    virtual uint32_t GetDataPurposeID() const = 0;
};
