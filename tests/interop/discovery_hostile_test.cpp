// Discovery against peers that answer with broken, oversized and lying
// acks, next to one honest peer: only the honest one may come out, and
// every bad datagram is dropped with a log line.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ORNC.h"
#include "discovery_test_support.h"
#include "platform/gvcp/gvcp_protocol.h"
#include "scripted_responder.h"

namespace {

using orntest::AckFields;
using orntest::make_discovery_ack;
using orntest::ScriptedResponder;
using Datagrams = std::vector<std::vector<uint8_t>>;

// This suite's own loopback block; ctest serialises its cases on it.
constexpr const char* kHosts = "127.0.45.1-127.0.45.20";  // hostile peers from .1 up, the honest one last
constexpr const char* kHonestAddress = "127.0.45.20";

std::string address(int host) { return "127.0.45." + std::to_string(host); }

AckFields honest_fields() {
    AckFields fields;
    fields.model = "lumenGAUGE Honest";
    fields.serial = "HONEST01";
    fields.vendor = "ORNC Pr\xC3\xBC" "fger\xC3\xA4te";  // UTF-8 is a valid device text
    return fields;
}

// Each hostile peer gets one way of being wrong.
struct Hostile {
    const char* what;
    ScriptedResponder::Script (*script)(uint32_t own_ip);
};

std::vector<uint8_t> good_ack(uint16_t id, uint32_t own_ip) {
    AckFields fields;
    fields.model = "lumenGAUGE Hostile";
    fields.serial = "HOSTILE";
    return make_discovery_ack(id, fields, own_ip);
}

const Hostile kHostiles[] = {
    {"truncated",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             ack.resize(100);
             return Datagrams{ack};
         };
     }},
    {"header only",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             ack.resize(gvcp::kHeaderSize);
             return Datagrams{ack};
         };
     }},
    {"oversized datagram",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             ack.resize(3000, 0x41);
             return Datagrams{ack};
         };
     }},
    {"length field larger than datagram",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             gvcp::store_be16(&ack[gvcp::kAckLengthOffset], 0xFFFF);
             return Datagrams{ack};
         };
     }},
    {"unterminated model",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             for (size_t i = 0; i < gvcp::MODEL_NAME_SIZE; ++i) {
                 ack[gvcp::kHeaderSize + gvcp::kDiscoveryModelOffset + i] = 'X';
             }
             return Datagrams{ack};
         };
     }},
    {"unterminated serial running into the user name",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             for (size_t i = 0; i < gvcp::SERIAL_NUMBER_SIZE + gvcp::USER_DEFINED_NAME_SIZE; ++i) {
                 ack[gvcp::kHeaderSize + gvcp::kDiscoverySerialOffset + i] = 'S';
             }
             return Datagrams{ack};
         };
     }},
    {"control characters in the vendor",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             ack[gvcp::kHeaderSize + gvcp::kDiscoveryManufacturerOffset + 1] = 0x1B;
             return Datagrams{ack};
         };
     }},
    {"broken UTF-8 in the model",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             ack[gvcp::kHeaderSize + gvcp::kDiscoveryModelOffset + 2] = 0xC3;  // lead byte, then plain ASCII
             return Datagrams{ack};
         };
     }},
    {"answers another request",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) { return Datagrams{good_ack(static_cast<uint16_t>(id + 1), ip)}; };
     }},
    {"not a discovery ack",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             gvcp::store_be16(&ack[gvcp::kAckAnswerOffset], gvcp::READREG_ACK);
             return Datagrams{ack};
         };
     }},
    {"error status",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             auto ack = good_ack(id, ip);
             gvcp::store_be16(&ack[gvcp::kAckStatusOffset], gvcp::STATUS_BUSY);
             return Datagrams{ack};
         };
     }},
    {"claims another address",
     [](uint32_t ip) -> ScriptedResponder::Script {
         return [ip](uint16_t id) {
             AckFields fields;
             fields.model = "lumenGAUGE Liar";
             fields.ip = orntest::ipv4("127.0.45.20");  // the honest peer's address
             return Datagrams{make_discovery_ack(id, fields, ip)};
         };
     }},
    {"empty datagram",
     [](uint32_t) -> ScriptedResponder::Script { return [](uint16_t) { return Datagrams{std::vector<uint8_t>()}; }; }},
};

