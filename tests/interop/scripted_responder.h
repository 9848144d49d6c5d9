// A GigE Vision peer of the tests' own making: a UDP socket on
// <address>:3956 that answers each DISCOVERY_CMD with whatever datagrams a
// script builds, well-formed or not. It lets the tests put exact bytes on
// the wire, which no real device would send.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace orntest {

struct AckFields {
    uint32_t gev_version = 0x00020001;
    uint8_t mac[6] = {0x02, 0x00, 0x00, 0x00, 0x00, 0x01};
    uint32_t ip_config_supported = 0x7;  // persistent, DHCP, LLA
    uint32_t ip_config_current = 0x6;    // DHCP, LLA
    uint32_t ip = 0;                     // 0: the responder's own address
    uint32_t mask = 0xFF000000;
    uint32_t gateway = 0;
    std::string vendor = "ORNC Test Peers";
    std::string model = "lumenGAUGE Scripted";
    std::string version = "1.0";
    std::string serial = "SCRIPT01";
    std::string user_name;
};

// A complete, valid DISCOVERY_ACK for request `request_id`.
std::vector<uint8_t> make_discovery_ack(uint16_t request_id, const AckFields& fields, uint32_t own_ip);

// Parses "a.b.c.d" (host order); aborts the test program on bad input.
uint32_t ipv4(const char* text);

// A UDP socket bound to address:port (host order; port 0: any), or -1 with
// `error` set.
int bound_socket(uint32_t address, uint16_t port, std::string* error);

class ScriptedResponder {
public:
    // Receives the discovery request id, returns the datagrams to send.
    using Script = std::function<std::vector<std::vector<uint8_t>>(uint16_t request_id)>;

    ScriptedResponder(std::string address, Script script);
    ~ScriptedResponder();
    ScriptedResponder(const ScriptedResponder&) = delete;
    ScriptedResponder& operator=(const ScriptedResponder&) = delete;

    // Binds <address>:3956 and starts answering. False with `error` set.
    bool start(std::string* error);
    void stop();
    // Sends replies from a second socket (another port) instead of 3956.
    void answer_from_other_port(bool on) { other_port_ = on; }
    int requests_seen() const { return requests_.load(); }
    uint32_t address() const { return ipv4(address_.c_str()); }

private:
    void run();

    std::string address_;
    Script script_;
    int fd_ = -1;
    int other_fd_ = -1;
    bool other_port_ = false;
    std::atomic<bool> running_{false};
    std::atomic<int> requests_{0};
    std::thread thread_;
};

}  // namespace orntest
