#include "udp_endpoint.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "wire/address_text.h"

namespace orntest {

uint32_t ipv4(const std::string& text) {
    uint32_t address = 0;
    return wire::parse_ipv4(text, &address) ? address : 0;
}

UdpEndpoint::UdpEndpoint(const std::string& local_ip, int receive_buffer, uint16_t local_port) {
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (receive_buffer > 0 &&
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &receive_buffer, sizeof receive_buffer) != 0) {
        (void)::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    }
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(ipv4(local_ip));
    a.sin_port = htons(local_port);
    bound_ = fd_ >= 0 && ::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
}

UdpEndpoint::~UdpEndpoint() {
    if (fd_ >= 0) ::close(fd_);
}

uint16_t UdpEndpoint::port() const {
    sockaddr_in a{};
    socklen_t len = sizeof a;
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
    return ntohs(a.sin_port);
}

bool UdpEndpoint::send(const std::vector<uint8_t>& bytes, uint32_t ip, uint16_t port) const {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(ip);
    a.sin_port = htons(port);
    return ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&a), sizeof a) ==
           static_cast<ssize_t>(bytes.size());
}

std::vector<uint8_t> UdpEndpoint::receive(int timeout_ms, uint32_t* from_ip, uint16_t* from_port) const {
    pollfd p{fd_, POLLIN, 0};
    if (::poll(&p, 1, timeout_ms) <= 0) return {};
    std::vector<uint8_t> buffer(65536);
    sockaddr_in a{};
    socklen_t len = sizeof a;
    const ssize_t n = ::recvfrom(fd_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&a), &len);
    if (n < 0) return {};
    buffer.resize(static_cast<size_t>(n));
    if (from_ip != nullptr) *from_ip = ntohl(a.sin_addr.s_addr);
    if (from_port != nullptr) *from_port = ntohs(a.sin_port);
    return buffer;
}

}  // namespace orntest
