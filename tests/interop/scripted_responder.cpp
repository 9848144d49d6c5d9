#include "scripted_responder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "wire/gvcp_packets.h"

namespace orntest {

uint32_t ipv4(const char* text) {
    in_addr parsed{};
    if (inet_pton(AF_INET, text, &parsed) != 1) {
        std::fprintf(stderr, "bad IPv4 text in a test: %s\n", text);
        std::abort();
    }
    return ntohl(parsed.s_addr);
}

std::vector<uint8_t> make_discovery_ack(uint16_t request_id, const AckFields& fields, uint32_t own_ip) {
    std::vector<uint8_t> block(gvcp::kDiscoveryAckPayloadSize, 0);
    uint8_t* payload = block.data();
    wire::store_be32(payload + gvcp::kDiscoveryVersionOffset, fields.gev_version);
    std::memcpy(payload + gvcp::kDiscoveryMacOffset, fields.mac, sizeof fields.mac);
    wire::store_be32(payload + gvcp::kDiscoverySupportedIpConfigOffset, fields.ip_config_supported);
    wire::store_be32(payload + gvcp::kDiscoveryCurrentIpConfigOffset, fields.ip_config_current);
    wire::store_be32(payload + gvcp::kDiscoveryCurrentIpOffset, fields.ip != 0 ? fields.ip : own_ip);
    wire::store_be32(payload + gvcp::kDiscoveryCurrentMaskOffset, fields.mask);
    wire::store_be32(payload + gvcp::kDiscoveryCurrentGatewayOffset, fields.gateway);
    auto put = [payload](size_t offset, size_t slot, const std::string& text) {
        std::memcpy(payload + offset, text.data(), text.size() < slot ? text.size() : slot);
    };
    put(gvcp::kDiscoveryManufacturerOffset, gvcp::MANUFACTURER_NAME_SIZE, fields.vendor);
    put(gvcp::kDiscoveryModelOffset, gvcp::MODEL_NAME_SIZE, fields.model);
    put(gvcp::kDiscoveryDeviceVersionOffset, gvcp::DEVICE_VERSION_SIZE, fields.version);
    put(gvcp::kDiscoverySerialOffset, gvcp::SERIAL_NUMBER_SIZE, fields.serial);
    put(gvcp::kDiscoveryUserNameOffset, gvcp::USER_DEFINED_NAME_SIZE, fields.user_name);
    return gvcp::build_discovery_ack(request_id, block);
}

ScriptedResponder::ScriptedResponder(std::string address, Script script)
    : address_(std::move(address)), script_(std::move(script)) {}

ScriptedResponder::~ScriptedResponder() { stop(); }

int bound_socket(uint32_t address, uint16_t port, std::string* error) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(address);
    local.sin_port = htons(port);
    if (fd < 0 || ::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        *error = std::string("bind: ") + std::strerror(errno);
        if (fd >= 0) ::close(fd);
        return -1;
    }
    return fd;
}

bool ScriptedResponder::start(std::string* error) {
    fd_ = bound_socket(address(), gvcp::kPort, error);
    if (fd_ < 0) {
        return false;
    }
    other_fd_ = bound_socket(address(), 0, error);
    if (other_fd_ < 0) {
        ::close(fd_);
        fd_ = -1;
        return false;
    }
    running_ = true;
    thread_ = std::thread([this] { run(); });
    return true;
}

void ScriptedResponder::stop() {
    running_ = false;
    if (thread_.joinable()) {
        thread_.join();
    }
    if (fd_ >= 0) ::close(fd_);
    if (other_fd_ >= 0) ::close(other_fd_);
    fd_ = other_fd_ = -1;
}

void ScriptedResponder::run() {
    while (running_) {
        pollfd polled{fd_, POLLIN, 0};
        if (::poll(&polled, 1, 20) <= 0) {
            continue;
        }
        uint8_t request[1024];
        sockaddr_in from{};
        socklen_t from_size = sizeof from;
        const ssize_t size =
            ::recvfrom(fd_, request, sizeof request, 0, reinterpret_cast<sockaddr*>(&from), &from_size);
        const gvcp::CommandHeader header = gvcp::read_command_header(request, size > 0 ? static_cast<size_t>(size) : 0);
        if (header.key != gvcp::kKey || header.command != gvcp::DISCOVERY_CMD) {
            continue;
        }
        ++requests_;
        const uint16_t request_id = header.request_id;
        for (const std::vector<uint8_t>& reply : script_(request_id)) {
            ::sendto(other_port_ ? other_fd_ : fd_, reply.data(), reply.size(), 0,
                     reinterpret_cast<const sockaddr*>(&from), from_size);
        }
    }
}

}  // namespace orntest
