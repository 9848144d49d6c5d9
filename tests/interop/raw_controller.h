// Another application's hold on a device's control.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "wire/gvcp_packets.h"

namespace orntest {

// Holds control of a device from a socket of its own, as another
// application would: a WRITEREG of the control bits into the CCP register.
// Gives control back when it goes.
class Controller {
public:
    explicit Controller(const char* device) : fd_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        device_.sin_family = AF_INET;
        device_.sin_port = htons(gvcp::kPort);
        inet_pton(AF_INET, device, &device_.sin_addr);
    }
    ~Controller() {
        write_ccp(0);
        ::close(fd_);
    }
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    // True when the device acknowledged the write with success.
    bool write_ccp(uint32_t value) {
        std::vector<uint8_t> write(8);
        wire::store_be32(write.data(), gvcp::REG_CCP);
        wire::store_be32(write.data() + 4, value);
        const std::vector<uint8_t> command =
            gvcp::build_command(gvcp::kFlagAckRequired, gvcp::WRITEREG_CMD, ++request_id_, write);
        if (::sendto(fd_, command.data(), command.size(), 0, reinterpret_cast<const sockaddr*>(&device_),
                     sizeof device_) < 0) {
            return false;
        }
        pollfd polled{fd_, POLLIN, 0};
        uint8_t ack[64];
        const ssize_t got = ::poll(&polled, 1, 2000) == 1 ? ::recv(fd_, ack, sizeof ack, 0) : -1;
        return got >= static_cast<ssize_t>(gvcp::kHeaderSize) &&
               gvcp::read_ack_header(ack, static_cast<size_t>(got)).status == gvcp::STATUS_SUCCESS;
    }

private:
    int fd_;
    sockaddr_in device_{};
    uint16_t request_id_ = 0x4000;
};

}  // namespace orntest
