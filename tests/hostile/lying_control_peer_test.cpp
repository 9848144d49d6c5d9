// A device whose control channel lies: the library is asked to connect to
// a proxy that relays a real virtual sensor but bends its acknowledges
// (wrong ids, lengths beyond the datagram, short or scrambled memory
// reads, denied writes, garbage or silence after a few honest answers).
// Whatever the lie, the connect returns a status in bounded time, a
// refused connect is logged, and the next device connects and works.
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "environment.h"
#include "handles.h"
#include "hostile_support.h"
#include "loopback.h"
#include "ornsim/virtual_sensor.h"
#include "process_probes.h"
#include "sensor.h"
#include "temp_dir.h"
#include "udp_endpoint.h"
#include "wait.h"
#include "wire/gvcp_layout.h"

namespace {

// A GigE Vision peer that lies on the control channel: it stands in front
// of a real virtual sensor, passes every command on to it, and bends the
// acknowledges on their way back in one chosen way. Discovery goes through
// too, with the proxy's own address put into the ack, so the library finds
// the proxy as a device and talks only to it. The stream and message
// channels are not proxied (the sensor sends them to the host directly).
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

const char* lie_name(Lie lie) {
    static const char* const names[] = {"none",
                                        "wrong ack ids",
                                        "length larger than datagram",
                                        "short memory reads",
                                        "corrupt description file",
                                        "denied writes",
                                        "garbage after a few acks",
                                        "silent after a few acks"};
    return names[static_cast<int>(lie)];
}

// The GenICam file's place in the sensor's register space.
constexpr uint32_t kDescriptionBase = 0x00200000;

class LyingProxy {
public:
    // `address`: where the proxy listens (port 3956); `sensor_address`:
    // the sensor it relays to.
    LyingProxy(std::string address, std::string sensor_address, Lie lie)
        : address_(std::move(address)), sensor_address_(std::move(sensor_address)), lie_(lie) {}
    ~LyingProxy() { stop(); }

    bool start(std::string* error) {
        client_ = std::make_unique<orntest::UdpEndpoint>(address_, 0, gvcp::kPort);
        sensor_side_ = std::make_unique<orntest::UdpEndpoint>(address_);
        if (!client_->ok() || !sensor_side_->ok()) {
            *error = "cannot bind the proxy's sockets on " + address_;
            return false;
        }
        running_ = true;
        thread_ = std::thread([this] { run(); });
        return true;
    }
    void stop() {
        running_ = false;
        if (thread_.joinable()) thread_.join();
    }
    int acks_bent() const { return bent_.load(); }

private:
    // The next byte of a fixed pseudo-random sequence.
    uint8_t noise() {
        noise_ = noise_ * 1103515245u + 12345u;
        return static_cast<uint8_t>(noise_ >> 16);
    }
    // Returns false when the ack is to be swallowed.
    bool bend(std::vector<uint8_t>* ack) {
        if (ack->size() < gvcp::kHeaderSize) return true;
        uint8_t* bytes = ack->data();
        const uint16_t answer = wire::load_be16(bytes + gvcp::kAckAnswerOffset);
        if (answer == gvcp::DISCOVERY_ACK) {
            // The proxy is the device as far as the library knows.
            if (ack->size() >= gvcp::kHeaderSize + gvcp::kDiscoveryCurrentIpOffset + 4) {
                wire::store_be32(bytes + gvcp::kHeaderSize + gvcp::kDiscoveryCurrentIpOffset, orntest::ipv4(address_));
            }
            return true;
        }
        if ((lie_ == Lie::kGarbageAfterFew || lie_ == Lie::kSilentAfterFew) && honest_left_ > 0) {
            --honest_left_;
            return true;
        }
        switch (lie_) {
            case Lie::kNone:
                return true;
            case Lie::kWrongAckIds:
                wire::store_be16(bytes + gvcp::kAckIdOffset,
                                 static_cast<uint16_t>(wire::load_be16(bytes + gvcp::kAckIdOffset) + 7));
                break;
            case Lie::kLengthLargerThanDatagram:
                wire::store_be16(bytes + gvcp::kAckLengthOffset,
                                 static_cast<uint16_t>(wire::load_be16(bytes + gvcp::kAckLengthOffset) + 64));
                break;
            case Lie::kShortMemoryReads: {
                if (answer != gvcp::READMEM_ACK) return true;
                const size_t data = ack->size() - gvcp::kHeaderSize - gvcp::kReadMemAckDataOffset;
                ack->resize(ack->size() - data / 2);
                wire::store_be16(ack->data() + gvcp::kAckLengthOffset,
                                 static_cast<uint16_t>(ack->size() - gvcp::kHeaderSize));
                break;
            }
            case Lie::kCorruptDescription: {
                if (answer != gvcp::READMEM_ACK || ack->size() < gvcp::kHeaderSize + gvcp::kReadMemAckDataOffset) {
                    return true;
                }
                const uint32_t address = wire::load_be32(bytes + gvcp::kHeaderSize + gvcp::kReadMemAddressOffset);
                if (address < kDescriptionBase) return true;
                for (size_t i = gvcp::kHeaderSize + gvcp::kReadMemAckDataOffset; i < ack->size(); i += 7) {
                    (*ack)[i] = noise();
                }
                break;
            }
            case Lie::kDeniedWrites:
                if (answer != gvcp::WRITEREG_ACK && answer != gvcp::WRITEMEM_ACK) return true;
                wire::store_be16(bytes + gvcp::kAckStatusOffset, gvcp::STATUS_ACCESS_DENIED);
                break;
            case Lie::kGarbageAfterFew:
                for (uint8_t& byte : *ack) byte = noise();
                break;
            case Lie::kSilentAfterFew:
                ++bent_;
                return false;
        }
        ++bent_;
        return true;
    }
    void run() {
        const uint32_t sensor = orntest::ipv4(sensor_address_);
        uint32_t client_ip = 0;
        uint16_t client_port = 0;
        while (running_) {
            pollfd polled[2] = {{client_->fd(), POLLIN, 0}, {sensor_side_->fd(), POLLIN, 0}};
            if (::poll(polled, 2, 20) <= 0) continue;
            if ((polled[0].revents & POLLIN) != 0) {
                const std::vector<uint8_t> command = client_->receive(0, &client_ip, &client_port);
                if (!command.empty()) sensor_side_->send(command, sensor, gvcp::kPort);
            }
            if ((polled[1].revents & POLLIN) != 0) {
                std::vector<uint8_t> ack = sensor_side_->receive(0);
                if (!ack.empty() && client_port != 0 && bend(&ack)) client_->send(ack, client_ip, client_port);
            }
        }
    }

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

// Aravis gives up on a dead peer after its retries (about 2.5 s per
// transaction); a connect that is still busy after this long hangs.
constexpr double kConnectBoundSeconds = 60.0;

const std::string kProxy = orntest::loopback(orntest::Block::hostile, 1);
const std::string kSensor = orntest::loopback(orntest::Block::hostile, 2);

class LyingControlPeer : public ::testing::Test {
protected:
    void SetUp() override {
        sensor_ = std::make_unique<orntest::SensorScope>(orntest::sensor_config(orntest::Block::hostile, 2, "HOST0002"),
                                                         false);
        ASSERT_TRUE(sensor_->ok()) << sensor_->error();
    }

