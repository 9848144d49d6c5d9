// One ACTION_CMD to every device this host asks, and the ACTION_ACKs that
// come back within a bounded wait.
//
// Targets follow discovery's (see discovery_settings.h): the adapters named
// in ORNC_INTERFACES (all when unset) get the command once on each
// address's subnet broadcast (the limited broadcast, tied to the adapter,
// when the address has none); the loopback adapter gets it by unicast at
// every ORNC_LOOPBACK_HOSTS address. The command is sent once per target:
// a device that heard it twice would fire twice.
//
// Every datagram that comes back is checked (see action_ack.h); a sender
// counts once however many acks it sends. The wait ends after `wait_ms`,
// or earlier when only loopback targets were asked and each has sent an
// ack of this command or was refused.
#pragma once

#include <cstdint>

namespace gvcp {

// The keys and mask, and the device time in ns (0: at once).
struct ActionRequest {
    uint32_t device_key = 0, group_key = 0, group_mask = 0;
    uint64_t scheduled_time = 0;
};

struct ActionOutcome {
    int acknowledged = 0;  // senders whose ack says the action was taken
    int refused = 0;       // senders whose ack refused it (status logged by name)
    int dropped = 0;       // datagrams that were no valid ack of this request
    int targets = 0;       // broadcast and loopback addresses the command went to
};

constexpr int kActionAckWaitMs = 100;

// False when the command could not be sent anywhere although there were
// adapters to send it on; `outcome` is filled either way.
bool send_action_command(const ActionRequest& request, int wait_ms, ActionOutcome* outcome);

}  // namespace gvcp
