// The stream received through our own GVSP receiver (gvsp::BatchReceiver)
// on one receiving thread per stream, woken by its socket: batched
// receives straight into the buffers, resend requests to the device's
// control port with receiver_policy, PACKET_UNAVAILABLE ending the wait.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/PvResult.h"
#include "platform/stream_receiver.h"

namespace platform {

struct OwnReceiverSetup {
    uint32_t local_address = 0;  // host byte order; the socket binds here
    uint32_t device_address = 0;
    uint16_t device_control_port = 0;  // where resend requests go
    uint32_t packet_size = 0;          // as the device is told it
    uint64_t tick_frequency = 0;       // of the device's timestamps; 0: host arrival time
    size_t burst_bytes = 0;            // one frame's payload, for the socket's receive buffer
};

// Opens the socket and starts the receiving thread; `wake_up` is called on
// it each time a transfer ends. Null with `*result` set on failure. The
// caller points the device at LocalPort().
std::unique_ptr<StreamReceiver> open_own_receiver(const OwnReceiverSetup& setup, std::function<void()> wake_up,
                                                  PvResult* result);

}  // namespace platform
