// A GigE Vision peer that lies on the control channel: it stands in front
// of a real virtual sensor, passes every command on to it, and bends the
// acknowledges on their way back in one chosen way. Discovery goes through
// too, with the proxy's own address put into the ack, so the library finds
// the proxy as a device and talks only to it. The stream and message
// channels are not proxied (the sensor sends them to the host directly).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "udp_endpoint.h"

namespace hostile {

enum class Lie {
    kNone,                      // an honest relay: proves the harness itself works
    kWrongAckIds,               // every ack after discovery answers another request
    kLengthLargerThanDatagram,  // ack length fields claim more than was sent
    kShortMemoryReads,          // READMEM acks carry half the data asked for (length field consistent)
    kCorruptDescription,        // the GenICam file's bytes are scrambled in every READMEM ack
    kDeniedWrites,              // every WRITEREG / WRITEMEM ack says ACCESS_DENIED
    kGarbageAfterFew,           // the first few acks are honest, then random bytes
    kSilentAfterFew,            // the first few acks are honest, then nothing
};

const char* lie_name(Lie lie);

class LyingProxy {
public:
    // `address`: where the proxy listens (port 3956); `sensor_address`:
    // the sensor it relays to.
    LyingProxy(std::string address, std::string sensor_address, Lie lie);
    ~LyingProxy();
    LyingProxy(const LyingProxy&) = delete;
    LyingProxy& operator=(const LyingProxy&) = delete;

    bool start(std::string* error);
    void stop();
    int acks_bent() const { return bent_.load(); }

private:
    void run();
    // Returns false when the ack is to be swallowed.
    bool bend(std::vector<uint8_t>* ack);

    std::string address_;
    std::string sensor_address_;
    Lie lie_;
    std::unique_ptr<orntest::UdpEndpoint> client_;       // <address>:3956, faces the library
    std::unique_ptr<orntest::UdpEndpoint> sensor_side_;  // <address>:ephemeral, faces the sensor
    std::atomic<bool> running_{false};
    std::atomic<int> bent_{0};
    int honest_left_ = 12;
    uint32_t noise_ = 0x2545F491;
    std::thread thread_;
};

}  // namespace hostile
