// The stream received through Aravis's GVSP receiver (the default).
#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "platform/PvResult.h"
#include "platform/PvString.h"
#include "platform/stream_receiver.h"

typedef struct _ArvDevice ArvDevice;

namespace platform {

// Creates Aravis's stream on `device` (connected; `device_lock` held by the
// caller), at the negotiated packet size, on a UDP socket bound to
// `local_ip`; the device is pointed at it. `wake_up` is called each time a
// transfer ends. Null with `*result` set on failure. The receiver must be
// destroyed with `device_lock` held: Aravis touches the device's node map
// when its stream closes.
std::unique_ptr<StreamReceiver> open_aravis_receiver(ArvDevice* device, const PvString& local_ip,
                                                     std::function<void()> wake_up, PvResult* result);

}  // namespace platform
