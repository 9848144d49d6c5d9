#include "platform/gvcp/force_ip.h"

#include <memory>

#include "platform/gvcp/command_transaction.h"
#include "platform/gvcp/request_id.h"
#include "wire/gvcp_layout.h"

namespace gvcp {

namespace {

constexpr uint32_t kLimitedBroadcast = 0xFFFFFFFFu;

}  // namespace

ForceIpResult force_ip(const wire::MacAddress& mac, uint32_t ip, uint32_t mask, uint32_t gateway,
                       const std::vector<NetworkAdapter>& adapters, const DiscoverySettings& settings) {
    std::vector<std::unique_ptr<wire::UdpSocket>> sockets;
    std::vector<TransactionRoute> routes;
    for (const NetworkAdapter& adapter : adapters) {
        for (const AdapterAddress& address : adapter.addresses) {
            auto socket = std::make_unique<wire::UdpSocket>();
            if (address.address == 0 || !socket->open(address.address, 0, nullptr)) {
                continue;
            }
            TransactionRoute route;
            route.socket = socket.get();
            if (adapter.loopback) {
                socket->enable_error_queue();
                route.targets = settings.loopback_targets;
            } else {
                socket->enable_broadcast();
                if (address.broadcast != 0) {
                    route.targets.push_back(address.broadcast);
                }
                if (socket->bind_to_device(adapter.name)) {
                    route.targets.push_back(kLimitedBroadcast);
                }
            }
            if (route.targets.empty()) {
                continue;
            }
            routes.push_back(route);
            sockets.push_back(std::move(socket));
            if (adapter.loopback) {
                break;  // one socket reaches every loopback target
            }
        }
    }
    ForceIpResult result;
    if (routes.empty()) {
        result.detail = "no adapter to send on";
        return result;
    }
    const std::vector<uint8_t> command = build_force_ip(next_request_id(), ForceIpRequest{mac, ip, mask, gateway});
    const TransactionResult transaction =
        run_transaction(routes, command, FORCEIP_ACK, 0, kForceIpTimeoutMs, kForceIpAttempts);
    result.detail = transaction.detail;
    switch (transaction.outcome) {
        case TransactionOutcome::kAcknowledged:
            result.outcome = ForceIpOutcome::kDone;
            break;
        case TransactionOutcome::kDeviceError:
        case TransactionOutcome::kInvalidAnswer:
            result.outcome = ForceIpOutcome::kRefused;
            break;
        case TransactionOutcome::kTimeout:
        case TransactionOutcome::kUnreachable:
            result.outcome = ForceIpOutcome::kTimeout;
            break;
        case TransactionOutcome::kSendFailed:
            result.outcome = ForceIpOutcome::kNotSent;
            break;
    }
    return result;
}

}  // namespace gvcp
