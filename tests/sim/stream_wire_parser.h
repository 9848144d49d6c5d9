// A GVSP receiver for tests: a UDP socket on loopback that collects the
// packets of each block, and a parser of the wire format written from the
// protocol's layouts with literal offsets, independent of the sender's own
// constants, so that a wrong constant on the sending side shows up here.
#ifndef ORNC_TESTS_SIM_STREAM_WIRE_PARSER_H
#define ORNC_TESTS_SIM_STREAM_WIRE_PARSER_H

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

inline uint16_t be16(const uint8_t* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }
inline uint32_t be32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}
inline uint64_t be48(const uint8_t* p) { return (uint64_t{be16(p)} << 32) | be32(p + 2); }
inline uint64_t be64(const uint8_t* p) { return (uint64_t{be32(p)} << 32) | be32(p + 4); }

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

// Returns false for anything too short to be a GVSP packet.
inline bool parse_packet(const uint8_t* p, size_t n, WirePacket* out) {
    if (n < 8) return false;
    WirePacket w;
    w.status = be16(p);
    const uint32_t word = be32(p + 4);
    w.extended = (word & 0x80000000u) != 0;
    w.format = static_cast<uint8_t>((word >> 24) & 0x0F);
    size_t header = 8;
    if (w.extended) {
        if (n < 20) return false;
        w.flags = be16(p + 2);
        w.info = word & 0x00FFFFFFu;
        w.block_id = be64(p + 8);
        w.packet_id = be32(p + 16);
        header = 20;
    } else {
        w.block_id = be16(p + 2);
        w.packet_id = word & 0x00FFFFFFu;
    }
    w.data.assign(p + header, p + n);
    *out = std::move(w);
    return true;
}

struct CollectedBlock {
    std::optional<WirePacket> leader;
    std::optional<WirePacket> trailer;
    std::map<uint32_t, WirePacket> payload;  // by packet id
    size_t duplicates = 0;
    size_t resent = 0;  // packets carrying the resend flag

    // Payload packet ids missing between the leader and the trailer.
    std::vector<uint32_t> missing() const {
        std::vector<uint32_t> ids;
        if (!trailer) return ids;
        for (uint32_t id = 1; id < trailer->packet_id; ++id)
            if (payload.find(id) == payload.end()) ids.push_back(id);
        return ids;
    }
    bool complete() const { return leader && trailer && missing().empty(); }
};

// Image leader fields (payload types 0x0001 and 0x4001).
struct ImageLeader {
    uint16_t payload_type;
    uint64_t timestamp;
    uint32_t pixel_format, width, height, x_offset, y_offset;
};
inline bool decode_image_leader(const WirePacket& w, ImageLeader* out) {
    if (w.format != 1 || w.data.size() < 36) return false;
    const uint8_t* d = w.data.data();
    *out = ImageLeader{be16(d + 2), be64(d + 4), be32(d + 12), be32(d + 16), be32(d + 20), be32(d + 24), be32(d + 28)};
    return true;
}

// One 48-byte part descriptor of a multipart leader.
struct PartDescriptor {
    uint16_t data_type;
    uint64_t length;
    uint32_t pixel_format;
    uint8_t source_id;
    uint16_t data_purpose_id, region_id;
    uint32_t width, height;
};
struct MultipartLeader {
    uint16_t payload_type;
    uint64_t timestamp;
    std::vector<PartDescriptor> parts;
};
inline bool decode_multipart_leader(const WirePacket& w, MultipartLeader* out) {
    if (w.format != 1 || !w.extended || w.data.size() < 12) return false;
    const size_t count = w.info & 0xFF;  // part count sits in the header of the leader
    if (w.data.size() < 12 + count * 48) return false;
    const uint8_t* d = w.data.data();
    MultipartLeader m{be16(d + 2), be64(d + 4), {}};
    for (size_t i = 0; i < count; ++i) {
        const uint8_t* pd = d + 12 + i * 48;
        m.parts.push_back(PartDescriptor{be16(pd), be48(pd + 2), be32(pd + 8), pd[14], be16(pd + 20), be16(pd + 22),
                                         be32(pd + 24), be32(pd + 28)});
    }
    *out = std::move(m);
    return true;
}

// Trailer of an image (0x0001) or multipart block (0x000A): the payload
// type, then size y, or per part (`parts`, from the leader) a 16-byte
// record of type, length and size y; with the chunk flag (0x4000) then the
// chunk data payload length and the chunk layout id. Parts hold only
// data_type, length and height.
struct Trailer {
    uint16_t payload_type;
    std::vector<PartDescriptor> parts;
    uint32_t chunk_length, chunk_layout_id;
};
inline bool decode_trailer(const WirePacket& w, size_t parts, Trailer* out) {
    if (w.format != 2 || w.data.size() < 4) return false;
    const uint8_t* d = w.data.data();
    const uint16_t type = be16(d + 2);
    const bool multipart = (type & 0x3FFF) == 0x000A, chunks = (type & 0x4000) != 0;
    const size_t fields = multipart ? 4 + parts * 16 : 8;
    if (w.data.size() != fields + (chunks ? 8 : 0)) return false;
    Trailer t{type, {}, chunks ? be32(d + fields) : 0, chunks ? be32(d + fields + 4) : 0};
    if (!multipart) t.parts.push_back(PartDescriptor{0, 0, 0, 0, 0, 0, 0, be32(d + 4)});
    for (size_t i = 0; multipart && i < parts; ++i) {
        const uint8_t* r = d + 4 + i * 16;
        t.parts.push_back(PartDescriptor{be16(r), be48(r + 2), 0, 0, 0, 0, 0, be32(r + 8)});
    }
    *out = std::move(t);
    return true;
}