    // The status of a connect (hostile::connect_within) through a proxy
    // telling `lie`, which it must tell unless kNone.
    ornc_status_t connect_through(Lie lie) {
        LyingProxy proxy(kProxy, kSensor, lie);
        std::string error;
        EXPECT_TRUE(proxy.start(&error)) << error;
        orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", kProxy.c_str());
        orntest::SystemScope system;
        // One discovery listens 1 s; on a loaded machine the relayed ack (two
        // more threads to schedule) may need another discovery.
        const ornc_device_t* device = nullptr;
        orntest::wait_until(
            [&] {
                EXPECT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);
                return (device = ORNCSysGetDeviceByIP(&system.sys, kProxy.c_str())) != nullptr;
            },
            std::chrono::seconds(10));
        EXPECT_NE(device, nullptr) << "the proxy relays discovery honestly";
        if (device == nullptr) return ORNC_ERROR;

        const ornc_status_t status = hostile::connect_within(device, kConnectBoundSeconds);
        proxy.stop();
        EXPECT_EQ(proxy.acks_bent() > 0, lie != Lie::kNone) << "acks bent: " << proxy.acks_bent();
        return status;
    }

    // The honest sensor, at its own address, after the lie.
    void expect_next_device_works() {
        orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", kSensor.c_str());
        orntest::SystemScope system;
        ASSERT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);
        const ornc_device_t* device = ORNCSysGetDeviceByIP(&system.sys, kSensor.c_str());
        ASSERT_NE(device, nullptr);
        hostile::expect_device_works(device, 320);
    }

    orntest::TempWorkDir workdir_;
    std::unique_ptr<orntest::SensorScope> sensor_;
};

// Lies that leave the library nothing it can use: the connect must fail,
// say so in the log, and leave the library ready for the next device. A
// second and third round end with as many threads and descriptors as the first
// (whose one-time allocations of Aravis and GLib settle there).
TEST_F(LyingControlPeer, EveryUnusableLieFailsTheConnectWithAStatusAndALogLineAndLeavesNothingBehind) {
    int threads = 0;
    int descriptors = 0;
    for (int round = 0; round < 3; ++round) {
        for (Lie lie : {Lie::kWrongAckIds, Lie::kShortMemoryReads, Lie::kCorruptDescription, Lie::kGarbageAfterFew,
                        Lie::kSilentAfterFew}) {
            SCOPED_TRACE(lie_name(lie));
            EXPECT_EQ(connect_through(lie), ORNC_ERR_DEVICE_CONNECT_FAILED);
            ASSERT_NO_FATAL_FAILURE(expect_next_device_works());
        }
        if (round == 0) {
            threads = orntest::thread_count();
            descriptors = orntest::descriptor_count();
        }
    }
    EXPECT_EQ(orntest::thread_count(), threads);
    EXPECT_EQ(orntest::descriptor_count(), descriptors);
}

// Lies that leave the data intact (an ack length field larger than its
// datagram, writes refused while reads answer): whether the connect is
// refused or not, it is bounded, every call answers, and the next device works.
TEST_F(LyingControlPeer, AnHonestRelayConnectsAndLiesAroundIntactDataNeverHangTheConnect) {
    // The harness itself works: an honest relay connects.
    EXPECT_EQ(connect_through(Lie::kNone), ORNC_OK);
    for (Lie lie : {Lie::kLengthLargerThanDatagram, Lie::kDeniedWrites}) {
        SCOPED_TRACE(lie_name(lie));
        const ornc_status_t status = connect_through(lie);
        EXPECT_TRUE(status == ORNC_OK || status == ORNC_ERR_DEVICE_CONNECT_FAILED) << status;
        ASSERT_NO_FATAL_FAILURE(expect_next_device_works());
    }
}

}  // namespace
