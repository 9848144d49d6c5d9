// The control channel's packet handler: one GVCP command datagram in, the
// acknowledge datagram out. Pure with respect to the network: it owns no
// socket and starts no thread, so a fuzzer or a test can drive it with bytes.
//
// Every length and offset of the incoming packet is checked before use; a
// packet that is too short to carry a request id is dropped, any other
// malformed packet is answered with an error status.
//
// Not thread-safe: one control thread calls it.
#ifndef ORNSIM_GVCP_HANDLER_H
#define ORNSIM_GVCP_HANDLER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "control_privilege.h"
#include "device_model.h"

namespace ornsim {

// What the running device does for the handler. The default does nothing,
// which is what the fuzzer wants.
class DeviceActions {
public:
    virtual ~DeviceActions() = default;
    virtual void apply(const WriteEffects& /*effects*/) {}
    virtual void packet_resend(uint64_t /*block_id*/, uint32_t /*first*/, uint32_t /*last*/) {}
    // FORCEIP: take the new address; false if it cannot be taken.
    virtual bool force_ip(uint32_t /*ip*/, uint32_t /*mask*/, uint32_t /*gateway*/) { return true; }
    // The controller released the device or its heartbeat expired.
    virtual void control_lost() {}
    // Action signals (bit n: signal n) firing now; `timestamp` is their device time.
    virtual void fire_actions(uint32_t /*signals*/, uint64_t /*timestamp*/) {}
    // Queues signals to fire at device time `time`; false when the queue is full.
    virtual bool schedule_actions(uint32_t /*signals*/, uint64_t /*time*/) { return true; }
};

struct HandlerCounters {
    uint64_t commands = 0;  // well-formed commands handled
    uint64_t errors = 0;    // packets answered with an error status or dropped as malformed
};

class GvcpHandler {
public:
    using Clock = std::chrono::steady_clock;

    GvcpHandler(DeviceModel& model, DeviceActions& actions);

    // Handles one datagram from peer. Returns the reply; empty when none is due.
    std::vector<uint8_t> handle(const uint8_t* data, size_t size, const PeerAddress& peer, Clock::time_point now);
    // Releases the privilege of a controller whose heartbeat expired.
    void check_heartbeat(Clock::time_point now);
    // Forgets the controller without touching the device (a power cycle resets it).
    void forget_controller() { privilege_.release(); }

    const HandlerCounters& counters() const { return counters_; }
    const ControlPrivilege& privilege() const { return privilege_; }

private:
    std::vector<uint8_t> ack(uint16_t status, uint16_t answer, uint16_t req_id, const uint8_t* payload, size_t size);
    std::vector<uint8_t> on_discovery(uint16_t req_id);
    std::vector<uint8_t> on_force_ip(const uint8_t* p, size_t n, uint16_t req_id, const PeerAddress& peer);
    std::vector<uint8_t> on_read_register(const uint8_t* p, size_t n, uint16_t req_id, const PeerAddress& peer);
    std::vector<uint8_t> on_write_register(const uint8_t* p, size_t n, uint16_t req_id, const PeerAddress& peer,
                                           Clock::time_point now);
    std::vector<uint8_t> on_read_memory(const uint8_t* p, size_t n, uint16_t req_id, const PeerAddress& peer);
    std::vector<uint8_t> on_write_memory(const uint8_t* p, size_t n, uint16_t req_id, const PeerAddress& peer,
                                         Clock::time_point now);
    void on_packet_resend(const uint8_t* p, size_t n, uint8_t flags);
    std::vector<uint8_t> on_action(const uint8_t* p, size_t n, uint8_t flags, uint16_t req_id);
    uint16_t write_word(uint32_t address, uint32_t value, const PeerAddress& peer, Clock::time_point now);
    void lose_control();

    DeviceModel& model_;
    DeviceActions& actions_;
    ControlPrivilege privilege_;
    HandlerCounters counters_;
};

}  // namespace ornsim

#endif  // ORNSIM_GVCP_HANDLER_H