// A reassembled block: its bytes, or why it could not be put together.
struct Assembled {
    std::vector<uint8_t> bytes;
    std::string error;
    bool ok() const { return error.empty(); }
};

// Concatenates the payload packets of a generic (non-multipart) block.
inline Assembled assemble_generic(const CollectedBlock& b) {
    Assembled out;
    if (!b.complete()) return {{}, "block incomplete"};
    for (const auto& [id, w] : b.payload) {
        if (w.format != 3)
            return {{}, "payload packet " + std::to_string(id) + " has format " + std::to_string(w.format)};
        out.bytes.insert(out.bytes.end(), w.data.begin(), w.data.end());
    }
    return out;
}

// Places every multipart payload packet at its block offset, checking that
// it stays inside the part it names and that each part starts on a fresh
// packet at its own first byte.
inline Assembled assemble_multipart(const CollectedBlock& b, const MultipartLeader& leader) {
    if (!b.complete()) return {{}, "block incomplete"};
    std::vector<uint64_t> start(leader.parts.size()), end(leader.parts.size());
    uint64_t total = 0;
    for (size_t i = 0; i < leader.parts.size(); ++i) {
        start[i] = total;
        total += leader.parts[i].length;
        end[i] = total;
    }
    Assembled out{std::vector<uint8_t>(total, 0), ""};
    std::vector<uint64_t> covered(leader.parts.size(), 0);
    std::vector<bool> first_seen(leader.parts.size(), false);
    int last_part = -1;
    for (const auto& [id, w] : b.payload) {
        const std::string packet = "packet " + std::to_string(id);
        if (w.format != 7 || w.data.size() < 8) return {{}, packet + " is not a multipart payload packet"};
        const uint8_t part = w.data[0];
        const uint64_t offset = be48(w.data.data() + 2);
        const size_t len = w.data.size() - 8;
        if (part >= leader.parts.size()) return {{}, packet + " names part " + std::to_string(part)};
        if (offset < start[part] || offset + len > end[part])
            return {{}, packet + " offset " + std::to_string(offset) + " outside part " + std::to_string(part)};
        if (static_cast<int>(part) != last_part) {
            if (offset != start[part] || first_seen[part] || static_cast<int>(part) < last_part)
                return {{}, "part " + std::to_string(part) + " does not start on a fresh packet at its first byte"};
            first_seen[part] = true;
            last_part = part;
        }
        std::memcpy(out.bytes.data() + offset, w.data.data() + 8, len);
        covered[part] += len;
    }
    for (size_t i = 0; i < leader.parts.size(); ++i) {
        if (covered[i] != leader.parts[i].length)
            return {{},
                    "part " + std::to_string(i) + " covered " + std::to_string(covered[i]) + " of " +
                        std::to_string(leader.parts[i].length) + " bytes"};
    }
    return out;
}

// A UDP socket on 127.0.0.1 that sorts incoming GVSP packets by block.
class StreamReceiver {
public:
    bool ok() const { return socket_.ok(); }
    uint16_t port() const { return socket_.port(); }
    std::map<uint64_t, CollectedBlock>& blocks() { return blocks_; }
    size_t malformed() const { return malformed_; }
    size_t largest_datagram() const { return largest_; }
    size_t datagrams() const { return datagrams_; }

    // Receives until `done()` holds or `timeout` passes without it. Returns done().
    bool pump(const std::function<bool()>& done, std::chrono::milliseconds timeout = std::chrono::milliseconds(3000)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (!done()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() < 0) return done();
            receive_one(static_cast<int>(left.count()) + 1);
        }
        return true;
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
        if (!d.empty()) take(d.data(), d.size());
        return !d.empty();
    }
    void take(const uint8_t* data, size_t n) {
        if (n > largest_) largest_ = n;
        ++datagrams_;
        WirePacket w;
        if (!parse_packet(data, n, &w)) {
            ++malformed_;
            return;
        }
        CollectedBlock& b = blocks_[w.block_id];
        if (w.extended && (w.flags & 0x0001)) ++b.resent;
        if (w.format == 1) {
            if (b.leader) ++b.duplicates;
            b.leader = std::move(w);
        } else if (w.format == 2) {
            if (b.trailer) ++b.duplicates;
            b.trailer = std::move(w);
        } else {
            if (b.payload.count(w.packet_id)) ++b.duplicates;
            const uint32_t id = w.packet_id;
            b.payload[id] = std::move(w);
        }
    }

    orntest::UdpEndpoint socket_{"127.0.0.1", 16 * 1024 * 1024};
    std::map<uint64_t, CollectedBlock> blocks_;
    size_t malformed_ = 0;
    size_t largest_ = 0;
    size_t datagrams_ = 0;
};

}  // namespace stream_test

#endif  // ORNC_TESTS_SIM_STREAM_WIRE_PARSER_H
