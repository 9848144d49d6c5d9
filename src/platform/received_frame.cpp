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

bool is_image_part(ArvBufferPartDataType type) {
    switch (type) {
        case ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE:
        case ARV_BUFFER_PART_DATA_TYPE_2D_PLANE_BIPLANAR:
        case ARV_BUFFER_PART_DATA_TYPE_2D_PLANE_TRIPLANAR:
        case ARV_BUFFER_PART_DATA_TYPE_2D_PLANE_QUADPLANAR:
        case ARV_BUFFER_PART_DATA_TYPE_3D_IMAGE:
        case ARV_BUFFER_PART_DATA_TYPE_3D_PLANE_BIPLANAR:
        case ARV_BUFFER_PART_DATA_TYPE_3D_PLANE_TRIPLANAR:
        case ARV_BUFFER_PART_DATA_TYPE_3D_PLANE_QUADPLANAR:
        case ARV_BUFFER_PART_DATA_TYPE_CONFIDENCE_MAP:
            return true;
        default:
            return false;
    }
}

uint32_t non_negative(gint value) { return value > 0 ? static_cast<uint32_t>(value) : 0; }

// Where a part's data lies in the memory; false when Aravis points
// outside [memory, memory + limit).
bool part_span(ArvBuffer* wrapper, guint part, const uint8_t* memory, uint32_t limit, uint32_t& offset,
               uint32_t& size) {
    size_t part_size = 0;
    const uint8_t* data = static_cast<const uint8_t*>(arv_buffer_get_part_data(wrapper, part, &part_size));
    if (data == nullptr || data < memory) {
        return false;
    }
    const uint64_t start = static_cast<uint64_t>(data - memory);
    if (start > limit || part_size > limit - start) {
        return false;
    }
    offset = static_cast<uint32_t>(start);
    size = static_cast<uint32_t>(part_size);
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

uint32_t count_chunks(const uint8_t* data, uint32_t size) {
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
    }
    return count;
}

void ReceivedFrame::Clear() {
    valid_ = false;
    payload_type_ = PvPayloadTypeNone;
    payload_size_ = 0;
    chunk_count_ = 0;
    block_id_ = 0;
    timestamp_ns_ = 0;
    wire_payload_type_ = 0;
    image_.Clear();
    parts_.clear();
}

PvResult ReceivedFrame::Take(ArvBuffer* wrapper, uint8_t* memory, uint32_t capacity) {
    Clear();
    if (wrapper == nullptr || memory == nullptr) {
        return PvResult(PvResult::GENERIC_ERROR, "the buffer has no memory");
    }
    PvResult status = status_result(arv_buffer_get_status(wrapper));
    if (status.IsFailure()) {
        return status;
    }
    size_t received = 0;
    arv_buffer_get_data(wrapper, &received);
    if (received > capacity) {
        return PvResult(PvResult::GENERIC_ERROR, "a payload of " + std::to_string(received) +
                                                     " bytes does not fit a buffer of " + std::to_string(capacity));
    }
    PvResult taken;
    payload_size_ = static_cast<uint32_t>(received);
    switch (arv_buffer_get_payload_type(wrapper)) {
        case ARV_BUFFER_PAYLOAD_TYPE_IMAGE:
            // An image with chunk data (extended chunk mode) is an image
            // whose chunks Aravis found.
            taken = TakeImage(wrapper, memory, capacity, arv_buffer_has_chunks(wrapper));
            payload_type_ = PvPayloadTypeImage;
            break;
        case ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA:
            taken = TakeImage(wrapper, memory, capacity, true);
            payload_type_ = PvPayloadTypeImage;
            break;
        case ARV_BUFFER_PAYLOAD_TYPE_MULTIPART:
            taken = TakeParts(wrapper, memory, capacity, arv_buffer_has_chunks(wrapper));
            payload_type_ = PvPayloadTypeMultiPart;
            break;
        case ARV_BUFFER_PAYLOAD_TYPE_CHUNK_DATA:
            chunk_count_ = count_chunks(memory, payload_size_);
            payload_type_ = PvPayloadTypeChunkData;
            break;
        case ARV_BUFFER_PAYLOAD_TYPE_RAWDATA:
            payload_type_ = PvPayloadTypeRawData;
            break;
        default:
            taken = PvResult(PvResult::NOT_SUPPORTED,
                             "payload type " + std::to_string(static_cast<int>(arv_buffer_get_payload_type(wrapper))) +
                                 " is not supported");
            break;
    }
    if (taken.IsFailure()) {
        Clear();
        return taken;
    }
    block_id_ = arv_buffer_get_frame_id(wrapper);
    timestamp_ns_ = arv_buffer_get_timestamp(wrapper);
    wire_payload_type_ = static_cast<uint32_t>(arv_buffer_get_payload_type(wrapper));
    valid_ = true;
    return PvResult::OK;
}

