#include "wire/udp_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <linux/errqueue.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <vector>

#include "wire/address_text.h"

namespace wire {

sockaddr_in socket_address(uint32_t address, uint16_t port) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(address);
    a.sin_port = htons(port);
    return a;
}

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

bool UdpSocket::open(uint32_t local_address, uint16_t local_port, std::string* error, bool shared) {
    close();
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd_ < 0) {
        if (error != nullptr) *error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    const int on = 1;
    if (shared) ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in local = socket_address(local_address, local_port);
    if (::bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        if (error != nullptr) {
            *error =
                "bind " + format_ipv4(local_address) + ":" + std::to_string(local_port) + ": " + std::strerror(errno);
        }
        close();
        return false;
    }
    return true;
}

void UdpSocket::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

bool UdpSocket::enable_error_queue() {
    const int on = 1;
    return fd_ >= 0 && ::setsockopt(fd_, IPPROTO_IP, IP_RECVERR, &on, sizeof on) == 0;
}

bool UdpSocket::enable_broadcast() {
    const int on = 1;
    return fd_ >= 0 && ::setsockopt(fd_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) == 0;
}

bool UdpSocket::set_receive_buffer(int bytes) {
    return fd_ >= 0 && ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes) == 0;
}

bool UdpSocket::bind_to_device(const std::string& adapter_name) {
    return fd_ >= 0 && ::setsockopt(fd_, SOL_SOCKET, SO_BINDTODEVICE, adapter_name.c_str(),
                                    static_cast<socklen_t>(adapter_name.size())) == 0;
}

bool UdpSocket::send_to(uint32_t address, uint16_t port, const void* data, size_t size, std::string* error) {
    if (fd_ < 0 || data == nullptr) {
        if (error != nullptr) *error = "sendto: no socket or no data";
        return false;
    }
    const sockaddr_in remote = socket_address(address, port);
    ssize_t sent = ::sendto(fd_, data, size, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
    if (sent < 0 && errno == ECONNREFUSED) {
        // The refusal belongs to an earlier datagram (nothing listened
        // there); reporting it consumed it, so this one can go now.
        sent = ::sendto(fd_, data, size, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
    }
    if (sent != static_cast<ssize_t>(size)) {
        if (error != nullptr) *error = std::string("sendto: ") + std::strerror(errno);
        return false;
    }
    return true;
}

long UdpSocket::receive(void* buffer, size_t capacity, uint32_t* source_address, uint16_t* source_port) {
    sockaddr_in remote{};
    socklen_t remote_size = sizeof remote;
    const ssize_t got =
        ::recvfrom(fd_, buffer, capacity, MSG_TRUNC | MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&remote), &remote_size);
    if (got < 0) {
        // Nothing pending, or an ICMP error reported here once (it is read
        // again from the error queue).
        return -1;
    }
    if (source_address != nullptr) *source_address = ntohl(remote.sin_addr.s_addr);
    if (source_port != nullptr) *source_port = ntohs(remote.sin_port);
    return static_cast<long>(got);
}

long UdpSocket::receive_within(void* buffer, size_t capacity, int timeout_ms, uint32_t* source_address,
                               uint16_t* source_port) {
    if (fd_ < 0 || buffer == nullptr) return -1;
    pollfd polled{fd_, POLLIN, 0};
    const int ready = ::poll(&polled, 1, timeout_ms);
    if (ready <= 0) return ready < 0 && errno != EINTR ? -1 : 0;
    sockaddr_in remote{};
    socklen_t remote_size = sizeof remote;
    const ssize_t got = ::recvfrom(fd_, buffer, capacity, 0, reinterpret_cast<sockaddr*>(&remote), &remote_size);
    if (got < 0) return (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) ? 0 : -1;
    if (source_address != nullptr) *source_address = ntohl(remote.sin_addr.s_addr);
    if (source_port != nullptr) *source_port = ntohs(remote.sin_port);
    return static_cast<long>(got);
}

bool UdpSocket::receive_error(uint32_t* original_destination) {
    uint8_t data[512];
    uint8_t control[512];
    sockaddr_in destination{};
    iovec io{data, sizeof data};
    msghdr message{};
    message.msg_name = &destination;
    message.msg_namelen = sizeof destination;
    message.msg_iov = &io;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (::recvmsg(fd_, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) {
        return false;
    }
    *original_destination = ntohl(destination.sin_addr.s_addr);
    return true;
}

uint32_t UdpSocket::local_address() const {
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (fd_ < 0 || ::getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        return 0;
    }
    return ntohl(local.sin_addr.s_addr);
}

uint16_t UdpSocket::local_port() const {
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (fd_ < 0 || ::getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        return 0;
    }
    return ntohs(local.sin_port);
}

int64_t monotonic_ms() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

bool wait_readable(const int* fds, size_t count, int timeout_ms) {
    std::vector<pollfd> polled(count);
    for (size_t i = 0; i < count; ++i) {
        polled[i].fd = fds[i];
        polled[i].events = POLLIN;
    }
    const int ready = ::poll(polled.data(), polled.size(), timeout_ms < 0 ? 0 : timeout_ms);
    return ready > 0;
}

bool interface_broadcast_address(uint32_t address, uint32_t* broadcast, uint32_t* mask) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return false;
    bool found = false;
    for (ifaddrs* i = list; i != nullptr && !found; i = i->ifa_next) {
        if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET) continue;
        if ((i->ifa_flags & IFF_BROADCAST) == 0 || i->ifa_broadaddr == nullptr || i->ifa_netmask == nullptr) continue;
        if (ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_addr)->sin_addr.s_addr) != address) continue;
        if (broadcast != nullptr)
            *broadcast = ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_broadaddr)->sin_addr.s_addr);
        if (mask != nullptr) *mask = ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_netmask)->sin_addr.s_addr);
        found = true;
    }
    ::freeifaddrs(list);
    return found;
}

}  // namespace wire
