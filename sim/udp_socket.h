// A small owning wrapper around one IPv4 UDP socket (non-blocking I/O with
// bounded waits). Move-only; the destructor closes the descriptor.
#ifndef ORNSIM_UDP_SOCKET_H
#define ORNSIM_UDP_SOCKET_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace ornsim {

class UdpSocket {
public:
    UdpSocket() = default;
    ~UdpSocket();
    UdpSocket(UdpSocket&& other) noexcept;
    UdpSocket& operator=(UdpSocket&& other) noexcept;
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    // Binds ip:port (host order; port 0 = ephemeral). shared: SO_REUSEADDR, so
    // several devices can listen on one broadcast address.
    bool open(uint32_t ip, uint16_t port, bool shared, std::string* error);
    void close();
    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    uint16_t local_port() const;

    bool send_to(const void* data, size_t size, uint32_t ip, uint16_t port);
    // Waits at most timeout_ms for one datagram. Returns its size, 0 on time-out,
    // -1 on error. peer_ip/peer_port (host order) are filled on success.
    long receive(void* buffer, size_t capacity, int timeout_ms, uint32_t* peer_ip, uint16_t* peer_port);

private:
    int fd_ = -1;
};

// Dotted quad <-> host-order address. parse_ipv4 returns false on bad input.
bool parse_ipv4(const std::string& text, uint32_t* ip);
std::string format_ipv4(uint32_t ip);

// The broadcast address of the interface that carries ip, if that interface
// can broadcast. False otherwise (loopback, no such interface).
bool interface_broadcast_address(uint32_t ip, uint32_t* broadcast, uint32_t* mask);

}  // namespace ornsim

#endif  // ORNSIM_UDP_SOCKET_H
