// The two observers the camera layer hands to the transport:
//
// - ORNCDeviceEventSink, one per library handle (lEventSink), told of the
//   loss of the link and of the GenICam events the device sends. It passes
//   them on to the application's disconnect and event callbacks. Created at
//   the first server start of a handle and never deleted: the handle keeps
//   it across disconnects (ORNCDisconnect only silences its disconnect
//   notification), so it is kept in a process-wide registry until the
//   process ends.
// - ORNCEventSink, one per ORNCParamSetCallback call, told of changes of
//   one parameter. Never unregistered and never deleted either (same
//   registry).
//
// Threads: both are called on the transport's threads (heartbeat, message
// channel, or whichever thread wrote the parameter), concurrently with the
// application. Their fields are plain words written by the application
// thread without a lock; every access goes through whole-word atomic loads
// and stores so that the other thread sees a complete pointer.
#pragma once

#include <cstdint>

#include "ORNC.h"
#include "platform/PvDeviceEventSink.h"
#include "platform/PvGenEventSink.h"

class PvDevice;
class PvGenParameter;
class PvGenParameterList;

class ORNCDeviceEventSink : public PvDeviceEventSink {
public:
    // Every field zero: no notification, nothing disabled.
    ORNCDeviceEventSink() = default;

    void OnLinkDisconnected(PvDevice* aDevice) override;
    void OnEventGenICam(PvDevice* aDevice, uint16_t aEventID, uint16_t aChannel, uint64_t aBlockID, uint64_t aTimestamp,
                        PvGenParameterList* aData) override;

    // Registers a new sink in the process-wide registry and returns it
    // (null when memory is short). The registry owns it.
    static ORNCDeviceEventSink* Create();

    void (*m_disconnect_callback)(void*) = nullptr;
    void* m_disconnect_data = nullptr;
    int32_t m_disconnect_disable = 0;
    PvGenParameter* m_events = nullptr;  // reserved
    int32_t m_events_size = 0;           // reserved
    void (*m_event_callback)(orn_uint64_t, ornc_param_list_t*, void*) = nullptr;
    void* m_event_data = nullptr;
    bool m_registered = false;  // with a device, at most once per handle (automatic recovery: once per device)
    // Automatic recovery: told after the disconnect callback (also without
    // one), unless disabled as that callback is.
    void (*m_link_lost_hook)(void*) = nullptr;
    void* m_link_lost_data = nullptr;
};

class ORNCEventSink : public PvGenEventSink {
public:
    // Registers a new sink in the process-wide registry and returns it
    // (null when memory is short). The registry owns it.
    static ORNCEventSink* Create(void (*callback)(ornc_param_t*, void*), void* callback_data);

    void OnParameterUpdate(PvGenParameter* aParameter) override;

    void* m_callback_data = nullptr;
    void (*m_callback)(ornc_param_t*, void*) = nullptr;
};
