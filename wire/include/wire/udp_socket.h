// One IPv4 UDP socket that closes itself: non-blocking reads, or a read that
// waits at most a given time. Addresses and ports are host byte order.
// Move-only.
#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace wire {

class UdpSocket {
public:
    UdpSocket() = default;
    ~UdpSocket();
    UdpSocket(UdpSocket&& other) noexcept;
    UdpSocket& operator=(UdpSocket&& other) noexcept;
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    // Binds to local_address:local_port (0 = any). `shared` sets
    // SO_REUSEADDR first, so that several sockets may listen on one
    // broadcast address. False with `error` set.
    bool open(uint32_t local_address, uint16_t local_port, std::string* error, bool shared = false);
    void close();
    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }

    // Ask for ICMP errors (port unreachable) on the error queue.
    bool enable_error_queue();
    bool enable_broadcast();
    // Asks for a receive buffer of `bytes` (the kernel may cap it), so a
    // burst of datagrams is not dropped before it is read.
    bool set_receive_buffer(int bytes);
    // Restricts traffic to one adapter, so that a broadcast cannot leave by
    // another one. Needs CAP_NET_RAW; false without it.
    bool bind_to_device(const std::string& adapter_name);

    bool send_to(uint32_t address, uint16_t port, const void* data, size_t size, std::string* error = nullptr);
    // One datagram, without waiting. Returns its real size (0 for an empty
    // datagram; more than `capacity` when it was cut), or -1 when nothing
    // is pending or on error.
    long receive(void* buffer, size_t capacity, uint32_t* source_address, uint16_t* source_port);
    // One datagram within `timeout_ms`. Returns the bytes stored (at most
    // `capacity`), 0 on time-out, -1 on error.
    long receive_within(void* buffer, size_t capacity, int timeout_ms, uint32_t* source_address, uint16_t* source_port);
    // One ICMP error: the destination of the packet it refers to. False
    // when the error queue is empty.
    bool receive_error(uint32_t* original_destination);
    uint32_t local_address() const;
    uint16_t local_port() const;

private:
    int fd_ = -1;
};

// The socket address of address:port.
sockaddr_in socket_address(uint32_t address, uint16_t port);

// Milliseconds on a monotonic clock.
int64_t monotonic_ms();
// Waits until one of `fds` is readable or has an error, at most
// `timeout_ms`. Returns false on timeout.
bool wait_readable(const int* fds, size_t count, int timeout_ms);

// The broadcast address and mask of the interface that carries `address`,
// if that interface can broadcast. False otherwise (loopback, no such
// interface).
bool interface_broadcast_address(uint32_t address, uint32_t* broadcast, uint32_t* mask);

}  // namespace wire