PvResult ReceivedFrame::TakeImage(ArvBuffer* wrapper, uint8_t* memory, uint32_t capacity, bool with_chunks) {
    if (arv_buffer_get_n_parts(wrapper) < 1) {
        return PvResult(PvResult::INVALID_ANSWER, "the image has no descriptor");
    }
    const uint32_t width = non_negative(arv_buffer_get_image_width(wrapper));
    const uint32_t height = non_negative(arv_buffer_get_image_height(wrapper));
    const uint32_t pixel_type = arv_buffer_get_image_pixel_format(wrapper);
    const uint64_t needed = image_bytes(width, height, pixel_type);
    // The image starts at the beginning of the payload: a leader that
    // announces more pixels than the memory holds means the buffer was too
    // small for the frame (Aravis still calls that a success).
    if (needed > capacity) {
        return PvResult(PvResult::GENERIC_ERROR, "an image of " + std::to_string(needed) +
                                                     " bytes does not fit a buffer of " + std::to_string(capacity));
    }
    uint32_t offset = 0;
    uint32_t size = 0;
    if (!part_span(wrapper, 0, memory, capacity, offset, size) || needed > capacity - offset) {
        return PvResult(PvResult::GENERIC_ERROR, "the image lies outside the buffer");
    }
    // Aravis's byte count of a plain image may leave out the end of the
    // last packet; the payload of a plain image is the image.
    if (!with_chunks) {
        payload_size_ = static_cast<uint32_t>(needed);
    }
    gint x = 0;
    gint y = 0;
    arv_buffer_get_image_region(wrapper, &x, &y, nullptr, nullptr);
    image_.Set(memory + offset, static_cast<uint32_t>(needed), width, height, static_cast<PvPixelType>(pixel_type),
               non_negative(x), non_negative(y));
    if (with_chunks) {
        chunk_count_ = count_chunks(memory, payload_size_);
    }
    return PvResult::OK;
}

PvResult ReceivedFrame::TakeParts(ArvBuffer* wrapper, uint8_t* memory, uint32_t capacity, bool with_chunks) {
    const guint count = arv_buffer_get_n_parts(wrapper);
    // Aravis places each part at the offset the device announced, without
    // a bound: each is checked against the memory the buffer really has.
    const uint32_t limit = capacity;
    parts_.resize(count);
    for (guint i = 0; i < count; ++i) {
        ReceivedPart& part = parts_[i];
        const ArvBufferPartDataType type = arv_buffer_get_part_data_type(wrapper, i);
        uint32_t offset = 0;
        uint32_t size = 0;
        if (!part_span(wrapper, i, memory, limit, offset, size)) {
            return PvResult(PvResult::GENERIC_ERROR, "part " + std::to_string(i) + " lies outside the buffer");
        }
        part.data_type_ = static_cast<PvMultiPartDataType>(type);
        part.purpose_id_ = arv_buffer_get_part_component_id(wrapper, i);
        part.is_image_ = is_image_part(type);
        if (!part.is_image_) {
            part.image_.Set(memory + offset, size, 0, 0, PvPixelUndefined, 0, 0);
            if (type == ARV_BUFFER_PART_DATA_TYPE_CHUNK_DATA && with_chunks) {
                chunk_count_ += count_chunks(memory + offset, size);
            }
            continue;
        }
        const uint32_t width = non_negative(arv_buffer_get_part_width(wrapper, i));
        const uint32_t height = non_negative(arv_buffer_get_part_height(wrapper, i));
        const uint32_t pixel_type = arv_buffer_get_part_pixel_format(wrapper, i);
        if (image_bytes(width, height, pixel_type) > size) {
            return PvResult(PvResult::GENERIC_ERROR, "part " + std::to_string(i) + " is smaller than its image");
        }
        part.image_.Set(memory + offset, size, width, height, static_cast<PvPixelType>(pixel_type),
                        non_negative(arv_buffer_get_part_x(wrapper, i)),
                        non_negative(arv_buffer_get_part_y(wrapper, i)));
    }
    return PvResult::OK;
}

}  // namespace platform
