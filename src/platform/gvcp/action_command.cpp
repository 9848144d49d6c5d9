#include "platform/gvcp/action_command.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "base/log.h"
#include "platform/gvcp/action_ack.h"
#include "platform/gvcp/adapter_sockets.h"
#include "platform/gvcp/address_list.h"
#include "platform/gvcp/discovery_settings.h"
#include "platform/gvcp/network_adapters.h"
#include "platform/gvcp/request_id.h"
#include "wire/address_text.h"
#include "wire/gvcp_packets.h"
#include "wire/udp_socket.h"

namespace gvcp {

namespace {

constexpr uint32_t kLimitedBroadcast = 0xFFFFFFFFu;
constexpr size_t kReceiveCapacity = 2048;  // larger than any ack, so oversize is seen
// Senders remembered per command; a flood of forged addresses stops here.
constexpr size_t kMaxSenders = 4096;
// Invalid datagrams logged one by one per command; the rest are counted.
constexpr int kLoggedDrops = 8;

struct Route {
    wire::UdpSocket socket;
    bool loopback = false;
    AddressList pending;  // loopback targets not yet answered or refused
};

struct Collector {
    uint16_t request_id = 0;
    AddressList senders;  // every address an ack of this request came from
    ActionOutcome* outcome = nullptr;

    // True when the datagram is a well-formed ack of this request.
    bool take(const uint8_t* datagram, long size, uint32_t source, uint16_t port) {
        uint16_t status = 0;
        const ActionAckVerdict verdict =
            static_cast<size_t>(size) > kReceiveCapacity
                ? ActionAckVerdict::kLengthMismatch
                : decode_action_ack(datagram, static_cast<size_t>(size), request_id, &status);
        if (verdict != ActionAckVerdict::kAccepted || port != kPort) {
            if (++outcome->dropped <= kLoggedDrops) {
                ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: dropped datagram from %s:%u, %ld bytes: %s",
                         wire::format_ipv4(source).c_str(), port, size,
                         port != kPort ? "not from the control port" : action_ack_verdict_text(verdict));
            }
            return false;
        }
        if (std::find(senders.begin(), senders.end(), source) != senders.end() || senders.size() >= kMaxSenders) {
            return true;  // one device, one answer: a repeated ack counts once
        }
        senders.push_back(source);
        if (action_taken(status)) {
            ++outcome->acknowledged;
        } else {
            ++outcome->refused;
        }
        if (status != STATUS_SUCCESS) {
            ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: action %s by %s: status %s (0x%04x)",
                     action_taken(status) ? "taken late" : "refused", wire::format_ipv4(source).c_str(),
                     status_name(static_cast<Status>(status)), status);
        }
        return true;
    }
};

void forget(Route* route, uint32_t address) {
    route->pending.erase(std::remove(route->pending.begin(), route->pending.end(), address), route->pending.end());
}

// Reads what the socket holds, until the deadline at the latest.
void drain(Route* route, Collector* collector, int64_t deadline) {
    uint8_t datagram[kReceiveCapacity];
    while (wire::monotonic_ms() < deadline) {
        uint32_t source = 0;
        uint16_t port = 0;
        const long size = route->socket.receive(datagram, sizeof datagram, &source, &port);
        if (size < 0) break;
        // Only an ack settles a loopback target: garbage first may hide one behind it.
        if (collector->take(datagram, size, source, port)) forget(route, source);
    }
    uint32_t refused = 0;
    while (route->socket.receive_error(&refused)) forget(route, refused);
}

void open_loopback_route(const NetworkAdapter& adapter, const AddressList& targets, const std::vector<uint8_t>& command,
                         std::vector<std::unique_ptr<Route>>* routes, ActionOutcome* outcome) {
    auto route = std::make_unique<Route>();
    route->loopback = true;
    if (open_loopback_socket(adapter, targets, command, "action", &route->socket, &route->pending)) {
        outcome->targets += static_cast<int>(route->pending.size());
        routes->push_back(std::move(route));
    }
}

