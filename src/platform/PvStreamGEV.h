// The receiving end of a GigE Vision stream channel (GVSP over UDP).
#pragma once

#include <cstdint>

#include "platform/PvStream.h"

class PvStreamGEV : public PvStream {
public:
    ~PvStreamGEV() override;

    // Host end of the stream: the UDP port it is received on and the
    // local address of the device's control connection.
    uint16_t GetLocalPort() const { return local_port_; }
    PvString GetLocalIPAddress() const { return local_ip_; }

    // --- platform side -------------------------------------------------
    // Receives through our own receiver, or through Aravis's when the
    // environment says ORNC_STREAM_RECEIVER=aravis (read here; any other
    // value than "own" or "aravis" is logged and means our own).
    static PvStreamGEV* Open(const PvString& device_ip, PvResult* result);

private:
    PvStreamGEV() = default;
    // Our own receiver closes the device's stream channel (port 0) when it
    // goes, as Aravis's stream does, so that a device still streaming does
    // not send to a closed port.
    void AfterReceiverClosedLocked() override;

    uint16_t local_port_ = 0;
    PvString local_ip_;
    PvString device_ip_;
    bool own_receiver_ = false;
};
