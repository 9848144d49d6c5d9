// A UDP socket on loopback: what any host on the wire sends and receives,
// with every wait bounded. The raw client of the GVCP and GVSP tests.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
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

    // A GVCP command `code` with `payload` and request id `id`, acknowledge requested.
    static std::vector<uint8_t> gvcp_command(uint16_t code, const std::vector<uint8_t>& payload, uint16_t id);
    // Sends the command to `device`'s control port and returns the first
    // acknowledge carrying `id` within timeout_ms (empty when none came).
    std::vector<uint8_t> gvcp_request(const std::string& device, uint16_t code, const std::vector<uint8_t>& payload,
                                      uint16_t id, int timeout_ms = 1000) const;
    // The status field of an acknowledge (0xFFFF for one too short).
    static uint16_t ack_status(const std::vector<uint8_t>& ack);

private:
    int fd_ = -1;
    bool bound_ = false;
};

// Holds control of a device from a socket of its own, as another
// application would (a write of the control bits into the privilege
// register); gives control back when it goes.
class ControlHolder {
public:
    explicit ControlHolder(std::string device) : device_(std::move(device)) {}
    ~ControlHolder() { write_ccp(0); }
    ControlHolder(const ControlHolder&) = delete;
    ControlHolder& operator=(const ControlHolder&) = delete;

    // True when the device acknowledged the write with success.
    bool write_ccp(uint32_t value);

private:
    std::string device_;
    UdpEndpoint socket_{"0.0.0.0"};
    uint16_t request_id_ = 0x4000;
};

}  // namespace orntest