void open_broadcast_routes(const NetworkAdapter& adapter, const std::vector<uint8_t>& command,
                           std::vector<std::unique_ptr<Route>>* routes, ActionOutcome* outcome) {
    for (const AdapterAddress& address : adapter.addresses) {
        auto route = std::make_unique<Route>();
        if (address.address == 0 || !open_broadcast_socket(adapter, address.address, "action", &route->socket)) {
            continue;
        }
        std::string error;
        // The limited broadcast leaves through the adapter the socket is tied
        // to. An address without a subnet broadcast reports itself as one.
        const bool subnet = address.broadcast != 0 && address.broadcast != address.address;
        const bool sent =
            subnet ? route->socket.send_to(address.broadcast, kPort, command.data(), command.size(), &error)
                   : route->socket.bind_to_device(adapter.name) &&
                         route->socket.send_to(kLimitedBroadcast, kPort, command.data(), command.size(), &error);
        if (!sent) {
            ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: action on %s (%s) not sent %s",
                     adapter.name.c_str(), wire::format_ipv4(address.address).c_str(), error.c_str());
            continue;
        }
        ++outcome->targets;
        routes->push_back(std::move(route));
    }
}

}  // namespace

bool send_action_command(const ActionRequest& request, int wait_ms, ActionOutcome* outcome) {
    *outcome = ActionOutcome{};
    const std::vector<NetworkAdapter> adapters = list_network_adapters(std::getenv(kInterfacesVariable));
    const DiscoverySettings settings = discovery_settings_from_environment();

    ActionCommand action;
    action.device_key = request.device_key;
    action.group_key = request.group_key;
    action.group_mask = request.group_mask;
    if (request.scheduled_time != 0) {
        action.action_time = request.scheduled_time;
    }
    Collector collector;
    collector.request_id = next_request_id();
    collector.outcome = outcome;
    const std::vector<uint8_t> command = build_action_command(true, collector.request_id, action);

    const int64_t start = wire::monotonic_ms();
    std::vector<std::unique_ptr<Route>> routes;
    for (const NetworkAdapter& adapter : adapters) {
        if (adapter.addresses.empty()) continue;
        if (adapter.loopback) {
            open_loopback_route(adapter, settings.loopback_targets, command, &routes, outcome);
        } else {
            open_broadcast_routes(adapter, command, &routes, outcome);
        }
    }
    if (routes.empty()) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: action command sent nowhere (%zu adapters)",
                 adapters.size());
        return adapters.empty();
    }
    const bool broadcast =
        std::any_of(routes.begin(), routes.end(), [](const std::unique_ptr<Route>& r) { return !r->loopback; });
    DescriptorList fds;
    for (const auto& route : routes) fds.push_back(route->socket.fd());

    const int64_t deadline = start + wait_ms;
    for (;;) {
        const int64_t now = wire::monotonic_ms();
        const bool answered = std::all_of(routes.begin(), routes.end(),
                                          [](const std::unique_ptr<Route>& r) { return r->pending.empty(); });
        if (now >= deadline || (!broadcast && answered)) break;
        if (!wire::wait_readable(fds.data(), fds.size(), static_cast<int>(deadline - now))) continue;
        for (auto& route : routes) drain(route.get(), &collector, deadline);
    }
    if (outcome->dropped > kLoggedDrops) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: %d invalid datagrams dropped in all",
                 outcome->dropped);
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT,
             "ORNC: GVCP: action (device key 0x%08x, group key 0x%08x, mask 0x%08x, time %llu) to %d targets: %d "
             "acknowledged, %d refused in %lld ms",
             request.device_key, request.group_key, request.group_mask,
             static_cast<unsigned long long>(request.scheduled_time), outcome->targets, outcome->acknowledged,
             outcome->refused, static_cast<long long>(wire::monotonic_ms() - start));
    return true;
}

}  // namespace gvcp
