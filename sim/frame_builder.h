// Turns the device settings of one moment into the frame the stream sends:
// renders every enabled component with the synthetic scene, in the fixed
// component order, and appends the enabled chunks. Pure: no state, no I/O.
#ifndef ORNSIM_FRAME_BUILDER_H
#define ORNSIM_FRAME_BUILDER_H

#include <cstdint>

#include "device_model.h"
#include "stream/gvsp_sender.h"

namespace ornsim {

// False when no component is enabled (nothing to send).
bool build_frame(const AcquisitionSnapshot& settings, uint64_t block_id, uint64_t timestamp, GvspFrame* frame);

}  // namespace ornsim

#endif  // ORNSIM_FRAME_BUILDER_H
