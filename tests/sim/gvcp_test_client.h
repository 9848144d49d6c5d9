// A raw GVCP client for the sensor's control-channel tests: builds commands
// byte by byte and reads acknowledges from a real UDP socket on loopback, so
// the tests see exactly what any host on the wire would see.
#ifndef ORNSIM_TESTS_GVCP_TEST_CLIENT_H
#define ORNSIM_TESTS_GVCP_TEST_CLIENT_H

#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "udp_endpoint.h"
#include "wire/gvcp_packets.h"

namespace ornsim_test {

struct Ack {
    bool received = false;
    uint16_t status = 0xFFFF;
    uint16_t answer = 0;
    uint16_t id = 0;
    std::vector<uint8_t> payload;
};

// A loopback address of its own for each sensor a test starts: the second
// octet names the suite, the third the test process, the fourth counts up, so
// test processes running in parallel do not collide.
inline std::string unique_loopback_address(int suite) {
    static int host = 10;
    host = host >= 249 ? 10 : host + 1;
    return "127." + std::to_string(suite) + "." + std::to_string(::getpid() % 250) + "." + std::to_string(host);
}

class GvcpClient {
public:
    explicit GvcpClient(uint32_t device_ip) : device_ip_(device_ip) {}

    static std::vector<uint8_t> command(uint16_t code, const std::vector<uint8_t>& payload, uint16_t id,
                                        uint8_t flags = gvcp::kFlagAckRequired) {
        return gvcp::build_command(flags, code, id, payload);
    }

    void send_raw(const std::vector<uint8_t>& bytes) { socket_.send(bytes, device_ip_, gvcp::kPort); }
    // Discards every pending datagram (bounded: stops after 100 ms of quiet).
    void drain() {
        for (int i = 0; i < 100000 && !socket_.receive(100).empty(); ++i) {
        }
    }

    Ack wait_ack(uint16_t id, int timeout_ms = 1000) {
        for (int tries = 0; tries < 8; ++tries) {
            std::vector<uint8_t> d = socket_.receive(timeout_ms);
            if (d.size() < gvcp::kHeaderSize) return Ack{};
            Ack a;
            a.received = true;
            a.status = wire::load_be16(d.data());
            a.answer = wire::load_be16(d.data() + 2);
            a.id = wire::load_be16(d.data() + 6);
            uint16_t length = wire::load_be16(d.data() + 4);
            if (a.id != id) continue;  // a late answer to an earlier request
            if (gvcp::kHeaderSize + length <= d.size())
                a.payload.assign(d.begin() + gvcp::kHeaderSize, d.begin() + gvcp::kHeaderSize + length);
            return a;
        }
        return Ack{};
    }

    Ack transact(uint16_t code, const std::vector<uint8_t>& payload, uint8_t flags = gvcp::kFlagAckRequired,
                 int timeout_ms = 1000) {
        uint16_t id = next_id();
        send_raw(command(code, payload, id, flags));
        return wait_ack(id, timeout_ms);
    }

    Ack discovery() { return transact(gvcp::DISCOVERY_CMD, {}, gvcp::kFlagAckRequired); }

    Ack read_registers(const std::vector<uint32_t>& addresses) {
        std::vector<uint8_t> payload(addresses.size() * 4);
        for (size_t i = 0; i < addresses.size(); ++i) wire::store_be32(payload.data() + 4 * i, addresses[i]);
        return transact(gvcp::READREG_CMD, payload);
    }
    // Value of one register, or kUnreadable (which the tests never expect).
    static constexpr uint32_t kUnreadable = 0xDEADBEEF;
    uint32_t read_register(uint32_t address) {
        Ack a = read_registers({address});
        if (!a.received || a.status != gvcp::STATUS_SUCCESS || a.payload.size() < 4) return kUnreadable;
        return wire::load_be32(a.payload.data());
    }
    Ack write_registers(const std::vector<std::pair<uint32_t, uint32_t>>& pairs) {
        std::vector<uint8_t> payload(pairs.size() * 8);
        for (size_t i = 0; i < pairs.size(); ++i) {
            wire::store_be32(payload.data() + 8 * i, pairs[i].first);
            wire::store_be32(payload.data() + 8 * i + 4, pairs[i].second);
        }
        return transact(gvcp::WRITEREG_CMD, payload);
    }
    uint16_t write_register(uint32_t address, uint32_t value) {
        Ack a = write_registers({{address, value}});
        return a.received ? a.status : 0xFFFF;
    }
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
    uint16_t next_id() {
        id_ = static_cast<uint16_t>(id_ == 0xFFFF ? 1 : id_ + 1);
        return id_;
    }
    UdpEndpoint socket_;
    uint32_t device_ip_;
    uint16_t id_ = 0;
};

}  // namespace ornsim_test

#endif  // ORNSIM_TESTS_GVCP_TEST_CLIENT_H