class HostileDiscovery : public ::testing::Test {
protected:
    void SetUp() override {
        std::string error;
        int host = 1;
        for (const Hostile& hostile : kHostiles) {
            const std::string where = address(host++);
            auto peer = std::make_unique<ScriptedResponder>(where, hostile.script(orntest::ipv4(where.c_str())));
            ASSERT_TRUE(peer->start(&error)) << hostile.what << ": " << error;
            peers_.push_back(std::move(peer));
        }
        honest_ = std::make_unique<ScriptedResponder>(kHonestAddress, [](uint16_t id) {
            return Datagrams{make_discovery_ack(id, honest_fields(), orntest::ipv4(kHonestAddress))};
        });
        ASSERT_TRUE(honest_->start(&error)) << error;
    }

    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", "lo"};
    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", kHosts};
    orntest::TempWorkDir workdir_;
    std::vector<std::unique_ptr<ScriptedResponder>> peers_;
    std::unique_ptr<ScriptedResponder> honest_;
};

TEST_F(HostileDiscovery, OnlyTheHonestPeerIsListedAndEveryBadAckIsLogged) {
    // The ini admits everything, so a dropped ack cannot hide behind the
    // model filter.
    workdir_.write_model_file("X\nH\nl\n");
    orntest::LogCapture log;
    orntest::SystemScope scope;
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));

    for (const auto& peer : peers_) {
        EXPECT_GE(peer->requests_seen(), 1);
    }
    ASSERT_EQ(1, ORNCSysGetDeviceCount(&scope.sys)) << ::testing::PrintToString(log.lines());
    const ornc_device_t* device = ORNCSysGetDevice(&scope.sys, 0);
    ASSERT_NE(nullptr, device);
    EXPECT_EQ(kHonestAddress, orntest::device_ip(device));
    EXPECT_EQ("HONEST01", orntest::device_serial(device));
    EXPECT_EQ("lumenGAUGE Honest", orntest::text_of(ORNCDeviceGetModelName, device));
    EXPECT_EQ(honest_fields().vendor, orntest::text_of(ORNCDeviceGetVendorName, device));

    const int hostile_count = static_cast<int>(sizeof kHostiles / sizeof kHostiles[0]);
    EXPECT_EQ(hostile_count, log.count_containing("ORNC: GVCP: dropped"));
    for (const std::string& line : log.lines()) {
        EXPECT_EQ(std::string::npos, line.find("XXXXXXXX")) << line;
    }
}

TEST_F(HostileDiscovery, FloodOfCopiesYieldsOneDevice) {
    ScriptedResponder flood("127.0.45.19", [](uint16_t id) {
        AckFields fields;
        fields.serial = "FLOOD";
        return Datagrams(200, make_discovery_ack(id, fields, orntest::ipv4("127.0.45.19")));
    });
    std::string error;
    ASSERT_TRUE(flood.start(&error)) << error;
    orntest::SystemScope scope;
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
    EXPECT_EQ(2, ORNCSysGetDeviceCount(&scope.sys));
    EXPECT_NE(nullptr, ORNCSysGetDeviceBySerialNumber(&scope.sys, "FLOOD"));
}

TEST_F(HostileDiscovery, PeerWhoseFirstAckWasLostIsAskedAgainAndFound) {
    auto asked = std::make_shared<std::atomic<int>>(0);
    ScriptedResponder late("127.0.45.17", [asked](uint16_t id) {
        if (asked->fetch_add(1) == 0) {
            return Datagrams{};
        }
        AckFields fields;
        fields.serial = "SECOND";
        return Datagrams{make_discovery_ack(id, fields, orntest::ipv4("127.0.45.17"))};
    });
    std::string error;
    ASSERT_TRUE(late.start(&error)) << error;
    orntest::SystemScope scope;
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
    EXPECT_NE(nullptr, ORNCSysGetDeviceBySerialNumber(&scope.sys, "SECOND"));
    EXPECT_EQ(2, ORNCSysGetDeviceCount(&scope.sys));
    EXPECT_EQ(2, asked->load());
}

