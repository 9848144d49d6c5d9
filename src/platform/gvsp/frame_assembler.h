// One GVSP block being put together in a buffer the caller owns.
//
// The leader fixes the block's layout: where each payload packet's bytes
// land in the buffer. Generic payload packets (single image, raw data,
// chunk data) carry slice n at (n-1) * capacity, the last slice short;
// multipart packets name their part and their offset in the block, and
// every part starts in a fresh packet, so the layout is known in full from
// the part lengths of the leader. The assembler keeps a bitmap of the
// packets that arrived, knows the trailer, and lists what is missing for
// resend requests.
//
// It never writes outside the buffer: a packet that would overflow it, an
// id past the announced count, a size or offset that disagrees with the
// layout is dropped and counted. Payload types it cannot lay out (JPEG,
// H.264, multizone, GenDC, unknown) are refused at the leader.
//
// Not thread-safe: one receiving thread owns it. The buffer is borrowed
// from begin() until the next begin() or reset().
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace gvsp {

// The fields of a packet header, read with bounds checks.
struct PacketHeader {
    uint16_t status = 0;
    bool extended_ids = false;
    uint16_t flags = 0;  // extended header only
    uint8_t format = 0;
    uint32_t info = 0;  // low 24 bits of the format word (extended header: part count of a leader)
    uint64_t block_id = 0;
    uint32_t packet_id = 0;
    size_t size = 0;  // header bytes
};
// False for a datagram shorter than its header.
bool parse_packet_header(const uint8_t* datagram, size_t size, PacketHeader* header);

struct PartLayout {
    uint16_t data_type = 0;
    uint32_t pixel_format = 0, width = 0, height = 0, x_offset = 0, y_offset = 0;
    uint16_t data_purpose_id = 0, region_id = 0;
    uint8_t source_id = 0;
    uint64_t offset = 0, size = 0;  // in the block
    uint32_t first_packet = 0, packet_count = 0;
};

enum class FrameState {
    idle,              // no frame (before begin, after reset)
    receiving,         // leader seen
    complete,          // trailer seen and every payload packet in place
    incomplete,        // trailer seen, packets missing (resends may still complete it)
    unsupported,       // payload type refused at the leader
    buffer_too_small,  // the leader announces more bytes than the buffer holds
};

struct AssemblerCounters {
    uint64_t packets = 0;       // accepted into the frame
    uint64_t resent = 0;        // accepted with the resend flag
    uint64_t duplicates = 0;    // a packet already in place
    uint64_t dropped = 0;       // refused: outside the buffer, wrong id, size or offset, other block
    uint64_t error_status = 0;  // non-zero status (e.g. PACKET_UNAVAILABLE)
};

class FrameAssembler {
public:
    // `packet_size` is the stream's packet size as the device is told it
    // (whole IP datagram): it fixes the bytes per payload packet.
    explicit FrameAssembler(uint32_t packet_size) : packet_size_(packet_size) {}

    // Starts a frame on a leader datagram. Returns the new state: receiving,
    // unsupported or buffer_too_small (idle for a datagram that is no leader).
    FrameState begin(const uint8_t* datagram, size_t size, uint8_t* buffer, size_t capacity);
    void reset();

    // Where payload packet `packet_id` lands: offset in the buffer and its
    // expected length. False when the packet has no place (outside the
    // layout or the buffer, or already in place).
    bool slot(uint32_t packet_id, size_t* offset, size_t* length) const;
    // Header bytes before a payload packet's data: the headroom of slot().
    size_t payload_header_size() const;

    // A datagram of this block, whole, in memory of the caller: payload
    // bytes are copied into place, the trailer closes the frame.
    FrameState accept(const uint8_t* datagram, size_t size);
    // A payload packet whose data (`length` bytes) the kernel wrote straight
    // into slot(packet_id); `header` holds its payload_header_size() header
    // bytes. Validates it like accept() and marks it in place, no copy.
    // False when the header does not match the slot (the caller then moves
    // the bytes with accept() on a whole copy of the datagram).
    bool accept_in_place(const uint8_t* header, uint32_t packet_id, size_t length);

    FrameState state() const { return state_; }
    uint64_t block_id() const { return block_id_; }
    bool extended_ids() const { return extended_ids_; }
    uint16_t payload_type() const { return payload_type_; }
    uint64_t timestamp() const { return timestamp_; }
    const std::vector<PartLayout>& parts() const { return parts_; }
    uint64_t received_bytes() const { return received_bytes_; }
    uint32_t highest_seen() const { return highest_seen_; }
    // Payload packets the block has (known from the leader for multipart,
    // from the trailer or the short last packet otherwise; 0 while unknown).
    uint32_t payload_packet_count() const { return last_packet_; }
    // Missing payload packets as inclusive id ranges, up to the last one
    // known to exist (the highest id seen before the trailer).
    std::vector<std::pair<uint32_t, uint32_t>> missing_ranges() const;
    uint32_t missing_count() const;
    // Packets missing below the highest id seen: the gaps a later packet
    // has shown.
    uint32_t missing_below_highest() const { return highest_seen_ - in_place_; }
    // The device answered a resend request for this block with
    // PACKET_UNAVAILABLE: what is missing now will not come.
    bool refused() const { return refused_; }
    const AssemblerCounters& counters() const { return counters_; }

private:
    bool place(uint32_t packet_id, const uint8_t* data, size_t length, bool copy, uint16_t flags);
    void close_on_trailer(const uint8_t* data, size_t size, uint32_t trailer_id);
    size_t data_capacity() const;

    uint32_t packet_size_;
    FrameState state_ = FrameState::idle;
    uint8_t* buffer_ = nullptr;
    size_t capacity_ = 0;
    uint64_t block_id_ = 0;
    bool extended_ids_ = false;
    bool multipart_ = false;
    uint16_t payload_type_ = 0;
    uint64_t timestamp_ = 0;
    std::vector<PartLayout> parts_;
    std::vector<bool> arrived_;  // by packet id
    uint32_t last_packet_ = 0;   // id of the last payload packet, 0 while unknown
    uint32_t highest_seen_ = 0;
    uint32_t max_packet_ = 0;  // largest id with a place in the buffer
    uint32_t in_place_ = 0;
    uint64_t received_bytes_ = 0;
    bool refused_ = false;
    AssemblerCounters counters_;
};

}  // namespace gvsp
