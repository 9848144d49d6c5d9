// A stream buffer. Its memory is ours (allocated by Alloc); Aravis fills
// it through a wrapper ArvBuffer whose user data is a small record that
// points back to this PvBuffer.
//
// Ownership: the creator owns the PvBuffer. The memory belongs to the
// wrapper's record and is released with the last reference to the
// wrapper, so a stream that still holds the wrapper (a buffer deleted
// while queued) never writes into freed memory; such an orphaned wrapper
// no longer maps back to a PvBuffer. Alloc and Free refuse while queued.
#pragma once

#include <cstdint>

#include "platform/PvPayloadType.h"
#include "platform/PvResult.h"

typedef struct _ArvBuffer ArvBuffer;

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
    PvPayloadType GetPayloadType() const { return payload_type_; }
    const uint8_t* GetDataPointer() const { return data_; }
    uint8_t* GetDataPointer() { return data_; }

    // --- platform side -------------------------------------------------
    ArvBuffer* GetArvBuffer() const { return arv_buffer_; }
    // The PvBuffer behind a wrapper made by Alloc, or null.
    static PvBuffer* FromArvBuffer(ArvBuffer* buffer);
    bool IsQueued() const { return queued_; }
    void SetQueued(bool queued) { queued_ = queued; }

private:
    PvPayloadType payload_type_;
    uint8_t* data_ = nullptr;
    uint32_t size_ = 0;
    ArvBuffer* arv_buffer_ = nullptr;
    struct Memory;
    Memory* memory_ = nullptr;  // owned by arv_buffer_
    bool queued_ = false;
};
