#include "frame_builder.h"

#include <cstring>
#include <vector>

#include "ornsim/components.h"
#include "stream/chunk_writer.h"
#include "stream/scene.h"
#include "wire/gvsp_layout.h"

namespace ornsim {
namespace {

void store_le64(uint8_t* p, uint64_t v) {
    for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

GvspPart render_part(const AcquisitionSnapshot& s, Component component, uint64_t block_id) {
    SceneConfig scene{s.width, s.height, static_cast<float>(s.c16_scale), static_cast<float>(s.c16_offset)};
    const size_t pixels = size_t{s.width} * s.height;
    const uint32_t format = s.pixel_format[static_cast<size_t>(component)];
    GvspPart part{};
    part.pixel_format = format;
    part.width = s.width;
    part.height = s.height;
    part.source_id = kSourceId;
    part.region_id = kRegionId;
    part.data_purpose_id = component_id(component);
    switch (component) {
        case Component::Range:
            part.data_type = gvsp::PART_3D_IMAGE;
            // Rendered in typed buffers, then copied as bytes (host order = the
            // little-endian order of the pixel formats).
            if (format == kPixelFormatCoord3D_C16) {
                std::vector<uint16_t> z(pixels);
                render_range_c16(scene, block_id, z.data());
                part.data.resize(pixels * sizeof(uint16_t));
                std::memcpy(part.data.data(), z.data(), part.data.size());
            } else {
                std::vector<float> xyz(pixels * 3);
                render_range_abc32f(scene, block_id, xyz.data());
                part.data.resize(xyz.size() * sizeof(float));
                std::memcpy(part.data.data(), xyz.data(), part.data.size());
            }
            break;
        case Component::Intensity:
            part.data_type = gvsp::PART_2D_IMAGE;
            part.data.resize(pixels);
            render_intensity8(scene, block_id, part.data.data());
            break;
        case Component::Confidence:
            part.data_type = gvsp::PART_CONFIDENCE_MAP;
            part.data.resize(pixels);
            render_confidence8(scene, block_id, part.data.data());
            break;
    }
    return part;
}

}  // namespace

bool build_frame(const AcquisitionSnapshot& s, uint64_t block_id, uint64_t timestamp, GvspFrame* frame) {
    if (frame == nullptr) return false;
    frame->block_id = block_id;
    frame->timestamp = timestamp;
    frame->multipart = s.multipart;
    frame->parts.clear();
    frame->chunk_data.clear();
    for (size_t c = 0; c < kComponentCount; ++c) {
        if (!s.component_enabled[c]) continue;
        frame->parts.push_back(render_part(s, static_cast<Component>(c), block_id));
        if (!s.multipart) break;  // single image: the first enabled component
    }
    if (frame->parts.empty()) return false;
    if (s.chunk_mode) {
        uint8_t value[8];
        if (s.chunk_timestamp) {
            store_le64(value, timestamp);
            append_chunk(frame->chunk_data, kChunkIdTimestamp, value, sizeof value);
        }
        if (s.chunk_frame_id) {
            store_le64(value, block_id);
            append_chunk(frame->chunk_data, kChunkIdFrameId, value, sizeof value);
        }
    }
    return true;
}

}  // namespace ornsim
