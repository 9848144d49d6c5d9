#include "platform/gvcp/discovery.h"

#include <algorithm>
#include <memory>

#include "base/log.h"
#include "platform/gvcp/adapter_sockets.h"
#include "platform/gvcp/command_transaction.h"
#include "platform/gvcp/request_id.h"
#include "wire/address_text.h"
#include "wire/gvcp_packets.h"
#include "wire/udp_socket.h"

namespace gvcp {

namespace {

constexpr uint32_t kLimitedBroadcast = 0xFFFFFFFFu;
constexpr size_t kReceiveCapacity = 2048;  // larger than any valid ack, so oversize is seen
// A loopback target that has neither answered nor been refused is asked
// again at this pace: its ack may have been dropped under a burst from
// another peer, and a second request costs nothing.
constexpr int kLoopbackRepeatMs = 200;

// One socket of one adapter and what it still waits for.
struct Probe {
    size_t adapter = 0;
    wire::UdpSocket socket;
    bool loopback = false;
    AddressList pending;  // loopback targets not yet answered or refused
};

std::vector<uint8_t> discovery_command(uint16_t request_id) {
    return build_command(kFlagAckRequired | kFlagDiscoveryAllowBroadcastAck, DISCOVERY_CMD, request_id, {});
}

void open_loopback_probe(size_t index, const NetworkAdapter& adapter, const DiscoverySettings& settings,
                         const std::vector<uint8_t>& command, std::vector<std::unique_ptr<Probe>>* probes) {
    auto probe = std::make_unique<Probe>();
    probe->adapter = index;
    probe->loopback = true;
    if (open_loopback_socket(adapter, settings.loopback_targets, command, "discovery", &probe->socket,
                             &probe->pending)) {
        probes->push_back(std::move(probe));
    }
}

void open_broadcast_probes(size_t index, const NetworkAdapter& adapter, const std::vector<uint8_t>& command,
                           std::vector<std::unique_ptr<Probe>>* probes) {
    for (const AdapterAddress& address : adapter.addresses) {
        auto probe = std::make_unique<Probe>();
        probe->adapter = index;
        if (address.address == 0 || !open_broadcast_socket(adapter, address.address, "discovery", &probe->socket)) {
            continue;
        }
        std::string error;
        bool sent = false;
        if (address.broadcast != 0) {
            sent = probe->socket.send_to(address.broadcast, kPort, command.data(), command.size(), &error) || sent;
        }
        // The limited broadcast reaches devices configured for another
        // subnet, but only a socket tied to this adapter may send it:
        // otherwise it would leave through whatever adapter routing picks.
        if (probe->socket.bind_to_device(adapter.name)) {
            sent = probe->socket.send_to(kLimitedBroadcast, kPort, command.data(), command.size(), &error) || sent;
        }
        if (!sent) {
            ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: discovery on %s (%s) not sent %s",
                     adapter.name.c_str(), wire::format_ipv4(address.address).c_str(), error.c_str());
            continue;
        }
        probes->push_back(std::move(probe));
    }
}

// Asks the loopback targets that are still silent once more.
void repeat_to_pending(Probe* probe, const std::vector<uint8_t>& command) {
    std::string error;
    for (uint32_t target : probe->pending) {
        probe->socket.send_to(target, kPort, command.data(), command.size(), &error);
    }
}

void forget_pending(Probe* probe, uint32_t address) {
    probe->pending.erase(std::remove(probe->pending.begin(), probe->pending.end(), address), probe->pending.end());
}

// Reads everything the socket holds. Returns true when an ack was accepted.
bool drain(Probe* probe, const std::string& adapter_name, uint16_t request_id, AdapterDiscovery* result) {
    bool accepted_any = false;
    uint8_t datagram[kReceiveCapacity];
    for (;;) {
        uint32_t source = 0;
        uint16_t port = 0;
        const long size = probe->socket.receive(datagram, sizeof datagram, &source, &port);
        if (size < 0) {
            break;
        }
        // On loopback an address that answered, even badly, is done: a
        // second answer to the same request is not waited for.
        forget_pending(probe, source);
        if (port != kPort) {
            ++result->dropped_acks;
            ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT,
                     "ORNC: GVCP: dropped datagram on %s from %s:%u (not the control port)", adapter_name.c_str(),
                     wire::format_ipv4(source).c_str(), port);
            continue;
        }
        DeviceIdentity identity;
        const AckVerdict verdict =
            static_cast<size_t>(size) > sizeof datagram
                ? AckVerdict::kLengthMismatch
                : decode_discovery_ack(datagram, static_cast<size_t>(size), request_id, source, &identity);
        if (verdict != AckVerdict::kAccepted) {
            ++result->dropped_acks;
            ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: GVCP: dropped %s from %s on %s, %ld bytes: %s",
                     command_name(static_cast<Command>(
                         read_ack_header(datagram, std::min(static_cast<size_t>(size), sizeof datagram)).answer)),
                     wire::format_ipv4(source).c_str(), adapter_name.c_str(), size, ack_verdict_text(verdict));
            continue;
        }
        // A device that heard both broadcasts answers twice: keep one. Two
        // devices on one address (a conflict FORCEIP resolves) are two.
        const bool known = std::any_of(
            result->devices.begin(), result->devices.end(), [source, &identity](const DiscoveredDevice& device) {
                return device.identity.ip_address == source && device.identity.mac == identity.mac;
            });
        if (known || result->devices.size() >= kMaxDevicesPerAdapter) {
            continue;
        }
        DiscoveredDevice device;
        device.identity = std::move(identity);
        device.local_address = probe->socket.local_address();
        result->devices.push_back(std::move(device));
        accepted_any = true;
    }
    // Refused addresses have nothing listening: no answer will come.
    uint32_t refused = 0;
    while (probe->socket.receive_error(&refused)) {
        forget_pending(probe, refused);
    }
    return accepted_any;
}

}  // namespace

