// A GVSP receiver for tests: a UDP socket on loopback that collects the
// packets of each block, and a parser of the wire format written from the
// protocol's layouts with literal offsets, independent of the sender's own
// constants, so that a wrong constant on the sending side shows up here.
#ifndef ORNC_TESTS_SIM_STREAM_WIRE_PARSER_H
#define ORNC_TESTS_SIM_STREAM_WIRE_PARSER_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "udp_endpoint.h"

namespace stream_test {

// The big-endian number in the `n` bytes at `p`.
inline uint64_t be(const uint8_t* p, int n) {
    uint64_t v = 0;
    for (int i = 0; i < n; ++i) v = (v << 8) | p[i];
    return v;
}

// One datagram, header decoded.
struct WirePacket {
    uint16_t status = 0;
    bool extended = false;
    uint16_t flags = 0;  // extended header only
    uint8_t format = 0;  // 1 leader, 2 trailer, 3 payload, 7 multipart payload
    uint64_t block_id = 0;
    uint32_t packet_id = 0;
    uint32_t info = 0;          // low 24 bits of the format word (extended header)
    std::vector<uint8_t> data;  // data area after the header
};

// False for anything too short to be a GVSP packet.
inline bool parse_packet(const uint8_t* p, size_t n, WirePacket* out) {
    const bool ext = n >= 8 && (p[4] & 0x80) != 0;
    const size_t header = ext ? 20 : 8;
    if (n < header) return false;
    const uint32_t word = static_cast<uint32_t>(be(p + 4, 4)), low = word & 0x00FFFFFFu;
    *out = WirePacket{static_cast<uint16_t>(be(p, 2)),
                      ext,
                      static_cast<uint16_t>(ext ? be(p + 2, 2) : 0),
                      static_cast<uint8_t>((word >> 24) & 0x0F),
                      ext ? be(p + 8, 8) : be(p + 2, 2),
                      ext ? static_cast<uint32_t>(be(p + 16, 4)) : low,
                      ext ? low : 0,
                      std::vector<uint8_t>(p + header, p + n)};
    return true;
}

struct CollectedBlock {
    std::optional<WirePacket> leader, trailer;
    std::map<uint32_t, WirePacket> payload;  // by packet id
    size_t duplicates = 0;
    size_t resent = 0;  // packets carrying the resend flag

