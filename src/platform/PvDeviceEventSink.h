// Observer of a connected device: link loss and events the device sends
// on its message channel. Every operation has an empty default body, so a
// sink overrides only what it needs.
//
// Threads: OnLinkDisconnected runs on Aravis's heartbeat thread; the
// event operations run on the device's message-channel thread. Neither is
// the application's thread. A sink must not unregister itself or
// disconnect its device from inside a notification.
//
// Ownership: the device never owns a sink; it drops its pointer at
// UnregisterEventSink and at Disconnect.
#pragma once

#include <cstdint>

class PvDevice;
class PvGenParameterList;

class PvDeviceEventSink {
public:
    PvDeviceEventSink() = default;
    virtual ~PvDeviceEventSink() = default;

    // The device stopped answering (heartbeat lost). Told once per
    // connection.
    virtual void OnLinkDisconnected(PvDevice* /*device*/) {}
    // Not raised by this platform (it never reconnects by itself).
    virtual void OnLinkReconnected(PvDevice* /*device*/) {}
    // Every event as it came from the device: `data` is the event's data
    // bytes (null with length 0 when it carried none), valid during the
    // call only.
    virtual void OnEvent(PvDevice* /*device*/, uint16_t /*event_id*/, uint16_t /*channel*/, uint64_t /*block_id*/,
                         uint64_t /*timestamp*/, const void* /*data*/, uint32_t /*data_length*/) {}
    // The same event decoded against the device's description: `data`
    // lists the features the description maps onto the event's data, each
    // reading the value this event carried during the call. Null when the
    // description knows no port for this event id.
    virtual void OnEventGenICam(PvDevice* /*device*/, uint16_t /*event_id*/, uint16_t /*channel*/,
                                uint64_t /*block_id*/, uint64_t /*timestamp*/, PvGenParameterList* /*data*/) {}
    // Not raised by this platform (no command-link tracing).
    virtual void OnCmdLinkRead(const void* /*data*/, long /*offset*/, long /*length*/) {}
    virtual void OnCmdLinkWrite(const void* /*data*/, long /*offset*/, long /*length*/) {}
};
