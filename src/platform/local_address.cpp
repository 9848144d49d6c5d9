#include "platform/local_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/gvcp/network_adapters.h"
#include "wire/gvcp_layout.h"
#include "wire/udp_socket.h"

namespace platform {

namespace {
constexpr uint32_t kLoopbackNet = 0x7F000000;  // 127.0.0.0/8
constexpr uint32_t kLoopbackMask = 0xFF000000;
}  // namespace

bool is_local_ipv4(uint32_t address) {
    if ((address & kLoopbackMask) == kLoopbackNet) {
        return true;
    }
    for (const gvcp::NetworkAdapter& adapter : gvcp::list_network_adapters(nullptr)) {
        for (const gvcp::AdapterAddress& own : adapter.addresses) {
            if (own.address == address) {
                return true;
            }
        }
    }
    return false;
}

bool local_address_for(uint32_t destination, uint32_t& local) {
    // connect() on a datagram socket only picks the route and the source
    // address; no packet leaves the host.
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    const sockaddr_in peer = wire::socket_address(destination, gvcp::kPort);
    sockaddr_in own{};
    socklen_t own_size = sizeof own;
    const bool found = connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&own), &own_size) == 0;
    close(fd);
    if (!found || own.sin_addr.s_addr == 0) {
        return false;
    }
    local = ntohl(own.sin_addr.s_addr);
    return true;
}

}  // namespace platform