    // Leader, trailer and every payload packet id between them.
    bool complete() const {
        for (uint32_t id = 1; leader && trailer && id < trailer->packet_id; ++id)
            if (payload.find(id) == payload.end()) return false;
        return leader && trailer;
    }
};

// Image leader fields (payload types 0x0001 and 0x4001).
struct ImageLeader {
    uint16_t payload_type;
    uint64_t timestamp;
    std::vector<uint64_t> pixel_format_size_offset;  // pixel format, size x and y, offset x and y
};
inline bool decode_image_leader(const WirePacket& w, ImageLeader* out) {
    if (w.format != 1 || w.data.size() < 36) return false;
    const uint8_t* d = w.data.data();
    *out = ImageLeader{static_cast<uint16_t>(be(d + 2, 2)), be(d + 4, 8), {}};
    for (int at = 12; at < 32; at += 4) out->pixel_format_size_offset.push_back(be(d + at, 4));
    return true;
}

// One 48-byte part descriptor of a multipart leader: data type, length,
// pixel format, purpose, source, region, size x and y; a trailer's part
// record holds only data type, length and size y.
struct PartDescriptor {
    uint64_t data_type, length, pixel_format, data_purpose_id, source_id, region_id, width, height;
    bool operator==(const PartDescriptor& o) const { return std::memcmp(this, &o, sizeof o) == 0; }
};
struct MultipartLeader {
    uint16_t payload_type;
    uint64_t timestamp;
    std::vector<PartDescriptor> parts;
};
inline bool decode_multipart_leader(const WirePacket& w, MultipartLeader* out) {
    const size_t count = w.info & 0xFF;  // part count sits in the header of the leader
    if (w.format != 1 || !w.extended || w.data.size() < 12 + count * 48) return false;
    const uint8_t* d = w.data.data();
    *out = MultipartLeader{static_cast<uint16_t>(be(d + 2, 2)), be(d + 4, 8), {}};
    for (const uint8_t* pd = d + 12; pd < d + 12 + count * 48; pd += 48) {
        out->parts.push_back(PartDescriptor{be(pd, 2), be(pd + 2, 6), be(pd + 8, 4), be(pd + 20, 2), pd[14],
                                            be(pd + 22, 2), be(pd + 24, 4), be(pd + 28, 4)});
    }
    return true;
}

// Trailer of an image (0x0001) or multipart block (0x000A): the payload
// type, then size y, or per part (`parts`, from the leader) a 16-byte
// record of type, length and size y; with the chunk flag (0x4000) then the
// chunk data payload length and the chunk layout id.
struct Trailer {
    uint16_t payload_type;
    std::vector<PartDescriptor> parts;
    uint32_t chunk_length, chunk_layout_id;
};
inline bool decode_trailer(const WirePacket& w, size_t parts, Trailer* out) {
    if (w.format != 2 || w.data.size() < 4) return false;
    const uint8_t* d = w.data.data();
    const uint16_t type = static_cast<uint16_t>(be(d + 2, 2));
    const bool multipart = (type & 0x3FFF) == 0x000A, chunks = (type & 0x4000) != 0;
    const size_t fields = multipart ? 4 + parts * 16 : 8;
    if (w.data.size() != fields + (chunks ? 8 : 0)) return false;
    *out = Trailer{type,
                   {},
                   chunks ? static_cast<uint32_t>(be(d + fields, 4)) : 0,
                   chunks ? static_cast<uint32_t>(be(d + fields + 4, 4)) : 0};
    if (!multipart) out->parts.push_back(PartDescriptor{0, 0, 0, 0, 0, 0, 0, be(d + 4, 4)});
    for (const uint8_t* r = d + 4; multipart && r < d + fields; r += 16)
        out->parts.push_back(PartDescriptor{be(r, 2), be(r + 2, 6), 0, 0, 0, 0, 0, be(r + 8, 4)});
    return true;
}

// The payload of a complete block into `out`: "" or what is wrong. A generic
// block (no `leader`) concatenates format-3 packets; a multipart block places
// every format-7 packet at its block offset, inside the part it names, each
// part starting on a fresh packet at its own first byte and covered whole.
inline std::string assemble(const CollectedBlock& b, const MultipartLeader* leader, std::vector<uint8_t>* out) {
    if (!b.complete()) return "block incomplete";
    std::vector<uint64_t> start{0}, covered;
    for (const PartDescriptor& p : leader ? leader->parts : std::vector<PartDescriptor>{})
        start.push_back(start.back() + p.length);
    *out = std::vector<uint8_t>(start.back(), 0);
    covered.assign(start.size() - 1, 0);
    int last_part = -1;
    for (const auto& [id, w] : b.payload) {
        const std::string packet = "packet " + std::to_string(id);
        if (!leader) {
            if (w.format != 3) return packet + " has format " + std::to_string(w.format);
            out->insert(out->end(), w.data.begin(), w.data.end());
            continue;
        }
        if (w.format != 7 || w.data.size() < 8) return packet + " is not a multipart payload packet";
        const size_t part = w.data[0], len = w.data.size() - 8;
        const uint64_t offset = be(w.data.data() + 2, 6);
        if (part >= covered.size() || offset < start[part] || offset + len > start[part + 1])
            return packet + " offset " + std::to_string(offset) + " outside part " + std::to_string(part);
        if (static_cast<int>(part) != last_part && (offset != start[part] || static_cast<int>(part) < last_part))
            return "part " + std::to_string(part) + " does not start on a fresh packet at its first byte";
        last_part = static_cast<int>(part);
        std::memcpy(out->data() + offset, w.data.data() + 8, len);
        covered[part] += len;
    }
    for (size_t i = 0; i < covered.size(); ++i)
        if (covered[i] != start[i + 1] - start[i]) return "part " + std::to_string(i) + " not covered whole";
    return "";
}

// A UDP socket on 127.0.0.1 that sorts incoming GVSP packets by block.
class StreamReceiver {
public:
    bool ok() const { return socket_.ok(); }
    uint16_t port() const { return socket_.port(); }
    std::map<uint64_t, CollectedBlock>& blocks() { return blocks_; }
    size_t malformed = 0, largest_datagram = 0, datagrams = 0;

    // Receives until `done()` holds or `timeout` passes without it. Returns done().
    bool pump(const std::function<bool()>& done, std::chrono::milliseconds timeout = std::chrono::milliseconds(3000)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        for (auto now = std::chrono::steady_clock::now(); !done() && now < deadline;
             now = std::chrono::steady_clock::now())
            receive_one(
                static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count()) + 1);
        return done();
    }

    // Drains whatever is queued right now (bounded by `quiet` of silence).
    void drain(std::chrono::milliseconds quiet = std::chrono::milliseconds(100)) {
        while (receive_one(static_cast<int>(quiet.count()))) {
        }
    }

private:
    // Takes one datagram if one comes within `wait_ms`.
    bool receive_one(int wait_ms) {
        const std::vector<uint8_t> d = socket_.receive(wait_ms);
        if (d.empty()) return false;
        largest_datagram = std::max(largest_datagram, d.size());
        ++datagrams;
        WirePacket w;
        if (!parse_packet(d.data(), d.size(), &w)) return ++malformed;
        CollectedBlock& b = blocks_[w.block_id];
        b.resent += w.extended && (w.flags & 0x0001);
        std::optional<WirePacket>& end = w.format == 1 ? b.leader : b.trailer;
        if (w.format == 1 || w.format == 2) {
            b.duplicates += end.has_value();
            end = std::move(w);
        } else {
            b.duplicates += b.payload.count(w.packet_id);
            b.payload[w.packet_id] = std::move(w);
        }
        return true;
    }

    orntest::UdpEndpoint socket_{"127.0.0.1", 16 * 1024 * 1024};
    std::map<uint64_t, CollectedBlock> blocks_;
};

}  // namespace stream_test

#endif  // ORNC_TESTS_SIM_STREAM_WIRE_PARSER_H
