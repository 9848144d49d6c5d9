// A connected device: its control channel and its node maps.
//
// Ownership: CreateAndConnect returns an object the caller releases with
// PvDevice::Free (which disconnects first when needed). The device owns
// its two parameter arrays; they and every parameter they hold die at
// Disconnect, so handles lent to the application are valid from connect
// until disconnect.
//
// Threads: Aravis runs the heartbeat on a thread of its own; every node
// map access is serialised by the array's lock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/PvDeviceEventSink.h"
#include "platform/PvDeviceInfo.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvResult.h"
#include "platform/PvString.h"

typedef struct _ArvDevice ArvDevice;

class PvDevice {
public:
    // Connects to the device discovery described. Null on failure, with
    // the reason in `*result` when `result` is non-null.
    static PvDevice* CreateAndConnect(const PvDeviceInfo* device_info, PvResult* result);
    // Connects to the GigE Vision device at `ip` (dotted decimal) without
    // discovery; the host end is the local address that routes to it.
    static PvDevice* CreateAndConnect(const PvString& ip, PvResult* result);
    // Connects without taking control, as a monitor: reads work, every
    // write through the node maps is refused before it is sent (see
    // PvGenParameterArray::SetReadOnly), no heartbeat keeps control, no
    // stream or message channel can be opened. Another application may
    // control the device meanwhile.
    static PvDevice* CreateAndConnectMonitor(const PvDeviceInfo* device_info, PvResult* result);
    // Disconnects (when connected) and deletes. Null is accepted.
    static void Free(PvDevice* device);

    virtual ~PvDevice();
    PvDevice(const PvDevice&) = delete;
    PvDevice& operator=(const PvDevice&) = delete;

    // Releases control and the node maps. NOT_CONNECTED when not connected.
    PvResult Disconnect();
    bool IsConnected() const { return device_ != nullptr; }

    // Null when not connected.
    PvGenParameterArray* GetParameters() const { return parameters_.get(); }
    PvGenParameterArray* GetCommunicationParameters() const { return communication_.get(); }

    // The device's "PayloadSize"; 0 when it cannot be read.
    uint32_t GetPayloadSize();

    // Prepares stream `channel` of the device for an acquisition: locks
    // the transport parameters ("TLParamsLocked", when the device has
    // it) and, when multipart transfer is enabled on the channel, turns
    // on the extended ids that multipart frames need. StreamDisable
    // unlocks. NOT_CONNECTED when not connected, INVALID_PARAMETER for a
    // channel the device does not have.
    PvResult StreamEnable(uint32_t channel = 0);
    PvResult StreamDisable(uint32_t channel = 0);

    // Link-loss and device-event notifications (see PvDeviceEventSink).
    // Registering the first sink opens the message channel (a socket on
    // the host end of the control connection that the device sends its
    // events to); unregistering the last one closes it. The sink is
    // borrowed; the device forgets it at UnregisterEventSink and at
    // Disconnect. INVALID_PARAMETER for null or a sink already
    // registered, NOT_CONNECTED when not connected; a device without a
    // message channel still reports link loss.
    PvResult RegisterEventSink(PvDeviceEventSink* sink);
    PvResult UnregisterEventSink(PvDeviceEventSink* sink);

    // Writes the device's description file as the device stores it: a
    // name ending in ".zip" gets a zip archive holding the XML (the
    // device's own archive when it has one), any other name the plain XML.
    PvResult DumpGenICamXML(const PvString& file_name);

    // --- platform side -------------------------------------------------
    ArvDevice* GetArvDevice() const { return device_; }

    // Runs `release`, which may let go of the last other hold on a
    // disconnected device (a stream that outlived the connection): that
    // device is then released right here, so control is free when this
    // returns. Anywhere else such a release runs on a short-lived thread.
    static void ReleaseHere(const std::function<void()>& release);

protected:
    PvDevice();
    // Takes the reference on `device`, builds the node maps.
    PvResult Attach(ArvDevice* device);
    // Hook for the kind-specific part of disconnecting, run first.
    virtual void BeforeDisconnect() {}

private:
    class CommunicationHooks;
    class EventDispatch;
    class Hold;
    // Defined with EventDispatch (PvDevice_events.cpp).
    struct EventDispatchDeleter {
        void operator()(EventDispatch* events) const;
    };

    // NOT_CONNECTED without a device, INVALID_PARAMETER for a channel the
    // device does not have.
    PvResult CheckStreamChannel(uint32_t channel);
    // Ends the notifications (PvDevice_events.cpp).
    void StopEvents();
    PvResult SetTransportLock(bool locked);

    ArvDevice* device_ = nullptr;
    Hold* hold_ = nullptr;  // our reference on device_; gives itself up
    std::unique_ptr<PvGenParameterArray> parameters_;
    std::unique_ptr<PvGenParameterArray> communication_;
    std::unique_ptr<CommunicationHooks> communication_hooks_;
    // Sinks, the link-loss handler and the message channel; created at the
    // first RegisterEventSink.
    std::unique_ptr<EventDispatch, EventDispatchDeleter> events_;
};
