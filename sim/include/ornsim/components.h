// The sensor's data components: one fixed order and one set of ids shared by
// the GenICam file, the frames on the stream and the tests.
//
// Frames carry the enabled components in this order (Range, Intensity,
// Confidence), then a chunk part when chunks are active. Every part has
// source id 0 and region id 0.
#ifndef ORNSIM_COMPONENTS_H
#define ORNSIM_COMPONENTS_H

#include <cstddef>
#include <cstdint>

#include "wire/pixel_formats.h"

namespace ornsim {

enum class Component : uint32_t { Range = 0, Intensity = 1, Confidence = 2 };
constexpr size_t kComponentCount = 3;

// ComponentIDValue and the multipart data purpose id of each component.
constexpr uint32_t kRangeComponentId = 1;
constexpr uint32_t kIntensityComponentId = 2;
constexpr uint32_t kConfidenceComponentId = 3;

constexpr uint32_t component_id(Component c) {
    return c == Component::Range       ? kRangeComponentId
           : c == Component::Intensity ? kIntensityComponentId
                                       : kConfidenceComponentId;
}
constexpr const char* component_name(Component c) {
    return c == Component::Range ? "Range" : c == Component::Intensity ? "Intensity" : "Confidence";
}

constexpr uint32_t kSourceId = 0;
constexpr uint32_t kRegionId = 0;

// Chunk ids. Chunk payloads are little-endian.
//
// Chunk layout on the stream (GenICam chunk format, parsed from the end of the
// block): every chunk is its data followed by a tag (gvsp::kChunkTagSize
// bytes), chunk id then data length, both 32-bit big-endian. GvspFrame::chunk_data carries the
// non-image chunks in that form (timestamp, then frame id, each only when
// enabled). In single-image chunk mode the sender places the image's own
// trailer (kChunkIdImage, image size) right after the image data and before
// chunk_data; in multipart mode chunk_data is the trailing chunk part as is.
// The device's PayloadSize counts all of it.
constexpr uint32_t kChunkIdImage = 0x1000;      // the image itself in single-image chunk mode
constexpr uint32_t kChunkIdTimestamp = 0x1001;  // 8 bytes, device timestamp of the frame
constexpr uint32_t kChunkIdFrameId = 0x1002;    // 8 bytes, block id of the frame
constexpr size_t kChunkTimestampSize = 8;
constexpr size_t kChunkFrameIdSize = 8;

// The pixel formats the sensor produces.
using wire::kPixelFormatConfidence8;
using wire::kPixelFormatCoord3D_ABC32f;
using wire::kPixelFormatCoord3D_C16;
using wire::kPixelFormatMono8;

}  // namespace ornsim

#endif  // ORNSIM_COMPONENTS_H
