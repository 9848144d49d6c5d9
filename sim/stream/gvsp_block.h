// One frame laid out as a GVSP block: which bytes go into which packet.
//
// A block is built once per frame with the stream settings of that moment and
// never changes afterwards, so any packet can be regenerated for a resend with
// exactly the bytes of its first send. Packet 0 is the leader, the last packet
// the trailer, the packets in between carry the payload:
//  - single image: the image bytes (in extended chunk mode followed by the
//    image's own chunk tag and the frame's chunk data) cut into equal slices;
//  - multipart: every part (and a trailing chunk part) starts in a fresh
//    packet; each payload packet names its part and its byte offset in the
//    block.
//
// Building a packet writes its header into caller memory and points iovecs at
// the block's own bytes: nothing is allocated per packet.
#ifndef ORNSIM_STREAM_GVSP_BLOCK_H
#define ORNSIM_STREAM_GVSP_BLOCK_H

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "gvsp_sender.h"
#include "wire/gvsp_layout.h"

namespace ornsim {

class GvspBlock {
public:
    // Largest header a packet can have: extended header + multipart data header.
    static constexpr size_t kMaxHeaderSize = gvsp::kExtHeaderSize + gvsp::kMultipartDataHeaderSize;
    // Most iovecs one packet needs: header + image + image chunk tag + chunk data.
    static constexpr size_t kMaxIov = 4;
    // Smallest packet_size accepted: room for headers and 4 payload bytes.
    static constexpr uint32_t kMinPacketSize = 64;

    // Lays out `frame` for `settings`. Returns null and a message when the
    // frame cannot be sent with these settings (no part, part count, multipart
    // without extended IDs, packet size, too many packets).
    static std::shared_ptr<const GvspBlock> build(GvspFrame frame, const StreamSettings& settings, std::string* error);

    uint64_t block_id() const { return frame_.block_id; }
    uint64_t wire_block_id() const {
        return wire_block_id_;
    }  // as it appears in the header (16 bits without extended IDs)
    bool extended_ids() const { return extended_ids_; }
    uint32_t packet_count() const { return packet_count_; }
    uint16_t payload_type() const { return payload_type_; }
    uint64_t payload_size() const { return payload_size_; }  // bytes in all payload packets together
    bool is_payload_packet(uint32_t packet_id) const { return packet_id > 0 && packet_id + 1 < packet_count_; }

    // Builds packet `packet_id`: writes its header into `header` (kMaxHeaderSize
    // bytes), fills `iov` (kMaxIov entries, the first one pointing at `header`)
    // and returns the number of iovecs used, 0 for an id outside the block.
    // `resend` sets the resend flag of the extended header.
    size_t packet(uint32_t packet_id, bool resend, uint8_t* header, struct iovec* iov, size_t* total_bytes) const;

    // Maps a block id to its on-wire form for the given header format.
    static uint64_t wire_id(uint64_t block_id, bool extended_ids);

    // Writes a packet header (standard or extended) into `header` and
    // returns its size. A header alone with an error status is how a
    // device answers a resend request it cannot serve.
    static size_t write_packet_header(uint8_t* header, bool extended_ids, uint64_t wire_block_id, uint16_t status,
                                      uint8_t format, uint32_t packet_id, uint32_t format_info, bool resend);

private:
    struct Segment {
        const uint8_t* data;
        size_t size;
    };
    struct WirePart {
        Segment segments[kMaxIov - 1];
        size_t segment_count;
        uint64_t size;          // bytes of this part
        uint64_t block_offset;  // where the part starts in the block
        uint32_t first_packet;  // id of its first payload packet
        uint32_t packet_count;
    };

    GvspBlock() = default;
    size_t write_header(uint8_t* header, uint8_t format, uint32_t packet_id, uint32_t format_info, bool resend) const;
    void build_leader();
    void build_trailer();

    GvspFrame frame_;
    bool extended_ids_ = true;
    uint64_t wire_block_id_ = 0;
    size_t payload_capacity_ = 0;  // data bytes per payload packet
    uint16_t payload_type_ = 0;
    uint64_t payload_size_ = 0;
    uint32_t packet_count_ = 0;
    uint8_t image_chunk_tag_[gvsp::kChunkTagSize] = {};
    std::vector<WirePart> wire_parts_;
    std::vector<uint8_t> leader_;   // data area of the leader
    std::vector<uint8_t> trailer_;  // data area of the trailer
};

}  // namespace ornsim

#endif  // ORNSIM_STREAM_GVSP_BLOCK_H
