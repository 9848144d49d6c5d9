// The receiving end of a GigE Vision stream channel (GVSP over UDP).
#pragma once

#include <cstdint>

#include "platform/PvStream.h"

class PvStreamGEV : public PvStream {
public:
    ~PvStreamGEV() override;

    // Host end of the stream: the UDP port Aravis receives on and the
    // local address of the device's control connection.
    uint16_t GetLocalPort() const { return local_port_; }
    PvString GetLocalIPAddress() const { return local_ip_; }

    // --- platform side -------------------------------------------------
    static PvStreamGEV* Open(const PvString& device_ip, PvResult* result);

private:
    PvStreamGEV() = default;

    uint16_t local_port_ = 0;
    PvString local_ip_;
};
