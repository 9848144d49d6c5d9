// A UDP socket on loopback: what any host on the wire sends and receives,
// with every wait bounded.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orntest {

// "a.b.c.d" in host order; 0 for text that is no address.
uint32_t ipv4(const std::string& text);

class UdpEndpoint {
public:
    // Bound to `local_port` (0: a free one) of `local_ip`; a non-zero
    // `receive_buffer` asks for that many bytes of receive queue.
    explicit UdpEndpoint(const std::string& local_ip = "127.0.0.1", int receive_buffer = 0, uint16_t local_port = 0);
    ~UdpEndpoint();
    UdpEndpoint(const UdpEndpoint&) = delete;
    UdpEndpoint& operator=(const UdpEndpoint&) = delete;

    bool ok() const { return bound_; }
    int fd() const { return fd_; }
    uint16_t port() const;
    bool send(const std::vector<uint8_t>& bytes, uint32_t ip, uint16_t port) const;
    // One datagram within timeout_ms, or an empty vector.
    std::vector<uint8_t> receive(int timeout_ms, uint32_t* from_ip = nullptr, uint16_t* from_port = nullptr) const;

private:
    int fd_ = -1;
    bool bound_ = false;
};

}  // namespace orntest
