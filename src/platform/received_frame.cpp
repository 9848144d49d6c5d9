#include "platform/received_frame.h"

#include <arv.h>

#include <string>

#include "wire/byte_order.h"
#include "wire/gvsp_layout.h"
#include "wire/pixel_formats.h"

namespace platform {

namespace {

PvResult status_result(ArvBufferStatus status) {
    switch (status) {
        case ARV_BUFFER_STATUS_SUCCESS:
            return PvResult::OK;
        case ARV_BUFFER_STATUS_ABORTED:
            return PvResult::ABORTED;
        case ARV_BUFFER_STATUS_MISSING_PACKETS:
            return PvResult(PvResult::NETWORK_ERROR, "packets missing after resends");
        case ARV_BUFFER_STATUS_TIMEOUT:
            return PvResult(PvResult::NETWORK_ERROR, "the frame did not complete in time");
        case ARV_BUFFER_STATUS_WRONG_PACKET_ID:
            return PvResult(PvResult::NETWORK_ERROR, "packet ids out of sequence");
        case ARV_BUFFER_STATUS_SIZE_MISMATCH:
            return PvResult(PvResult::GENERIC_ERROR, "the frame does not fit the buffer");
        default:
            return PvResult(PvResult::GENERIC_ERROR,
                            "transfer not completed (status " + std::to_string(static_cast<int>(status)) + ")");
    }
}

bool is_image_part(uint32_t type) {
    switch (type) {
        case gvsp::PART_2D_IMAGE:
        case gvsp::PART_2D_PLANE_BIPLANAR:
        case gvsp::PART_2D_PLANE_TRIPLANAR:
        case gvsp::PART_2D_PLANE_QUADPLANAR:
        case gvsp::PART_3D_IMAGE:
        case gvsp::PART_3D_PLANE_BIPLANAR:
        case gvsp::PART_3D_PLANE_TRIPLANAR:
        case gvsp::PART_3D_PLANE_QUADPLANAR:
        case gvsp::PART_CONFIDENCE_MAP:
            return true;
        default:
            return false;
    }
}

uint32_t non_negative(gint value) { return value > 0 ? static_cast<uint32_t>(value) : 0; }

// Where a part's data lies in the memory; false when it lies outside
// [memory, memory + limit).
bool part_span(const TransferPart& part, uint32_t limit, uint32_t& offset, uint32_t& size) {
    if (part.offset == TransferPart::kOutside || part.offset > limit || part.size > limit - part.offset) {
        return false;
    }
    offset = static_cast<uint32_t>(part.offset);
    size = static_cast<uint32_t>(part.size);
    return true;
}

}  // namespace

void ReceivedImage::Set(uint8_t* data, uint32_t size, uint32_t width, uint32_t height, PvPixelType pixel_type,
                        uint32_t offset_x, uint32_t offset_y) {
    data_ = data;
    size_ = size;
    width_ = width;
    height_ = height;
    pixel_type_ = pixel_type;
    offset_x_ = offset_x;
    offset_y_ = offset_y;
}

uint64_t image_bytes(uint32_t width, uint32_t height, uint32_t pixel_type) {
    const uint64_t bits = wire::pixel_format_bits(pixel_type);
    return (static_cast<uint64_t>(width) * height * bits + 7) / 8;
}

uint32_t walk_chunks(const uint8_t* data, uint32_t size,
                     const std::function<bool(uint32_t, const uint8_t*, uint32_t)>& visit) {
    uint32_t count = 0;
    uint64_t end = size;  // the chunk chain ends here
    while (end >= gvsp::kChunkTagSize) {
        const uint8_t* tag = data + end - gvsp::kChunkTagSize;
        const uint32_t length = wire::load_be32(tag + gvsp::kChunkTagLengthOffset);
        const uint64_t chunk_size = static_cast<uint64_t>(length) + gvsp::kChunkTagSize;
        if (chunk_size > end) {
            break;
        }
        ++count;
        end -= chunk_size;
        if (!visit(wire::load_be32(tag + gvsp::kChunkTagIdOffset), data + end, length)) {
            break;
        }
    }
    return count;
}

void ReceivedFrame::AddChunks(const uint8_t* data, uint32_t size) {
    chunk_count_ += walk_chunks(data, size, [](uint32_t, const uint8_t*, uint32_t) { return true; });
    chunk_spans_.push_back({data, size});
}

bool ReceivedFrame::FindChunk(uint32_t chunk_id, const uint8_t*& data, uint32_t& size) const {
    // Spans lie in buffer order and each chain is walked from its end: the
    // first match of the last span that has one is the last chunk of the id.
    for (auto span = chunk_spans_.rbegin(); span != chunk_spans_.rend(); ++span) {
        bool found = false;
        walk_chunks(span->data, span->size, [&](uint32_t id, const uint8_t* chunk, uint32_t length) {
            found = id == chunk_id;
            if (found) {
                data = chunk;
                size = length;
            }
            return !found;
        });
        if (found) {
            return true;
        }
    }
    return false;
}

void ReceivedFrame::Clear() {
    valid_ = false;
    payload_type_ = PvPayloadTypeNone;
    payload_size_ = 0;
    chunk_count_ = 0;
    chunk_spans_.clear();
    block_id_ = 0;
    timestamp_ns_ = 0;
    wire_payload_type_ = 0;
    image_.Clear();
    parts_.clear();
}

TransferFacts read_aravis_transfer(ArvBuffer* wrapper, const uint8_t* memory) {
    TransferFacts facts;
    facts.status = status_result(arv_buffer_get_status(wrapper));
    const ArvBufferPayloadType type = arv_buffer_get_payload_type(wrapper);
    facts.payload_type = type > 0 ? static_cast<uint32_t>(type) : 0;
    facts.has_chunks = arv_buffer_has_chunks(wrapper);
    size_t received = 0;
    arv_buffer_get_data(wrapper, &received);
    facts.received_size = received;
    facts.block_id = arv_buffer_get_frame_id(wrapper);
    facts.timestamp_ns = arv_buffer_get_timestamp(wrapper);
    const guint count = arv_buffer_get_n_parts(wrapper);
    facts.parts.resize(count);
    for (guint i = 0; i < count; ++i) {
        TransferPart& part = facts.parts[i];
        const ArvBufferPartDataType data_type = arv_buffer_get_part_data_type(wrapper, i);
        part.data_type = data_type > 0 ? static_cast<uint32_t>(data_type) : 0;
        size_t size = 0;
        const uint8_t* data = static_cast<const uint8_t*>(arv_buffer_get_part_data(wrapper, i, &size));
        if (data != nullptr && memory != nullptr && data >= memory) {
            part.offset = static_cast<uint64_t>(data - memory);
        }
        part.size = size;
        if (is_image_part(part.data_type)) {
            part.width = non_negative(arv_buffer_get_part_width(wrapper, i));
            part.height = non_negative(arv_buffer_get_part_height(wrapper, i));
            part.pixel_format = arv_buffer_get_part_pixel_format(wrapper, i);
            part.x = non_negative(arv_buffer_get_part_x(wrapper, i));
            part.y = non_negative(arv_buffer_get_part_y(wrapper, i));
        }
        part.purpose_id = arv_buffer_get_part_component_id(wrapper, i);
    }
    return facts;
}

PvResult ReceivedFrame::Take(const TransferFacts& facts, uint8_t* memory, uint32_t capacity) {
    Clear();
    if (memory == nullptr) {
        return PvResult(PvResult::GENERIC_ERROR, "the buffer has no memory");
    }
    if (facts.status.IsFailure()) {
        return facts.status;
    }
    if (facts.received_size > capacity) {
        return PvResult(PvResult::GENERIC_ERROR, "a payload of " + std::to_string(facts.received_size) +
                                                     " bytes does not fit a buffer of " + std::to_string(capacity));
    }
    PvResult taken;
    payload_size_ = static_cast<uint32_t>(facts.received_size);
    switch (facts.payload_type) {
        case gvsp::PAYLOAD_IMAGE:
            // An image with chunk data (extended chunk mode) is an image
            // whose chunks the receiver found.
            taken = TakeImage(facts, memory, capacity, facts.has_chunks);
            payload_type_ = PvPayloadTypeImage;
            break;
        case gvsp::PAYLOAD_EXTENDED_CHUNK_DATA:
            taken = TakeImage(facts, memory, capacity, true);
            payload_type_ = PvPayloadTypeImage;
            break;
        case gvsp::PAYLOAD_MULTIPART:
            taken = TakeParts(facts, memory, capacity, facts.has_chunks);
            payload_type_ = PvPayloadTypeMultiPart;
            break;
        case gvsp::PAYLOAD_CHUNK_DATA:
            AddChunks(memory, payload_size_);
            payload_type_ = PvPayloadTypeChunkData;
            break;
        case gvsp::PAYLOAD_RAW_DATA:
            payload_type_ = PvPayloadTypeRawData;
            break;
        default:
            taken = PvResult(PvResult::NOT_SUPPORTED,
                             "payload type " + std::to_string(facts.payload_type) + " is not supported");
            break;
    }
    if (taken.IsFailure()) {
        Clear();
        return taken;
    }
    block_id_ = facts.block_id;
    timestamp_ns_ = facts.timestamp_ns;
    wire_payload_type_ = facts.payload_type;
    valid_ = true;
    return PvResult::OK;
}

PvResult ReceivedFrame::TakeImage(const TransferFacts& facts, uint8_t* memory, uint32_t capacity, bool with_chunks) {
    if (facts.parts.empty()) {
        return PvResult(PvResult::INVALID_ANSWER, "the image has no descriptor");
    }
    const TransferPart& image = facts.parts[0];
    const uint64_t needed = image_bytes(image.width, image.height, image.pixel_format);
    // The image starts at the beginning of the payload: a leader that
    // announces more pixels than the memory holds means the buffer was too
    // small for the frame (Aravis still calls that a success).
    if (needed > capacity) {
        return PvResult(PvResult::GENERIC_ERROR, "an image of " + std::to_string(needed) +
                                                     " bytes does not fit a buffer of " + std::to_string(capacity));
    }
    uint32_t offset = 0;
    uint32_t size = 0;
    if (!part_span(image, capacity, offset, size) || needed > capacity - offset) {
        return PvResult(PvResult::GENERIC_ERROR, "the image lies outside the buffer");
    }
    // A receiver's byte count of a plain image may leave out the end of the
    // last packet; the payload of a plain image is the image.
    if (!with_chunks) {
        payload_size_ = static_cast<uint32_t>(needed);
    }
    image_.Set(memory + offset, static_cast<uint32_t>(needed), image.width, image.height,
               static_cast<PvPixelType>(image.pixel_format), image.x, image.y);
    if (with_chunks) {
        AddChunks(memory, payload_size_);
    }
    return PvResult::OK;
}

PvResult ReceivedFrame::TakeParts(const TransferFacts& facts, uint8_t* memory, uint32_t capacity, bool with_chunks) {
    // A receiver may place each part at the offset the device announced,
    // without a bound: each is checked against the memory the buffer
    // really has.
    parts_.resize(facts.parts.size());
    for (size_t i = 0; i < facts.parts.size(); ++i) {
        const TransferPart& placed = facts.parts[i];
        ReceivedPart& part = parts_[i];
        uint32_t offset = 0;
        uint32_t size = 0;
        if (!part_span(placed, capacity, offset, size)) {
            return PvResult(PvResult::GENERIC_ERROR, "part " + std::to_string(i) + " lies outside the buffer");
        }
        part.data_type_ = static_cast<PvMultiPartDataType>(placed.data_type);
        part.purpose_id_ = placed.purpose_id;
        part.is_image_ = is_image_part(placed.data_type);
        if (!part.is_image_) {
            part.image_.Set(memory + offset, size, 0, 0, PvPixelUndefined, 0, 0);
            if (placed.data_type == gvsp::PART_CHUNK_DATA && with_chunks) {
                AddChunks(memory + offset, size);
            }
            continue;
        }
        if (image_bytes(placed.width, placed.height, placed.pixel_format) > size) {
            return PvResult(PvResult::GENERIC_ERROR, "part " + std::to_string(i) + " is smaller than its image");
        }
        part.image_.Set(memory + offset, size, placed.width, placed.height,
                        static_cast<PvPixelType>(placed.pixel_format), placed.x, placed.y);
    }
    return PvResult::OK;
}

}  // namespace platform
