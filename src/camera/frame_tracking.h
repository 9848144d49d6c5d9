// What the acquisition thread keeps about the frames it delivers, so that
// ORNCGetFrameInfo can describe the one being handed to a callback: the
// last delivered block id (for the gap to the next) and the mapping of the
// device clock onto the host's.
//
// Lives zero-filled inside ornc_priv_t (every field valid at zero). Only
// `acquisition_serial` is written by another thread (each acquisition
// start bumps it, atomically); the rest belongs to the acquisition thread.
#pragma once

#include "ORNC.h"

class PvBuffer;

struct ornc_frame_tracking_t {
    orn_int32_t acquisition_serial;  // bumped by each acquisition start
    orn_int32_t serial_seen;         // the acquisition the fields below belong to
    orn_int32_t has_last_block;
    orn_uint64_t last_block;
    // The device clock (see platform::DeviceClockMap), taken at
    // `clock_taken_ns` (CLOCK_MONOTONIC) of acquisition `clock_serial`.
    orn_int32_t clock_taken;
    orn_int32_t clock_serial;
    orn_int32_t clock_mapped;
    orn_uint64_t clock_tick_frequency;
    int64_t clock_offset_ns;
    int64_t clock_taken_ns;
};

// While it lives, `buffer` is the frame that the acquisition thread hands
// to `priv`'s callbacks: ORNCGetFrameInfo describes it. Made once per
// delivered frame, in delivery order: it counts the blocks missing since
// the previous one.
class ORNC_FrameInDelivery {
public:
    ORNC_FrameInDelivery(ornc_priv_t* priv, PvBuffer* buffer);
    ~ORNC_FrameInDelivery();
    ORNC_FrameInDelivery(const ORNC_FrameInDelivery&) = delete;
    ORNC_FrameInDelivery& operator=(const ORNC_FrameInDelivery&) = delete;

    ornc_priv_t* priv() const { return priv_; }
    PvBuffer* buffer() const { return buffer_; }
    uint32_t blocks_missing() const { return blocks_missing_; }

    // The frame the calling thread is delivering, or null.
    static const ORNC_FrameInDelivery* Current();

private:
    ornc_priv_t* priv_;
    PvBuffer* buffer_;
    uint32_t blocks_missing_ = 0;
    const ORNC_FrameInDelivery* outer_;
};

// Starts the count of missing blocks afresh (any thread).
void ORNC_NewAcquisitionForFrames(ornc_priv_t* priv);
