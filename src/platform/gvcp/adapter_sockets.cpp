#include "platform/gvcp/adapter_sockets.h"

#include <string>

#include "base/log.h"
#include "wire/gvcp_layout.h"

namespace gvcp {

namespace {

// Room for a burst of acks (a device that answers many times, or many
// devices at once) while the caller is busy elsewhere; the kernel caps it.
constexpr int kReceiveBufferBytes = 1 << 20;

}  // namespace

bool open_loopback_socket(const NetworkAdapter& adapter, const AddressList& targets,
                          const std::vector<uint8_t>& command, const char* what, wire::UdpSocket* socket,
                          AddressList* sent) {
    std::string error;
    if (!socket->open(adapter.addresses.front().address, 0, &error)) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: %s on %s: %s", what, adapter.name.c_str(),
                 error.c_str());
        return false;
    }
    socket->enable_error_queue();
    socket->set_receive_buffer(kReceiveBufferBytes);
    for (uint32_t target : targets) {
        if (socket->send_to(target, kPort, command.data(), command.size(), &error)) sent->push_back(target);
    }
    return true;
}

bool open_broadcast_socket(const NetworkAdapter& adapter, uint32_t address, const char* what, wire::UdpSocket* socket) {
    std::string error;
    if (!socket->open(address, 0, &error) || !socket->enable_broadcast()) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: %s on %s: %s", what, adapter.name.c_str(),
                 error.c_str());
        return false;
    }
    socket->set_receive_buffer(kReceiveBufferBytes);
    return true;
}

}  // namespace gvcp
