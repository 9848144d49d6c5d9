#include "platform/PvBuffer.h"

#include <arv.h>

#include <new>

namespace platform {
class ReceivedFrame {};
}  // namespace platform

// The wrapper's user data: the memory and the way back to the PvBuffer.
// Destroyed by Aravis with the wrapper's last reference.
struct PvBuffer::Memory {
    PvBuffer* owner;
    uint8_t* data;

    static void Destroy(void* record) {
        Memory* memory = static_cast<Memory*>(record);
        delete[] memory->data;
        delete memory;
    }
};

PvBuffer::PvBuffer(PvPayloadType payload_type) : payload_type_(payload_type) {}

PvBuffer::~PvBuffer() {
    if (memory_ != nullptr) {
        memory_->owner = nullptr;
    }
    if (arv_buffer_ != nullptr) {
        g_object_unref(arv_buffer_);
    }
}

PvResult PvBuffer::Alloc(uint32_t size) {
    if (size == 0) {
        return PvResult(PvResult::INVALID_PARAMETER, "a buffer needs at least one byte");
    }
    if (queued_) {
        return PvResult(PvResult::GENERIC_ERROR, "the buffer is queued in a stream");
    }
    uint8_t* data = new (std::nothrow) uint8_t[size];
    Memory* memory = data != nullptr ? new (std::nothrow) Memory{this, data} : nullptr;
    if (memory == nullptr) {
        delete[] data;
        return PvResult(PvResult::GENERIC_ERROR, "out of memory for " + std::to_string(size) + " bytes");
    }
    Free();
    memory_ = memory;
    data_ = data;
    size_ = size;
    arv_buffer_ = arv_buffer_new_full(size, data, memory, &Memory::Destroy);
    return PvResult::OK;
}

void PvBuffer::Free() {
    if (queued_ || arv_buffer_ == nullptr) {
        return;
    }
    memory_->owner = nullptr;
    g_object_unref(arv_buffer_);
    arv_buffer_ = nullptr;
    memory_ = nullptr;
    data_ = nullptr;
    size_ = 0;
}

PvBuffer* PvBuffer::FromArvBuffer(ArvBuffer* buffer) {
    if (buffer == nullptr) {
        return nullptr;
    }
    const Memory* memory = static_cast<const Memory*>(arv_buffer_get_user_data(buffer));
    return memory != nullptr ? memory->owner : nullptr;
}
