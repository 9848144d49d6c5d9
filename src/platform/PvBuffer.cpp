#include "platform/PvBuffer.h"

#include <arv.h>

#include <map>
#include <mutex>
#include <new>

#include "platform/received_frame.h"

namespace {

// Buffers by the first byte of their memory, so that a data pointer handed
// back by the camera layer (chunk attachment) finds its buffer again.
struct BuffersByMemory {
    std::mutex lock;
    std::map<const uint8_t*, PvBuffer*> buffers;
};

BuffersByMemory& buffers_by_memory() {
    static BuffersByMemory* registry = new BuffersByMemory;  // never destroyed: buffers may die at exit
    return *registry;
}

void remember_memory(const uint8_t* data, PvBuffer* buffer) {
    BuffersByMemory& registry = buffers_by_memory();
    std::lock_guard<std::mutex> guard(registry.lock);
    registry.buffers[data] = buffer;
}

void forget_memory(const uint8_t* data) {
    BuffersByMemory& registry = buffers_by_memory();
    std::lock_guard<std::mutex> guard(registry.lock);
    registry.buffers.erase(data);
}

}  // namespace

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

PvBuffer::PvBuffer(PvPayloadType payload_type) : payload_type_(payload_type), received_(new platform::ReceivedFrame) {}

PvBuffer::~PvBuffer() {
    if (memory_ != nullptr) {
        memory_->owner = nullptr;
        forget_memory(data_);
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
    remember_memory(data_, this);
    return PvResult::OK;
}

void PvBuffer::Free() {
    if (queued_ || arv_buffer_ == nullptr) {
        return;
    }
    memory_->owner = nullptr;
    forget_memory(data_);
    received_->Clear();
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

PvBuffer* PvBuffer::FromDataPointer(const uint8_t* data) {
    if (data == nullptr) {
        return nullptr;
    }
    BuffersByMemory& registry = buffers_by_memory();
    std::lock_guard<std::mutex> guard(registry.lock);
    auto found = registry.buffers.find(data);
    return found != registry.buffers.end() ? found->second : nullptr;
}

uint32_t PvBuffer::GetPayloadSize() const { return received_->GetPayloadSize(); }

IPvImage* PvBuffer::GetImage() { return &received_->GetImage(); }

IPvMultiPartContainer* PvBuffer::GetMultiPartContainer() { return received_.get(); }

uint32_t PvBuffer::GetChunkCount() const { return received_->GetChunkCount(); }

bool PvBuffer::FindChunk(uint32_t chunk_id, const uint8_t*& data, uint32_t& size) const {
    return received_->FindChunk(chunk_id, data, size);
}

uint64_t PvBuffer::GetBlockId() const { return received_->GetBlockId(); }

uint64_t PvBuffer::GetTimestampNs() const { return received_->GetTimestampNs(); }

uint32_t PvBuffer::GetWirePayloadType() const { return received_->GetWirePayloadType(); }

PvResult PvBuffer::Reset(PvPayloadType payload_type) {
    if (queued_) {
        return PvResult(PvResult::GENERIC_ERROR, "the buffer is queued in a stream");
    }
    received_->Clear();
    payload_type_ = payload_type;
    return PvResult::OK;
}

PvResult PvBuffer::TakeTransfer(const platform::TransferFacts& facts) {
    PvResult result = received_->Take(facts, data_, size_);
    if (result.IsOK()) {
        payload_type_ = received_->GetPayloadType();
    }
    return result;
}

void PvBuffer::ClearTransfer() { received_->Clear(); }
