// Which host address talks to a device: the control connection must be
// bound to an address of this host (Aravis does not check, and fails
// badly when it is not).
#pragma once

#include <cstdint>

namespace platform {

// True when `address` belongs to this host (any loopback address counts).
bool is_local_ipv4(uint32_t address);

// The local address the kernel would send from to reach `destination`;
// nothing is sent. False when there is no route.
bool local_address_for(uint32_t destination, uint32_t& local);

}  // namespace platform
