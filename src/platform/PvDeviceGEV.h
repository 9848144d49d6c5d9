// A GigE Vision device: the connection operations of PvDevice plus the
// GigE-specific ones, and two static operations that need no connection
// (the access-type query and the immediate IP configuration).
#pragma once

#include <cstdint>

#include "platform/PvAccessType.h"
#include "platform/PvDevice.h"
#include "platform/PvResult.h"
#include "platform/PvString.h"
#include "platform/device_clock.h"

class PvDeviceGEV : public PvDevice {
public:
    // Reads who controls the device at `ip` (dotted decimal) without
    // taking control. TIMEOUT when nothing answers.
    static PvResult GetAccessType(const PvString& ip, PvAccessType& type);
    // FORCEIP to the device with MAC address `mac`, on every adapter that
    // discovery uses. The texts are dotted decimal / colon-separated hex.
    static PvResult SetIPConfiguration(const PvString& mac, const PvString& ip, const PvString& mask,
                                       const PvString& gateway);

    ~PvDeviceGEV() override;

    // Finds the largest packet size that reaches the host on stream
    // `channel` and sets it (test packets with the don't-fragment bit, so
    // a size needing IP fragments does not count). When the test fails (no
    // test packet arrives; TIMEOUT) and `fallback` is non-zero, sets
    // `fallback` instead (the result still reports the failure). A device
    // without test packets keeps its size. Only channel 0 is supported.
    PvResult NegotiatePacketSize(uint32_t channel = 0, uint32_t fallback = 0);
    // Points stream `channel` of the device at `ip`:`port`.
    PvResult SetStreamDestination(const PvString& ip, uint16_t port, uint32_t channel = 0);

    // The device's tick frequency and, from a few latches of its timestamp
    // (the shortest round trip kept), where its clock stands against the
    // host's CLOCK_REALTIME. NOT_SUPPORTED when the device gives no
    // frequency (nothing filled) or its latch does not move (the frequency
    // filled, `mapped` false).
    PvResult MapClock(platform::DeviceClockMap* map);

    // Dotted decimal addresses of both ends of the control connection.
    PvString GetIPAddress() const { return device_ip_; }
    PvString GetLocalIPAddress() const { return interface_ip_; }

    // --- platform side -------------------------------------------------
    // The device's timestamp tick frequency from its bootstrap registers
    // (0 when it gives none). Node map lock held.
    PvResult ReadTickFrequencyLocked(uint64_t* frequency);
    // The connected device at `ip`, or null. Streams open through it.
    static PvDeviceGEV* FindConnected(const PvString& ip);
    // Gives up this connection's claim on its device's address: it is no
    // longer found, and a new connection to the device is not refused as
    // "already connected". For a connection whose link is lost and that is
    // taken down in the background, which may take seconds of time-outs.
    void ReleaseAddress();
    // A controller holds the device's control privilege; a monitor only
    // reads (PvDevice::CreateAndConnectMonitor), is not found by
    // FindConnected and may share the device with a controller.
    enum class Role { Controller, Monitor };
    // Connects to `device_ip` from the local address `interface_ip`.
    static PvDeviceGEV* Connect(const PvString& interface_ip, const PvString& device_ip, PvResult* result,
                                Role role = Role::Controller);

private:
    PvDeviceGEV() = default;
    void BeforeDisconnect() override;

    PvString device_ip_;
    PvString interface_ip_;
};
