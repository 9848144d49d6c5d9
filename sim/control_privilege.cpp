#include "control_privilege.h"

#include "wire/gvcp_layout.h"

namespace ornsim {

bool ControlPrivilege::may_read(const PeerAddress& peer) const {
    return (ccp_ & gvcp::CCP_EXCLUSIVE) == 0 || peer == controller_;
}

bool ControlPrivilege::may_write(const PeerAddress& peer) const { return !has_controller() || peer == controller_; }

uint16_t ControlPrivilege::write(const PeerAddress& peer, uint32_t value, Clock::time_point now) {
    uint32_t wanted = value & (gvcp::CCP_CONTROL | gvcp::CCP_EXCLUSIVE);
    if (has_controller() && !(peer == controller_)) return gvcp::STATUS_ACCESS_DENIED;
    if (wanted == 0) {
        release();
        return gvcp::STATUS_SUCCESS;
    }
    ccp_ = wanted;
    controller_ = peer;
    last_seen_ = now;
    return gvcp::STATUS_SUCCESS;
}

void ControlPrivilege::touch(const PeerAddress& peer, Clock::time_point now) {
    if (is_controller(peer)) last_seen_ = now;
}

bool ControlPrivilege::expire(Clock::time_point now, uint32_t timeout_ms) {
    if (!has_controller()) return false;
    if (now - last_seen_ <= std::chrono::milliseconds(timeout_ms)) return false;
    release();
    return true;
}

}  // namespace ornsim
