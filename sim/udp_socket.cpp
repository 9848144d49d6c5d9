#include "udp_socket.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ornsim {
namespace {

sockaddr_in make_address(uint32_t ip, uint16_t port) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(ip);
    a.sin_port = htons(port);
    return a;
}

}  // namespace

UdpSocket::~UdpSocket() { close(); }

UdpSocket::UdpSocket(UdpSocket&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }

UdpSocket& UdpSocket::operator=(UdpSocket&& other) noexcept {
    if (this != &other) {
        close();
        fd_ = other.fd_;
        other.fd_ = -1;
    }
    return *this;
}

bool UdpSocket::open(uint32_t ip, uint16_t port, bool shared, std::string* error) {
    close();
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        if (error != nullptr) *error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    int on = 1;
    if (shared) ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    sockaddr_in a = make_address(ip, port);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        if (error != nullptr)
            *error = "bind " + format_ipv4(ip) + ":" + std::to_string(port) + ": " + std::strerror(errno);
        ::close(fd);
        return false;
    }
    fd_ = fd;
    return true;
}

void UdpSocket::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

uint16_t UdpSocket::local_port() const {
    sockaddr_in a{};
    socklen_t len = sizeof a;
    if (fd_ < 0 || ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len) != 0) return 0;
    return ntohs(a.sin_port);
}

bool UdpSocket::send_to(const void* data, size_t size, uint32_t ip, uint16_t port) {
    if (fd_ < 0 || data == nullptr) return false;
    sockaddr_in a = make_address(ip, port);
    ssize_t sent = ::sendto(fd_, data, size, MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&a), sizeof a);
    return sent == static_cast<ssize_t>(size);
}

long UdpSocket::receive(void* buffer, size_t capacity, int timeout_ms, uint32_t* peer_ip, uint16_t* peer_port) {
    if (fd_ < 0 || buffer == nullptr) return -1;
    pollfd p{fd_, POLLIN, 0};
    int ready = ::poll(&p, 1, timeout_ms);
    if (ready < 0) return errno == EINTR ? 0 : -1;
    if (ready == 0) return 0;
    sockaddr_in a{};
    socklen_t len = sizeof a;
    ssize_t n = ::recvfrom(fd_, buffer, capacity, 0, reinterpret_cast<sockaddr*>(&a), &len);
    if (n < 0) return (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) ? 0 : -1;
    if (peer_ip != nullptr) *peer_ip = ntohl(a.sin_addr.s_addr);
    if (peer_port != nullptr) *peer_port = ntohs(a.sin_port);
    return static_cast<long>(n);
}

bool parse_ipv4(const std::string& text, uint32_t* ip) {
    in_addr a{};
    if (ip == nullptr || ::inet_pton(AF_INET, text.c_str(), &a) != 1) return false;
    *ip = ntohl(a.s_addr);
    return true;
}

std::string format_ipv4(uint32_t ip) {
    in_addr a{};
    a.s_addr = htonl(ip);
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &a, text, sizeof text);
    return text;
}

bool interface_broadcast_address(uint32_t ip, uint32_t* broadcast, uint32_t* mask) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return false;
    bool found = false;
    for (ifaddrs* i = list; i != nullptr && !found; i = i->ifa_next) {
        if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET) continue;
        if ((i->ifa_flags & IFF_BROADCAST) == 0 || i->ifa_broadaddr == nullptr || i->ifa_netmask == nullptr) continue;
        const auto* a = reinterpret_cast<const sockaddr_in*>(i->ifa_addr);
        if (ntohl(a->sin_addr.s_addr) != ip) continue;
        if (broadcast != nullptr)
            *broadcast = ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_broadaddr)->sin_addr.s_addr);
        if (mask != nullptr) *mask = ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_netmask)->sin_addr.s_addr);
        found = true;
    }
    ::freeifaddrs(list);
    return found;
}

}  // namespace ornsim
