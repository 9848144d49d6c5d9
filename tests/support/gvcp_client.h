// A raw GVCP client: commands built by the tests and acknowledges read from
// a real UDP socket, so the tests see exactly what any host on the wire
// would see. Also what another application holding a device's control
// privilege does.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "udp_endpoint.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"
#include "wire/gvcp_packets.h"

namespace orntest {

struct Ack {
    bool received = false;
    uint16_t status = 0xFFFF;
    uint16_t answer = 0;
    std::vector<uint8_t> payload;
};

class GvcpClient {
public:
    // From `local_ip` ("0.0.0.0" reaches devices beyond loopback too).
    explicit GvcpClient(uint32_t device_ip, const std::string& local_ip = "127.0.0.1")
        : socket_(local_ip), device_ip_(device_ip) {}

    void send_raw(const std::vector<uint8_t>& bytes) { socket_.send(bytes, device_ip_, gvcp::kPort); }
    // Discards every pending datagram (bounded: stops after 100 ms of quiet).
    void drain() {
        for (int i = 0; i < 100000 && !socket_.receive(100).empty(); ++i) {
        }
    }
    // The acknowledge of request `id` (late answers to earlier ones skipped).
    Ack wait_ack(uint16_t id, int timeout_ms = 1000) {
        for (int tries = 0; tries < 8; ++tries) {
            const std::vector<uint8_t> d = socket_.receive(timeout_ms);
            if (d.size() < gvcp::kHeaderSize) return Ack{};
            const gvcp::AckHeader h = gvcp::read_ack_header(d.data(), d.size());
            if (h.ack_id != id) continue;
            Ack a{true, h.status, h.answer, {}};
            const size_t end = gvcp::kHeaderSize + h.length;
            if (end <= d.size()) a.payload.assign(d.begin() + gvcp::kHeaderSize, d.begin() + end);
            return a;
        }
        return Ack{};
    }
    // Sends a command with the next request id and waits for its acknowledge.
    Ack transact(uint16_t code, const std::vector<uint8_t>& payload, uint8_t flags = gvcp::kFlagAckRequired,
                 int timeout_ms = 1000) {
        id_ = static_cast<uint16_t>(id_ == 0xFFFF ? 1 : id_ + 1);
        send_raw(gvcp::build_command(flags, code, id_, payload));
        return wait_ack(id_, timeout_ms);
    }
    Ack discovery() { return transact(gvcp::DISCOVERY_CMD, {}); }

    Ack read_registers(const std::vector<uint32_t>& addresses) {
        std::vector<uint8_t> payload(addresses.size() * 4);
        for (size_t i = 0; i < addresses.size(); ++i) wire::store_be32(payload.data() + 4 * i, addresses[i]);
        return transact(gvcp::READREG_CMD, payload);
    }
    // Value of one register, or 0xDEADBEEF (which the tests never expect).
    uint32_t read_register(uint32_t address) {
        const Ack a = read_registers({address});
        return a.status == gvcp::STATUS_SUCCESS && a.payload.size() >= 4 ? wire::load_be32(a.payload.data())
                                                                         : 0xDEADBEEF;
    }
    Ack write_registers(const std::vector<std::pair<uint32_t, uint32_t>>& pairs) {
        std::vector<uint8_t> payload(pairs.size() * 8);
        for (size_t i = 0; i < pairs.size(); ++i) {
            wire::store_be32(payload.data() + 8 * i, pairs[i].first);
            wire::store_be32(payload.data() + 8 * i + 4, pairs[i].second);
        }
        return transact(gvcp::WRITEREG_CMD, payload);
    }
    uint16_t write_register(uint32_t address, uint32_t value) { return write_registers({{address, value}}).status; }
    Ack read_memory(uint32_t address, uint16_t count) {
        std::vector<uint8_t> payload(8, 0);
        wire::store_be32(payload.data(), address);
        wire::store_be16(payload.data() + 6, count);
        return transact(gvcp::READMEM_CMD, payload);
    }
    Ack write_memory(uint32_t address, const std::vector<uint8_t>& data) {
        std::vector<uint8_t> payload(4 + data.size());
        wire::store_be32(payload.data(), address);
        std::copy(data.begin(), data.end(), payload.begin() + 4);
        return transact(gvcp::WRITEMEM_CMD, payload);
    }
    bool take_control(uint32_t privilege = gvcp::CCP_CONTROL) {
        return write_register(gvcp::REG_CCP, privilege) == gvcp::STATUS_SUCCESS;
    }

private:
    UdpEndpoint socket_;
    uint32_t device_ip_;
    uint16_t id_ = 0;
};

// Holds control of a device from a socket of its own, as another
// application would; gives control back when it goes.
class ControlHolder : public GvcpClient {
public:
    explicit ControlHolder(const std::string& device) : GvcpClient(ipv4(device), "0.0.0.0") {}
    ~ControlHolder() { take_control(0); }
};

}  // namespace orntest
