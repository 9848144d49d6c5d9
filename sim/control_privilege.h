// Who controls the device: the control channel privilege (control or
// exclusive) of one application, identified by its IP address and UDP port,
// and the heartbeat that keeps it.
//
// Not thread-safe: owned and used by the control channel only.
#ifndef ORNSIM_CONTROL_PRIVILEGE_H
#define ORNSIM_CONTROL_PRIVILEGE_H

#include <chrono>
#include <cstdint>

namespace ornsim {

struct PeerAddress {
    uint32_t ip = 0;    // host order
    uint16_t port = 0;  // host order
    bool operator==(const PeerAddress& o) const { return ip == o.ip && port == o.port; }
};

class ControlPrivilege {
public:
    using Clock = std::chrono::steady_clock;

    bool has_controller() const { return ccp_ != 0; }
    bool is_controller(const PeerAddress& peer) const { return has_controller() && peer == controller_; }
    // Reads are open to everyone unless another application holds exclusive access.
    bool may_read(const PeerAddress& peer) const;
    // Writes and stream set-up: the controller, or anyone while nobody controls.
    bool may_write(const PeerAddress& peer) const;
    // A write to the privilege register. Returns a GVCP status.
    uint16_t write(const PeerAddress& peer, uint32_t value, Clock::time_point now);
    // Any command from the controller keeps the privilege alive.
    void touch(const PeerAddress& peer, Clock::time_point now);
    // Releases the privilege when the controller has been silent longer than
    // timeout_ms. Returns true when it did.
    bool expire(Clock::time_point now, uint32_t timeout_ms);
    void release() {
        ccp_ = 0;
        controller_ = PeerAddress{};
    }
    uint32_t register_value() const { return ccp_; }
    PeerAddress controller() const { return controller_; }

private:
    uint32_t ccp_ = 0;
    PeerAddress controller_;
    Clock::time_point last_seen_{};
};

}  // namespace ornsim

#endif  // ORNSIM_CONTROL_PRIVILEGE_H
