// A raw GVCP client for the sensor's tests: commands built byte by byte and
// acknowledges read from a real UDP socket on loopback, so the tests see
// exactly what any host on the wire would see.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "udp_endpoint.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"
#include "wire/gvcp_packets.h"

namespace simtest {

using orntest::ipv4;

struct Ack {
    bool received = false;
    uint16_t status = 0xFFFF;
    uint16_t answer = 0;
    std::vector<uint8_t> payload;
};

class GvcpClient {
public:
    explicit GvcpClient(uint32_t device_ip) : device_ip_(device_ip) {}

    static std::vector<uint8_t> command(uint16_t code, const std::vector<uint8_t>& payload, uint16_t id,
                                        uint8_t flags = gvcp::kFlagAckRequired) {
        std::vector<uint8_t> p = orntest::UdpEndpoint::gvcp_command(code, payload, id);
        p[gvcp::kCmdFlagsOffset] = flags;
        return p;
    }
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
            if (wire::load_be16(d.data() + gvcp::kAckIdOffset) != id) continue;
            Ack a{true,
                  wire::load_be16(d.data() + gvcp::kAckStatusOffset),
                  wire::load_be16(d.data() + gvcp::kAckAnswerOffset),
                  {}};
            const size_t end = gvcp::kHeaderSize + wire::load_be16(d.data() + gvcp::kAckLengthOffset);
            if (end <= d.size()) a.payload.assign(d.begin() + gvcp::kHeaderSize, d.begin() + end);
            return a;
        }
        return Ack{};
    }
    Ack transact(uint16_t code, const std::vector<uint8_t>& payload, uint8_t flags = gvcp::kFlagAckRequired,
                 int timeout_ms = 1000) {
        id_ = static_cast<uint16_t>(id_ == 0xFFFF ? 1 : id_ + 1);
        send_raw(command(code, payload, id_, flags));
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
    orntest::UdpEndpoint socket_;
    uint32_t device_ip_;
    uint16_t id_ = 0;
};

}  // namespace simtest
