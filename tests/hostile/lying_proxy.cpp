#include "lying_proxy.h"

#include <poll.h>

#include "wire/gvcp_layout.h"

namespace hostile {

// The GenICam file's place in the sensor's register space.
constexpr uint32_t kDescriptionBase = 0x00200000;

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

LyingProxy::LyingProxy(std::string address, std::string sensor_address, Lie lie)
    : address_(std::move(address)), sensor_address_(std::move(sensor_address)), lie_(lie) {}

LyingProxy::~LyingProxy() { stop(); }

bool LyingProxy::start(std::string* error) {
    client_ = std::make_unique<orntest::UdpEndpoint>(address_, 0, gvcp::kPort);
    sensor_side_ = std::make_unique<orntest::UdpEndpoint>(address_);
    if (!client_->ok() || !sensor_side_->ok()) {
        *error = "cannot bind the proxy's sockets on " + address_;
        client_.reset();
        sensor_side_.reset();
        return false;
    }
    running_ = true;
    thread_ = std::thread([this] { run(); });
    return true;
}

void LyingProxy::stop() {
    running_ = false;
    if (thread_.joinable()) thread_.join();
    client_.reset();
    sensor_side_.reset();
}

bool LyingProxy::bend(std::vector<uint8_t>* ack) {
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
                noise_ = noise_ * 1103515245u + 12345u;
                (*ack)[i] = static_cast<uint8_t>(noise_ >> 16);
            }
            break;
        }
        case Lie::kDeniedWrites:
            if (answer != gvcp::WRITEREG_ACK && answer != gvcp::WRITEMEM_ACK) return true;
            wire::store_be16(bytes + gvcp::kAckStatusOffset, gvcp::STATUS_ACCESS_DENIED);
            break;
        case Lie::kGarbageAfterFew:
            for (uint8_t& byte : *ack) {
                noise_ = noise_ * 1103515245u + 12345u;
                byte = static_cast<uint8_t>(noise_ >> 16);
            }
            break;
        case Lie::kSilentAfterFew:
            ++bent_;
            return false;
    }
    ++bent_;
    return true;
}

void LyingProxy::run() {
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

}  // namespace hostile
