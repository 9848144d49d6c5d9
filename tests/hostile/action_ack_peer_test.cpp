// Peers that answer an action command badly: short, oversized, wrong-code
// and wrong-id datagrams, repeated acks, a flood, refusals. Only senders of
// a well-formed ack of this command count, each once, and only when the
// ack says the action was taken; the call returns within its bound.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ORNCExt.h"
#include "environment.h"
#include "handles.h"
#include "log_capture.h"
#include "loopback.h"
#include "udp_endpoint.h"
#include "wait.h"

namespace {

using namespace std::chrono_literals;
constexpr uint16_t kControlPort = 3956;

std::vector<uint8_t> ack(uint16_t status, uint16_t answer, uint16_t id, size_t extra = 0, uint16_t length = 0) {
    std::vector<uint8_t> bytes = {uint8_t(status >> 8), uint8_t(status), uint8_t(answer >> 8), uint8_t(answer),
                                  uint8_t(length >> 8), uint8_t(length), uint8_t(id >> 8),     uint8_t(id)};
    bytes.resize(bytes.size() + extra, 0xA5);
    return bytes;
}

// What peer `which` answers to the request `id`: 0 lies before and after
// its one good ack, 1 refuses (queue overflow), 2 fired late and repeats
// itself, 3 floods with another request's acks and never answers this one.
std::vector<std::vector<uint8_t>> answers(int which, uint16_t id) {
    if (which == 0) {
        return {{0x00, 0x00, 0x01, 0x01},  // short
                ack(0, 0x0101, id, 600),   // oversized, length field 0
                ack(0, 0x0101, id, 4, 4),  // a payload an action ack has not
                ack(0, 0x0003, id),        // a discovery ack
                ack(0, 0x0101, id)};
    }
    if (which == 1) return {ack(0x8015, 0x0101, id)};
    if (which == 2) return {ack(0x8016, 0x0101, id), ack(0, 0x0101, id)};
    return {};
}

// Waits for one ACTION_CMD and answers it; the floods (peers 0 and 3) start
// once every peer has answered, so that no answer is lost to a socket queue
// the flood already filled.
void answer_once(const orntest::UdpEndpoint* peer, int which, std::atomic<int>* answered) {
    uint32_t from = 0;
    uint16_t port = 0;
    const std::vector<uint8_t> command = peer->receive(2000, &from, &port);
    const bool valid = command.size() >= 8 && command[2] == 0x01 && command[3] == 0x00;
    const uint16_t id = valid ? uint16_t(command[6] << 8 | command[7]) : 0;
    for (const auto& datagram : valid ? answers(which, id) : std::vector<std::vector<uint8_t>>{})
        peer->send(datagram, from, port);
    ++*answered;
    if (!valid || (which != 0 && which != 3) || !orntest::wait_until([&] { return *answered == 4; }, 2s)) return;
    const std::vector<uint8_t> flood = ack(0, 0x0101, which == 0 ? id : uint16_t(id + 1));
    for (int i = 0; i < 3000; ++i) peer->send(flood, from, port);
}

TEST(ActionAckPeers, OnlyWellFormedAcksCountOncePerSender) {
    std::vector<std::unique_ptr<orntest::UdpEndpoint>> peers;
    std::string hosts;
    for (int i = 0; i < 4; ++i) {
        const std::string address = orntest::loopback(orntest::Block::hostile, 11 + i);
        peers.push_back(std::make_unique<orntest::UdpEndpoint>(address, 0, kControlPort));
        ASSERT_TRUE(peers.back()->ok());
        hosts += (i > 0 ? "," : "") + address;
    }
    const orntest::ScopedEnv asked("ORNC_LOOPBACK_HOSTS", hosts.c_str());
    std::vector<std::thread> threads;
    std::atomic<int> answered{0};
    for (int i = 0; i < 4; ++i) threads.emplace_back(answer_once, peers[i].get(), i, &answered);
    orntest::LogCapture log;
    orntest::SystemScope system;
    int acknowledged = -1;
    orntest::Stopwatch watch;
    EXPECT_EQ(ORNCSysSendActionCommand(&system.sys, 1, 2, 3, 0, &acknowledged), ORNC_OK);
    EXPECT_LT(watch.seconds(), 1.0) << "the flood kept the call beyond its 100 ms";
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(acknowledged, 2) << "the liar's good ack and the late one; not the overflow";
    EXPECT_GE(log.count_containing("OVERFLOW"), 1);
    EXPECT_GE(log.count_containing("ACTION_LATE"), 1);
    EXPECT_GE(log.count_containing("dropped datagram from"), 4);
}

TEST(ActionAckPeers, RefusesWhatItCannotUse) {
    int acknowledged = 7;
    EXPECT_EQ(ORNCSysSendActionCommand(nullptr, 1, 1, 1, 0, &acknowledged), ORNC_ERR_UNINITIALIZED);
    ornc_system_t never_initialised{nullptr};
    EXPECT_EQ(ORNCSysSendActionCommand(&never_initialised, 1, 1, 1, 0, &acknowledged), ORNC_ERR_UNINITIALIZED);
    orntest::LogCapture log;
    orntest::SystemScope system;
    EXPECT_EQ(ORNCSysSendActionCommand(&system.sys, 1, 1, 1, 0, nullptr), ORNC_ERROR);
    EXPECT_EQ(log.count_containing("acknowledged count"), 1);
}

}  // namespace
