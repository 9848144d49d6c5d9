#include "lying_proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "scripted_responder.h"
#include "wire/gvcp_layout.h"

namespace hostile {

// The GenICam file's place in the sensor's register space.
constexpr uint32_t kDescriptionBase = 0x00200000;

const char* lie_name(Lie lie) {
    switch (lie) {
        case Lie::kNone:
            return "none";
        case Lie::kWrongAckIds:
            return "wrong ack ids";
        case Lie::kLengthLargerThanDatagram:
            return "length larger than datagram";
        case Lie::kShortMemoryReads:
            return "short memory reads";
        case Lie::kCorruptDescription:
            return "corrupt description file";
        case Lie::kDeniedWrites:
            return "denied writes";
        case Lie::kGarbageAfterFew:
            return "garbage after a few acks";
        case Lie::kSilentAfterFew:
            return "silent after a few acks";
    }
    return "?";
}

LyingProxy::LyingProxy(std::string address, std::string sensor_address, Lie lie)
    : address_(std::move(address)), sensor_address_(std::move(sensor_address)), lie_(lie) {}

LyingProxy::~LyingProxy() { stop(); }

bool LyingProxy::start(std::string* error) {
    client_fd_ = orntest::bound_socket(orntest::ipv4(address_.c_str()), gvcp::kPort, error);
    if (client_fd_ < 0) return false;
    sensor_fd_ = orntest::bound_socket(orntest::ipv4(address_.c_str()), 0, error);
    if (sensor_fd_ < 0) {
        ::close(client_fd_);
        client_fd_ = -1;
        return false;
    }
    running_ = true;
    thread_ = std::thread([this] { run(); });
    return true;
}

void LyingProxy::stop() {
    running_ = false;
    if (thread_.joinable()) thread_.join();
    if (client_fd_ >= 0) ::close(client_fd_);
    if (sensor_fd_ >= 0) ::close(sensor_fd_);
    client_fd_ = sensor_fd_ = -1;
}

bool LyingProxy::bend(std::vector<uint8_t>* ack) {
    if (ack->size() < gvcp::kHeaderSize) return true;
    uint8_t* bytes = ack->data();
    const uint16_t answer = wire::load_be16(bytes + gvcp::kAckAnswerOffset);
    if (answer == gvcp::DISCOVERY_ACK) {
        // The proxy is the device as far as the library knows.
        if (ack->size() >= gvcp::kHeaderSize + gvcp::kDiscoveryCurrentIpOffset + 4) {
            wire::store_be32(bytes + gvcp::kHeaderSize + gvcp::kDiscoveryCurrentIpOffset,
                             orntest::ipv4(address_.c_str()));
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
    sockaddr_in sensor{};
    sensor.sin_family = AF_INET;
    sensor.sin_addr.s_addr = htonl(orntest::ipv4(sensor_address_.c_str()));
    sensor.sin_port = htons(gvcp::kPort);
    sockaddr_in client{};
    socklen_t client_size = 0;
    while (running_) {
        pollfd polled[2] = {{client_fd_, POLLIN, 0}, {sensor_fd_, POLLIN, 0}};
        if (::poll(polled, 2, 20) <= 0) continue;
        uint8_t datagram[2048];
        if ((polled[0].revents & POLLIN) != 0) {
            sockaddr_in from{};
            socklen_t from_size = sizeof from;
            const ssize_t size =
                ::recvfrom(client_fd_, datagram, sizeof datagram, 0, reinterpret_cast<sockaddr*>(&from), &from_size);
            if (size > 0) {
                client = from;
                client_size = from_size;
                ::sendto(sensor_fd_, datagram, static_cast<size_t>(size), 0, reinterpret_cast<const sockaddr*>(&sensor),
                         sizeof sensor);
            }
        }
        if ((polled[1].revents & POLLIN) != 0) {
            const ssize_t size = ::recv(sensor_fd_, datagram, sizeof datagram, 0);
            if (size <= 0 || client_size == 0) continue;
            std::vector<uint8_t> ack(datagram, datagram + size);
            if (bend(&ack)) {
                ::sendto(client_fd_, ack.data(), ack.size(), 0, reinterpret_cast<const sockaddr*>(&client),
                         client_size);
            }
        }
    }
}

}  // namespace hostile
