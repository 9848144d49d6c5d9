// What one transfer left in a stream buffer, as the receiver that filled
// it tells (TransferFacts: read from Aravis's wrapper, or from our own
// receiver's report), checked against the memory the buffer really has:
// the payload type, the single image, the parts of a multipart frame and
// the chunk count. Nothing here is trusted from the wire without a bounds
// check: a part or image that does not lie inside the memory makes the
// whole transfer a failure.
//
// Ownership: owned by its PvBuffer; the views point into that buffer's
// memory and are valid until the next Take or Clear.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/IPvImage.h"
#include "platform/IPvMultiPartContainer.h"
#include "platform/IPvMultiPartSection.h"
#include "platform/PvPayloadType.h"
#include "platform/PvResult.h"

typedef struct _ArvBuffer ArvBuffer;

namespace platform {

// One part of a transfer as its receiver placed it (a single image is one
// part). Offsets are from the start of the buffer's memory; a part the
// receiver placed outside that memory has kOutside.
struct TransferPart {
    static constexpr uint64_t kOutside = UINT64_MAX;
    uint32_t data_type = 0;  // GVSP part data type
    uint64_t offset = kOutside;
    uint64_t size = 0;
    uint32_t width = 0, height = 0, pixel_format = 0, x = 0, y = 0;
    uint32_t purpose_id = 0;
};

// What a receiver tells of one transfer, before any check.
struct TransferFacts {
    PvResult status;            // OK, or why the transfer failed
    uint32_t payload_type = 0;  // GVSP payload type without its extended-chunk bit
    bool has_chunks = false;    // the extended-chunk bit, or chunk data announced otherwise
    uint64_t received_size = 0;
    uint64_t block_id = 0;
    uint64_t timestamp_ns = 0;
    std::vector<TransferPart> parts;
};

// The facts Aravis wrote into `wrapper`, whose memory starts at `memory`.
TransferFacts read_aravis_transfer(ArvBuffer* wrapper, const uint8_t* memory);

class ReceivedImage : public IPvImage {
public:
    uint8_t* GetDataPointer() override { return data_; }
    const uint8_t* GetDataPointer() const override { return data_; }
    uint32_t GetWidth() const override { return width_; }
    uint32_t GetHeight() const override { return height_; }
    PvPixelType GetPixelType() const override { return pixel_type_; }
    uint32_t GetImageSize() const override { return size_; }
    uint32_t GetOffsetX() const override { return offset_x_; }
    uint32_t GetOffsetY() const override { return offset_y_; }

    void Set(uint8_t* data, uint32_t size, uint32_t width, uint32_t height, PvPixelType pixel_type, uint32_t offset_x,
             uint32_t offset_y);
    void Clear() { Set(nullptr, 0, 0, 0, PvPixelUndefined, 0, 0); }

private:
    uint8_t* data_ = nullptr;
    uint32_t size_ = 0;
    uint32_t width_ = 0;
    uint32_t height_ = 0;
    PvPixelType pixel_type_ = PvPixelUndefined;
    uint32_t offset_x_ = 0;
    uint32_t offset_y_ = 0;
};

class ReceivedPart : public IPvMultiPartSection {
public:
    IPvImage* GetImage() override { return is_image_ ? &image_ : nullptr; }
    PvMultiPartDataType GetDataType() const override { return data_type_; }
    PvPixelType GetPixelType() const override { return image_.GetPixelType(); }
    uint32_t GetWidth() const override { return image_.GetWidth(); }
    uint32_t GetHeight() const override { return image_.GetHeight(); }
    uint8_t* GetDataPointer() override { return image_.GetDataPointer(); }
    uint32_t GetSize() const override { return image_.GetImageSize(); }
    uint32_t GetDataPurposeID() const override { return purpose_id_; }

private:
    friend class ReceivedFrame;
    ReceivedImage image_;
    PvMultiPartDataType data_type_ = PvMultiPartInvalid;
    uint32_t purpose_id_ = 0;
    bool is_image_ = false;
};

class ReceivedFrame : public IPvMultiPartContainer {
public:
    uint32_t GetPartCount() const override { return static_cast<uint32_t>(parts_.size()); }
    IPvMultiPartSection* GetPart(uint32_t index) override { return index < parts_.size() ? &parts_[index] : nullptr; }

    // Reads the transfer `facts` tells of into `memory`, with room for
    // `capacity` bytes. OK when it completed and fits; otherwise the
    // reason, and the record stays empty.
    PvResult Take(const TransferFacts& facts, uint8_t* memory, uint32_t capacity);
    void Clear();

    bool IsValid() const { return valid_; }
    PvPayloadType GetPayloadType() const { return payload_type_; }
    uint32_t GetPayloadSize() const { return payload_size_; }
    uint32_t GetChunkCount() const { return chunk_count_; }
    // The data of the chunk `chunk_id` (the last of that id when several
    // carry it), or false when the frame has none (`data` and `size` are
    // then left as they were).
    bool FindChunk(uint32_t chunk_id, const uint8_t*& data, uint32_t& size) const;
    ReceivedImage& GetImage() { return image_; }
    // The frame's identity, as the receiver read it from the leader: the
    // block id, the device timestamp in nanoseconds (the ticks converted
    // with the device's tick frequency, or the host's arrival time when the
    // device gives none) and the GVSP payload type without its
    // extended-chunk bit.
    uint64_t GetBlockId() const { return block_id_; }
    uint64_t GetTimestampNs() const { return timestamp_ns_; }
    uint32_t GetWirePayloadType() const { return wire_payload_type_; }

private:
    PvResult TakeImage(const TransferFacts& facts, uint8_t* memory, uint32_t capacity, bool with_chunks);
    PvResult TakeParts(const TransferFacts& facts, uint8_t* memory, uint32_t capacity, bool with_chunks);
    void AddChunks(const uint8_t* data, uint32_t size);

    struct ChunkSpan {
        const uint8_t* data;
        uint32_t size;
    };

    bool valid_ = false;
    PvPayloadType payload_type_ = PvPayloadTypeNone;
    uint32_t payload_size_ = 0;
    uint32_t chunk_count_ = 0;
    std::vector<ChunkSpan> chunk_spans_;  // where the chunk chains lie, in the buffer's memory
    uint64_t block_id_ = 0;
    uint64_t timestamp_ns_ = 0;
    uint32_t wire_payload_type_ = 0;
    ReceivedImage image_;
    std::vector<ReceivedPart> parts_;
};

// Walks the chunks in `size` bytes at `data` from the end (each chunk is
// its data followed by a big-endian id and length) and calls
// `visit(id, chunk_data, chunk_size)` for each until it returns false.
// Stops at the first tag whose length runs out of the bytes; returns how
// many chunks it visited.
uint32_t walk_chunks(const uint8_t* data, uint32_t size,
                     const std::function<bool(uint32_t, const uint8_t*, uint32_t)>& visit);

// Bytes that `width` x `height` pixels of `pixel_type` take (the bits per
// pixel are in the type's code); 0 when the type names no size.
uint64_t image_bytes(uint32_t width, uint32_t height, uint32_t pixel_type);

}  // namespace platform
