// The wire module's strict parts: address text that refuses what is not
// exactly an address, readers that stop at the datagram's end, and builders
// whose packets read back as built.
#include <gtest/gtest.h>

#include <tuple>

#include "wire/address_text.h"
#include "wire/gvcp_packets.h"

namespace {

TEST(Wire, AddressTextIsStrict) {
    uint32_t address = 0;
    for (const char* text : {"0.0.0.0", "192.168.0.1", "255.255.255.255"}) {
        ASSERT_TRUE(wire::parse_ipv4(text, &address)) << text;
        EXPECT_EQ(wire::format_ipv4(address), text);
    }
    for (const char* text : {"010.0.0.1", "256.0.0.1", "1.2.3", "1.2.3.4.5", "1..2.3", " 1.2.3.4", "1.2.3.4 ",
                             "+1.2.3.4", "1.2.3.4x", ""}) {
        EXPECT_FALSE(wire::parse_ipv4(text, &address)) << '"' << text << '"';
    }
    EXPECT_EQ(address, 0xFFFFFFFFu) << "a refused text leaves the address as it was";
    wire::MacAddress mac{};
    ASSERT_TRUE(wire::parse_mac("02-00-5E-10-00-fF", &mac));
    EXPECT_EQ(wire::format_mac(mac), "02:00:5e:10:00:ff");
    for (const char* text : {"2:0:5e:10:0:1", "02:00:5e:10:00", "02:00:5e:10:00:01:", "02:00:5e:10:00:0g", ""}) {
        EXPECT_FALSE(wire::parse_mac(text, &mac)) << '"' << text << '"';
    }
}

TEST(Wire, PacketsReadBackAsBuiltAndShortOnesReadAsZeros) {
    for (const bool extended : {false, true}) {
        const gvcp::EventEntry sent{0x9002, 0, extended ? 0x1122334455667788u : 0x7788u, 0xAABBCCDDEEFF0011u};
        const std::vector<uint8_t> packet =
            gvcp::build_event_data(extended ? gvcp::kFlagExtendedIds : 0, 42, sent, {7});
        const gvcp::CommandHeader header = gvcp::read_command_header(packet.data(), packet.size());
        EXPECT_EQ(std::make_tuple(header.command, header.request_id), std::make_tuple(gvcp::EVENTDATA_CMD, 42));
        ASSERT_EQ(packet.size(), gvcp::kHeaderSize + header.length);
        const gvcp::EventEntry read =
            gvcp::read_event_entry(packet.data() + gvcp::kHeaderSize, header.length, extended);
        EXPECT_EQ(std::tie(read.block_id, read.timestamp), std::tie(sent.block_id, sent.timestamp));
        // Cut after the event id, the entry keeps the id and reads zeros beyond.
        const gvcp::EventEntry cut = gvcp::read_event_entry(packet.data() + gvcp::kHeaderSize, 4, extended);
        EXPECT_EQ(cut.event_id, sent.event_id);
        EXPECT_EQ(cut.block_id | cut.timestamp, 0u);

        const std::vector<uint8_t> resend =
            gvcp::build_resend_request(extended, 9, {0, 0xBEEF, 0x01000002, 0x01000010});
        gvcp::ResendRequest request;
        ASSERT_TRUE(gvcp::read_resend_request(resend.data() + gvcp::kHeaderSize, resend.size() - gvcp::kHeaderSize,
                                              extended, &request));
        EXPECT_EQ(request.block_id, 0xBEEFu);
        EXPECT_EQ(request.last_packet, extended ? 0x01000010u : 0x10u) << "24-bit packet ids without extended ids";
        EXPECT_FALSE(gvcp::read_resend_request(resend.data() + gvcp::kHeaderSize, resend.size() - gvcp::kHeaderSize - 1,
                                               extended, &request));
    }
    const std::vector<uint8_t> ack = gvcp::build_ack(gvcp::STATUS_BUSY, gvcp::READREG_ACK, 7);
    EXPECT_EQ(gvcp::read_ack_header(ack.data(), ack.size()).status, gvcp::STATUS_BUSY);
    const gvcp::AckHeader cut = gvcp::read_ack_header(ack.data(), ack.size() - 1);
    EXPECT_EQ(cut.status | cut.answer | cut.length | cut.ack_id, 0);
}

}  // namespace