TEST_F(HostileDiscovery, AnswerFromAnotherPortIsDropped) {
    ScriptedResponder stray("127.0.45.18", [](uint16_t id) {
        AckFields fields;
        fields.serial = "STRAY";
        return Datagrams{make_discovery_ack(id, fields, orntest::ipv4("127.0.45.18"))};
    });
    stray.answer_from_other_port(true);
    std::string error;
    ASSERT_TRUE(stray.start(&error)) << error;
    orntest::LogCapture log;
    orntest::SystemScope scope;
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
    EXPECT_EQ(nullptr, ORNCSysGetDeviceBySerialNumber(&scope.sys, "STRAY"));
    EXPECT_EQ(1, log.count_containing("not the control port"));
}

TEST_F(HostileDiscovery, RepeatedDiscoveryKeepsOnlyTheLatestDevices) {
    orntest::SystemScope scope;
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
        ASSERT_EQ(1, ORNCSysGetDeviceCount(&scope.sys));
    }
    honest_->stop();
    ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
    EXPECT_EQ(0, ORNCSysGetDeviceCount(&scope.sys));
}

// Fits its slot with the terminator, and holds no control character: the
// mutations only ever produce ASCII that the library lets through, or
// bytes of 0x80 and above, which must then form UTF-8 (checked loosely
// here: every lead byte is followed by its continuation bytes).
bool printable(const std::string& text, size_t slot) {
    if (text.size() >= slot) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F) return false;
        if (byte < 0x80) continue;
        const size_t continuation = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 99;
        if (continuation == 99 || i + continuation >= text.size()) return false;
        for (size_t k = 1; k <= continuation; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
        }
        i += continuation;
    }
    return true;
}

TEST_F(HostileDiscovery, RandomlyCorruptedAcksNeverYieldAGarbageDevice) {
    // One peer whose every answer is a valid ack with a few random bytes
    // changed, cut or extended. Whatever comes out must be a device at the
    // peer's own address with clean texts.
    constexpr const char* kMutant = "127.0.45.17";
    std::mt19937 random(20261122);
    std::atomic<int> round{0};
    ScriptedResponder mutant(kMutant, [&random, &round](uint16_t id) {
        AckFields fields;
        fields.serial = "MUTANT" + std::to_string(round.load());
        auto ack = make_discovery_ack(id, fields, orntest::ipv4(kMutant));
        const int flips = 1 + static_cast<int>(random() % 6);
        for (int i = 0; i < flips; ++i) {
            ack[random() % ack.size()] = static_cast<uint8_t>(random());
        }
        switch (random() % 4) {
            case 0: ack.resize(random() % ack.size()); break;
            case 1: ack.resize(ack.size() + random() % 300, static_cast<uint8_t>(random())); break;
            default: break;
        }
        return Datagrams{ack};
    });
    std::string error;
    ASSERT_TRUE(mutant.start(&error)) << error;
    orntest::SystemScope scope;
    int listed = 0;
    for (; round < 300; ++round) {
        ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
        const ornc_interface_t* lo = orntest::interface_named(&scope.sys, "lo");
        ASSERT_NE(nullptr, lo);
        for (int i = 0;; ++i) {
            const ornc_device_t* device = ORNCInterfaceGetDevice(&scope.sys, lo, i);
            if (device == nullptr || i > 2) break;
            const std::string ip = orntest::device_ip(device);
            if (ip == kHonestAddress) continue;
            ++listed;
            EXPECT_EQ(kMutant, ip);
            EXPECT_TRUE(printable(orntest::device_serial(device), gvcp::SERIAL_NUMBER_SIZE));
            EXPECT_TRUE(printable(orntest::text_of(ORNCDeviceGetModelName, device), gvcp::MODEL_NAME_SIZE));
            EXPECT_TRUE(printable(orntest::text_of(ORNCDeviceGetVendorName, device), gvcp::MANUFACTURER_NAME_SIZE));
        }
    }
    // Flips that land in padding leave the ack valid: some rounds list it.
    EXPECT_GT(listed, 0);
}

}  // namespace
