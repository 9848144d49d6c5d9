// A UDP socket on loopback for the tests: what a host on the wire sends and
// receives, with every wait bounded.
#ifndef ORNSIM_TESTS_UDP_ENDPOINT_H
#define ORNSIM_TESTS_UDP_ENDPOINT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ornsim_test {

inline uint32_t ipv4(const std::string& text) {
    in_addr a{};
    inet_pton(AF_INET, text.c_str(), &a);
    return ntohl(a.s_addr);
}

class UdpEndpoint {
public:
    // Bound to a free port of `local_ip`; a non-zero `receive_buffer` asks for
    // that many bytes of receive queue.
    explicit UdpEndpoint(const std::string& local_ip = "127.0.0.1", int receive_buffer = 0) {
        fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (receive_buffer > 0 &&
            ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &receive_buffer, sizeof receive_buffer) != 0)
            (void)::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(ipv4(local_ip));
        bound_ = ::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
    }
    ~UdpEndpoint() {
        if (fd_ >= 0) ::close(fd_);
    }
    UdpEndpoint(const UdpEndpoint&) = delete;
    UdpEndpoint& operator=(const UdpEndpoint&) = delete;

    bool ok() const { return bound_; }
    uint16_t port() const {
        sockaddr_in a{};
        socklen_t len = sizeof a;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
        return ntohs(a.sin_port);
    }
    void send(const std::vector<uint8_t>& bytes, uint32_t ip, uint16_t port) const {
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(ip);
        a.sin_port = htons(port);
        ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&a), sizeof a);
    }
    // One datagram within timeout_ms, or an empty vector.
    std::vector<uint8_t> receive(int timeout_ms, uint32_t* from_ip = nullptr, uint16_t* from_port = nullptr) const {
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, timeout_ms) <= 0) return {};
        std::vector<uint8_t> buffer(65536);
        sockaddr_in a{};
        socklen_t len = sizeof a;
        ssize_t n = ::recvfrom(fd_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&a), &len);
        if (n < 0) return {};
        buffer.resize(static_cast<size_t>(n));
        if (from_ip != nullptr) *from_ip = ntohl(a.sin_addr.s_addr);
        if (from_port != nullptr) *from_port = ntohs(a.sin_port);
        return buffer;
    }

private:
    int fd_ = -1;
    bool bound_ = false;
};

}  // namespace ornsim_test

#endif  // ORNSIM_TESTS_UDP_ENDPOINT_H
