// The receiving end of a GigE Vision stream channel (GVSP over UDP).
#pragma once

#include <cstdint>
#include <memory>

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
    bool FindResentPackets(uint64_t block_id, uint32_t* packets) override;

private:
    // Shortens how long the receiver holds an unfinished frame when
    // buffers run short or the device refused its resend (PvStreamGEV.cpp).
    class RetentionGuard;
    // The receiving thread's notifications: the retention guard and the
    // resent-packet ledger (PvStreamGEV.cpp).
    struct ReceiverWatch;

    PvStreamGEV() = default;
    void WhileRetrieving(ArvStream* stream) override;
    void AfterAbort() override;

    uint16_t local_port_ = 0;
    PvString local_ip_;
    // Used by the receiving thread until the stream is closed; outlives it.
    std::unique_ptr<ReceiverWatch> receiver_;
};
