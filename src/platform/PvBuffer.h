// A stream buffer. Its memory is ours (allocated by Alloc); Aravis fills
// it through a wrapper ArvBuffer whose user data is a small record that
// points back to this PvBuffer.
//
// Ownership: the creator owns the PvBuffer. The memory belongs to the
// wrapper's record and is released with the last reference to the
// wrapper, so a stream that still holds the wrapper (a buffer deleted
// while queued) never writes into freed memory; such an orphaned wrapper
// no longer maps back to a PvBuffer. Alloc, Free and Reset refuse while
// queued. The image and multipart views (GetImage, GetMultiPartContainer)
// belong to the buffer and point into its memory: they describe the last
// transfer and stay valid until the buffer is queued again, reset, freed
// or deleted.
//
// A buffer is used by one thread at a time: the one that queued it, then
// the one that retrieved it.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/IPvImage.h"
#include "platform/IPvMultiPartContainer.h"
#include "platform/PvPayloadType.h"
#include "platform/PvResult.h"

typedef struct _ArvBuffer ArvBuffer;

namespace platform {
class ReceivedFrame;
struct TransferFacts;
}  // namespace platform

class PvBuffer {
public:
    explicit PvBuffer(PvPayloadType payload_type = PvPayloadTypeImage);
    ~PvBuffer();
    PvBuffer(const PvBuffer&) = delete;
    PvBuffer& operator=(const PvBuffer&) = delete;

    // Replaces the memory with `size` fresh bytes. INVALID_PARAMETER for
    // size 0, GENERIC_ERROR when the memory cannot be had or the buffer
    // is queued in a stream.
    PvResult Alloc(uint32_t size);
    // Releases the memory (not while queued).
    void Free();
    // Allocated size in bytes (0 before Alloc).
    uint32_t GetSize() const { return size_; }
    // What the last retrieved transfer carried (PvPayloadTypeImage for a
    // single image with or without chunks, PvPayloadTypeMultiPart for a
    // multipart frame); before any transfer, or after Reset, the type the
    // buffer was made or reset for.
    PvPayloadType GetPayloadType() const { return payload_type_; }
    const uint8_t* GetDataPointer() const { return data_; }
    uint8_t* GetDataPointer() { return data_; }
    // Bytes the last transfer wrote into the buffer (0 before any).
    uint32_t GetPayloadSize() const;

    // The single image of the last transfer. Never null: for a buffer that
    // holds no image the view reports no data and zero sizes.
    IPvImage* GetImage();
    // The parts of the last transfer. Never null: no parts unless it was a
    // multipart frame.
    IPvMultiPartContainer* GetMultiPartContainer();

    // Chunks found at the end of the last transfer (single image with
    // chunk data, or the chunk part of a multipart frame); 0 when none.
    uint32_t GetChunkCount() const;
    bool HasChunks() const { return GetChunkCount() != 0; }
    // The data of the chunk `chunk_id` in the last transfer; false when it
    // carries none (see platform::ReceivedFrame::FindChunk).
    bool FindChunk(uint32_t chunk_id, const uint8_t*& data, uint32_t& size) const;

    // The identity of the last transfer (see platform::ReceivedFrame): its
    // block id, device timestamp in nanoseconds and GVSP payload type; 0
    // before any transfer or after a failed one.
    uint64_t GetBlockId() const;
    uint64_t GetTimestampNs() const;
    uint32_t GetWirePayloadType() const;

    // Forgets the last transfer and sets the payload type the buffer is
    // meant for. GENERIC_ERROR while queued.
    PvResult Reset(PvPayloadType payload_type = PvPayloadTypeImage);

    // --- platform side -------------------------------------------------
    ArvBuffer* GetArvBuffer() const { return arv_buffer_; }
    // The PvBuffer behind a wrapper made by Alloc, or null.
    static PvBuffer* FromArvBuffer(ArvBuffer* buffer);
    bool IsQueued() const { return queued_; }
    void SetQueued(bool queued) { queued_ = queued; }
    // Takes what the stream's receiver tells of the transfer into this
    // buffer (status, payload type, image geometry, parts) and checks it
    // against the memory: OK for a complete transfer that fits, a failure
    // code otherwise (the views then show nothing).
    PvResult TakeTransfer(const platform::TransferFacts& facts);
    // Forgets the last transfer (queued again, aborted).
    void ClearTransfer();
    // The PvBuffer whose memory starts at `data`, or null.
    static PvBuffer* FromDataPointer(const uint8_t* data);

private:
    PvPayloadType payload_type_;
    uint8_t* data_ = nullptr;
    uint32_t size_ = 0;
    ArvBuffer* arv_buffer_ = nullptr;
    struct Memory;
    Memory* memory_ = nullptr;  // owned by arv_buffer_
    bool queued_ = false;
    std::unique_ptr<platform::ReceivedFrame> received_;
};
