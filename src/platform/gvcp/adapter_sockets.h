// The sockets that discovery and action commands send from: one on the
// loopback adapter that asks each loopback host by unicast, and one per
// address of any other adapter that broadcasts. Both take bursts of acks;
// a failure is logged, naming `what` ("discovery", "action").
#pragma once

#include <cstdint>
#include <vector>

#include "platform/gvcp/address_list.h"
#include "platform/gvcp/network_adapters.h"
#include "wire/udp_socket.h"

namespace gvcp {

// Opens `socket` on the loopback adapter's first address (reporting refused
// targets on its error queue) and sends `command` to every target; those it
// went to are added to `sent`.
bool open_loopback_socket(const NetworkAdapter& adapter, const AddressList& targets,
                          const std::vector<uint8_t>& command, const char* what, wire::UdpSocket* socket,
                          AddressList* sent);

// Opens `socket` on `address` of `adapter`, allowed to broadcast.
bool open_broadcast_socket(const NetworkAdapter& adapter, uint32_t address, const char* what, wire::UdpSocket* socket);

}  // namespace gvcp
