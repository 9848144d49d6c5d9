// The words that the application thread, the acquisition worker and the
// transport's event threads share without a lock: the acquisition state
// word and the callback pointers. Each access is one whole-word atomic
// load, store or read-modify-write (relaxed: no ordering is promised
// beyond the word itself), so the polling protocol stays lock-free and
// still reads a fresh value on every pass.
#pragma once

#include <cstdint>
#include <cstring>

#include "ORNC.h"

static_assert(sizeof(ornc_acqui_state_t) == sizeof(uint32_t), "the acquisition state is one 32-bit word");

namespace ornc_state {

// Bit positions inside ornc_acqui_state_t (trig bit 0, triggered bit 1,
// mode bits 2 and 3), for the atomic word operations below.
constexpr uint32_t kTrigBit = 1u << 0;
constexpr uint32_t kTriggeredBit = 1u << 1;
constexpr uint32_t kModeShift = 2;
constexpr uint32_t kModeMask = 3u << kModeShift;

inline uint32_t* Word(ornc_acqui_state_t* state) { return reinterpret_cast<uint32_t*>(state); }

inline ornc_acqui_state_t Load(ornc_acqui_state_t* state) {
    const uint32_t word = __atomic_load_n(Word(state), __ATOMIC_RELAXED);
    ornc_acqui_state_t copy;
    std::memcpy(&copy, &word, sizeof copy);
    return copy;
}

inline void Store(ornc_acqui_state_t* state, ornc_acqui_state_t value) {
    uint32_t word = 0;
    std::memcpy(&word, &value, sizeof word);
    __atomic_store_n(Word(state), word, __ATOMIC_RELAXED);
}

inline void ClearTriggered(ornc_acqui_state_t* state) {
    __atomic_fetch_and(Word(state), ~kTriggeredBit, __ATOMIC_RELAXED);
}

inline void SetTriggered(ornc_acqui_state_t* state) { __atomic_fetch_or(Word(state), kTriggeredBit, __ATOMIC_RELAXED); }

// A pointer-sized field written by one thread and read by another.
template <typename T>
inline T LoadField(T* field) {
    return __atomic_load_n(field, __ATOMIC_ACQUIRE);
}
template <typename T>
inline void StoreField(T* field, T value) {
    __atomic_store_n(field, value, __ATOMIC_RELEASE);
}

}  // namespace ornc_state
