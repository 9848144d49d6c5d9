// Stream datagrams as anyone on the network can send them to the stream
// port, through the platform's own receiver over loopback: the kernel
// scatters them into slots of a frame buffer, the receiver moves and
// drops. Two frame buffers are queued (two frames may be open at once),
// each exactly as large as announced, so a write past one is caught by
// AddressSanitizer.
//
// Input: mode(1) packet_size(2) capacity(2), then datagrams as
// length(2) bytes. Mode bit 0 opens a frame first with a leader of our
// own (bit 1: extended ids, bit 2: multipart), bit 3 rewrites each
// datagram's block id (and id format) to that frame's, so that random
// packets land in the frame in progress rather than being dropped as
// foreign.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/gvsp/batch_receiver.h"
#include "wire/byte_order.h"
#include "wire/gvsp_layout.h"

namespace {

constexpr uint32_t kLoopback = 0x7F000001;
constexpr uint64_t kBlock = 0x1234;

std::vector<uint8_t> own_leader(bool extended, bool multipart, uint16_t part_bytes) {
    const size_t header = gvsp::header_size(extended);
    std::vector<uint8_t> d(header + gvsp::kMultipartLeaderPartsOffset + 2 * gvsp::kPartDescriptorSize);
    uint8_t* area = d.data() + header;
    uint32_t word = uint32_t{gvsp::FORMAT_LEADER} << gvsp::kFormatShift;
    if (extended) {
        word |= gvsp::kExtendedIdBit | (multipart ? 2u : 0u);
        wire::store_be64(d.data() + gvsp::kExtBlockIdOffset, kBlock);
    } else {
        wire::store_be16(d.data() + gvsp::kStdBlockIdOffset, static_cast<uint16_t>(kBlock));
    }
    wire::store_be32(d.data() + gvsp::kFormatWordOffset, word);
    wire::store_be16(area + gvsp::kLeaderPayloadTypeOffset, multipart ? gvsp::PAYLOAD_MULTIPART : gvsp::PAYLOAD_IMAGE);
    for (size_t i = 0; multipart && i < 2; ++i) {
        wire::store_be48(
            area + gvsp::kMultipartLeaderPartsOffset + i * gvsp::kPartDescriptorSize + gvsp::kPartLengthHighOffset,
            part_bytes);
    }
    return d;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 5) return 0;
    const uint8_t mode = data[0];
    const uint32_t packet_size = 576 + wire::load_be16(data + 1) % 4000;
    std::vector<uint8_t> buffer(1 + wire::load_be16(data + 3)), other(buffer.size());
    const bool extended = (mode & 2) != 0;
    static gvsp::BatchReceiver* rx = nullptr;  // one socket for the process; frames never outlive an input
    static uint32_t rx_packet_size = 0;
    if (rx == nullptr || rx_packet_size != packet_size) {
        delete rx;
        rx = new gvsp::BatchReceiver(packet_size);
        rx_packet_size = packet_size;
        std::string error;
        if (!rx->open(kLoopback, 0, 0, &error)) __builtin_trap();
    }
    static wire::UdpSocket tx;
    if (!tx.is_open() && !tx.open(kLoopback, 0, nullptr)) __builtin_trap();
    rx->queue_buffer(buffer.data(), buffer.size(), &buffer);
    rx->queue_buffer(other.data(), other.size(), &other);
    std::vector<std::vector<uint8_t>> datagrams;
    if ((mode & 1) != 0) datagrams.push_back(own_leader(extended, (mode & 4) != 0, static_cast<uint16_t>(size * 16)));
    for (size_t at = 5; at + 2 <= size;) {
        const size_t len = wire::load_be16(data + at);
        at += 2;
        std::vector<uint8_t> d(data + at, data + at + std::min(len, size - at));
        at += d.size();
        if ((mode & 8) != 0 && d.size() >= gvsp::header_size(extended)) {
            d[gvsp::kFormatWordOffset] =
                static_cast<uint8_t>((d[gvsp::kFormatWordOffset] & 0x7F) | (extended ? 0x80 : 0));
            if (extended) {
                wire::store_be64(d.data() + gvsp::kExtBlockIdOffset, kBlock);
            } else {
                wire::store_be16(d.data() + gvsp::kStdBlockIdOffset, static_cast<uint16_t>(kBlock));
            }
        }
        datagrams.push_back(std::move(d));
    }
    for (const auto& d : datagrams) tx.send_to(kLoopback, rx->port(), d.data(), d.size());
    std::vector<gvsp::FrameReport> done;
    // A receive returns early after a batch that ended a frame (at most one
    // per buffer queued here): room for those on top of the batches needed.
    for (size_t i = 0; i <= datagrams.size() / gvsp::BatchReceiver::kBatch + 3; ++i) rx->receive(0, &done);
    rx->abort(&done);
    for (const gvsp::FrameReport& r : done) {
        if ((r.buffer != buffer.data() && r.buffer != other.data()) || r.payload_size > buffer.size()) __builtin_trap();
        for (const gvsp::PartLayout& p : r.parts) {
            if (r.state == gvsp::FrameState::complete && p.offset + p.size > buffer.size()) __builtin_trap();
        }
    }
    if (done.size() != 2) __builtin_trap();  // each buffer always comes back, once
    return 0;
}