bool discover_devices(const std::vector<NetworkAdapter>& adapters, const DiscoverySettings& settings,
                      std::vector<AdapterDiscovery>* results, std::string* error) {
    results->assign(adapters.size(), AdapterDiscovery{});
    if (adapters.empty()) {
        return true;
    }
    const uint16_t request_id = next_request_id();
    const std::vector<uint8_t> command = discovery_command(request_id);
    const int64_t start = wire::monotonic_ms();

    std::vector<std::unique_ptr<Probe>> probes;
    for (size_t i = 0; i < adapters.size(); ++i) {
        const NetworkAdapter& adapter = adapters[i];
        if (adapter.addresses.empty()) {
            continue;
        }
        if (adapter.loopback) {
            open_loopback_probe(i, adapter, settings, command, &probes);
        } else {
            open_broadcast_probes(i, adapter, command, &probes);
        }
    }
    if (probes.empty()) {
        if (error != nullptr) *error = "no adapter could send a discovery";
        return false;
    }
    const bool any_broadcast =
        std::any_of(probes.begin(), probes.end(), [](const std::unique_ptr<Probe>& p) { return !p->loopback; });

    const int64_t deadline = start + settings.timeout_ms;
    // Until a first answer comes, only the time-out ends a broadcast:
    // a device may delay its answer on purpose.
    int64_t quiet_deadline = deadline;
    int64_t next_repeat = start + kLoopbackRepeatMs;
    DescriptorList fds;
    for (const auto& probe : probes) {
        fds.push_back(probe->socket.fd());
    }
    for (;;) {
        const bool loopback_answered = std::all_of(probes.begin(), probes.end(),
                                                   [](const std::unique_ptr<Probe>& p) { return p->pending.empty(); });
        const int64_t now = wire::monotonic_ms();
        if (now >= deadline || (loopback_answered && (!any_broadcast || now >= quiet_deadline))) {
            break;
        }
        // Wake for the quiet deadline only while it lies ahead: once it has
        // passed, only loopback answers (or the time-out) are waited for.
        if (now >= next_repeat) {
            for (auto& probe : probes) {
                if (probe->loopback) {
                    repeat_to_pending(probe.get(), command);
                }
            }
            next_repeat = now + kLoopbackRepeatMs;
        }
        int64_t wait = std::min(deadline, next_repeat) - now;
        if (any_broadcast && quiet_deadline > now) {
            wait = std::min(wait, quiet_deadline - now);
        }
        if (!wire::wait_readable(fds.data(), fds.size(), static_cast<int>(wait))) {
            continue;
        }
        for (auto& probe : probes) {
            if (drain(probe.get(), adapters[probe->adapter].name, request_id, &(*results)[probe->adapter])) {
                quiet_deadline = wire::monotonic_ms() + settings.quiet_ms;
            }
        }
    }

    size_t found = 0;
    for (const AdapterDiscovery& result : *results) {
        found += result.devices.size();
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: GVCP: discovery on %zu adapters: %zu devices in %lld ms",
             adapters.size(), found, static_cast<long long>(wire::monotonic_ms() - start));
    return true;
}

}  // namespace gvcp
