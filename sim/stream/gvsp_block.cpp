#include "gvsp_block.h"

#include <algorithm>
#include <utility>

#include "chunk_writer.h"
#include "ornsim/components.h"
#include "wire/gvcp_layout.h"

namespace ornsim {

namespace {

// The chunk layout id changes when the set of chunks changes; the sensor's
// chunk set is fixed per chunk configuration, so one value is enough.
constexpr uint32_t kChunkLayoutId = 1;

// The trailer's size: the payload type's own fields, then the chunk fields.
size_t trailer_size(bool multipart, size_t wire_parts, bool chunks) {
    const size_t fields = multipart ? gvsp::kMultipartTrailerPartsOffset + wire_parts * gvsp::kTrailerPartRecordSize
                                    : gvsp::kImageTrailerSize;
    return fields + (chunks ? gvsp::kTrailerChunkFieldsSize : 0);
}

void set_error(std::string* error, const std::string& message) {
    if (error != nullptr) *error = message;
}

}  // namespace

uint64_t GvspBlock::wire_id(uint64_t block_id, bool extended_ids) {
    if (extended_ids) return block_id;
    // Without extended IDs the block id has 16 bits and 0 is not a valid value:
    // count 1..65535 and wrap.
    return ((block_id - 1) % 0xFFFFu) + 1;
}

std::shared_ptr<const GvspBlock> GvspBlock::build(GvspFrame frame, const StreamSettings& settings, std::string* error) {
    std::shared_ptr<GvspBlock> block(new GvspBlock());
    GvspBlock& b = *block;
    b.frame_ = std::move(frame);
    b.extended_ids_ = settings.extended_ids;
    b.wire_block_id_ = wire_id(b.frame_.block_id, b.extended_ids_);

    const GvspFrame& f = b.frame_;
    const bool has_chunks = !f.chunk_data.empty();
    if (f.parts.empty()) {
        set_error(error, "frame has no part");
        return nullptr;
    }
    if (!f.multipart && f.parts.size() != 1) {
        set_error(error, "a single-image frame must have exactly one part");
        return nullptr;
    }
    if (f.multipart && !b.extended_ids_) {
        set_error(error, "multipart frames need extended IDs");
        return nullptr;
    }
    const size_t wire_part_count = f.multipart ? f.parts.size() + (has_chunks ? 1 : 0) : 1;
    if (wire_part_count > gvsp::kMaxParts) {
        set_error(error, "too many parts for one multipart block");
        return nullptr;
    }
    if (settings.packet_size < kMinPacketSize || settings.packet_size > gvsp::kMaxPacketSize) {
        set_error(error, "packet size " + std::to_string(settings.packet_size) + " outside [" +
                             std::to_string(kMinPacketSize) + ", " + std::to_string(gvsp::kMaxPacketSize) + "]");
        return nullptr;
    }

    const size_t header = gvsp::header_size(b.extended_ids_);
    const size_t data_area = settings.packet_size - gvsp::kIpUdpOverhead - header;
    b.payload_capacity_ = data_area - (f.multipart ? gvsp::kMultipartDataHeaderSize : 0);

    const size_t leader_size = f.multipart
                                   ? gvsp::kMultipartLeaderPartsOffset + wire_part_count * gvsp::kPartDescriptorSize
                                   : gvsp::kImageLeaderSize;
    if (leader_size > data_area || trailer_size(f.multipart, wire_part_count, has_chunks) > data_area) {
        set_error(error, "packet size " + std::to_string(settings.packet_size) + " too small for the leader of " +
                             std::to_string(wire_part_count) + " part(s)");
        return nullptr;
    }

    // Lay out the wire parts.
    uint64_t offset = 0;
    uint64_t next_packet = 1;
    auto add_part = [&](std::initializer_list<Segment> segments) {
        WirePart wp{};
        for (const Segment& s : segments) {
            wp.segments[wp.segment_count++] = s;
            wp.size += s.size;
        }
        wp.block_offset = offset;
        wp.first_packet = static_cast<uint32_t>(std::min<uint64_t>(next_packet, UINT32_MAX));
        const uint64_t packets = (wp.size + b.payload_capacity_ - 1) / b.payload_capacity_;
        wp.packet_count = static_cast<uint32_t>(std::min<uint64_t>(packets, UINT32_MAX));
        offset += wp.size;
        next_packet += packets;
        b.wire_parts_.push_back(wp);
    };
    if (f.multipart) {
        for (const GvspPart& p : f.parts) add_part({Segment{p.data.data(), p.data.size()}});
        if (has_chunks) add_part({Segment{f.chunk_data.data(), f.chunk_data.size()}});
        b.payload_type_ = gvsp::PAYLOAD_MULTIPART | (has_chunks ? gvsp::kPayloadExtendedChunkFlag : 0);
    } else if (has_chunks) {
        const std::vector<uint8_t>& image = f.parts[0].data;
        if (image.size() % gvsp::kChunkAlignment != 0 || image.size() > UINT32_MAX) {
            set_error(error, "image size must be a multiple of 4 below 4 GiB in chunk mode");
            return nullptr;
        }
        write_chunk_tag(b.image_chunk_tag_, kChunkIdImage, static_cast<uint32_t>(image.size()));
        add_part({Segment{image.data(), image.size()}, Segment{b.image_chunk_tag_, sizeof b.image_chunk_tag_},
                  Segment{f.chunk_data.data(), f.chunk_data.size()}});
        b.payload_type_ = gvsp::kPayloadImageExtendedChunk;
    } else {
        add_part({Segment{f.parts[0].data.data(), f.parts[0].data.size()}});
        b.payload_type_ = gvsp::PAYLOAD_IMAGE;
    }
    b.payload_size_ = offset;

    const uint64_t max_packets =
        b.extended_ids_ ? uint64_t{gvsp::kExtMaxPacketId} : uint64_t{gvsp::kStdMaxPacketId} + 1;
    if (next_packet + 1 > max_packets) {
        set_error(error, "frame needs more packets than the header can number");
        return nullptr;
    }
    b.packet_count_ = static_cast<uint32_t>(next_packet + 1);

    b.build_leader();
    b.build_trailer();
    return block;
}

void GvspBlock::build_leader() {
    const GvspFrame& f = frame_;
    if (!f.multipart) {
        const GvspPart& p = f.parts[0];
        leader_.assign(gvsp::kImageLeaderSize, 0);
        uint8_t* d = leader_.data();
        wire::store_be16(d + gvsp::kLeaderPayloadTypeOffset, payload_type_);
        wire::store_be64(d + gvsp::kLeaderTimestampOffset, f.timestamp);
        wire::store_be32(d + gvsp::kImageLeaderPixelFormatOffset, p.pixel_format);
        wire::store_be32(d + gvsp::kImageLeaderWidthOffset, p.width);
        wire::store_be32(d + gvsp::kImageLeaderHeightOffset, p.height);
        return;
    }
    leader_.assign(gvsp::kMultipartLeaderPartsOffset + wire_parts_.size() * gvsp::kPartDescriptorSize, 0);
    uint8_t* d = leader_.data();
    wire::store_be16(d + gvsp::kLeaderPayloadTypeOffset, payload_type_);
    wire::store_be64(d + gvsp::kLeaderTimestampOffset, f.timestamp);
    for (size_t i = 0; i < wire_parts_.size(); ++i) {
        uint8_t* pd = d + gvsp::kMultipartLeaderPartsOffset + i * gvsp::kPartDescriptorSize;
        wire::store_be48(pd + gvsp::kPartLengthHighOffset, wire_parts_[i].size);
        if (i < f.parts.size()) {
            const GvspPart& p = f.parts[i];
            wire::store_be16(pd + gvsp::kPartDataTypeOffset, p.data_type);
            wire::store_be32(pd + gvsp::kPartPixelFormatOffset, p.pixel_format);
            pd[gvsp::kPartSourceIdOffset] = static_cast<uint8_t>(p.source_id);
            wire::store_be16(pd + gvsp::kPartDataPurposeIdOffset, static_cast<uint16_t>(p.data_purpose_id));
            wire::store_be16(pd + gvsp::kPartRegionIdOffset, static_cast<uint16_t>(p.region_id));
            wire::store_be32(pd + gvsp::kPartWidthOffset, p.width);
            wire::store_be32(pd + gvsp::kPartHeightOffset, p.height);
        } else {
            wire::store_be16(pd + gvsp::kPartDataTypeOffset, gvsp::PART_CHUNK_DATA);
        }
    }
}

void GvspBlock::build_trailer() {
    const GvspFrame& f = frame_;
    const bool chunks = (payload_type_ & gvsp::kPayloadExtendedChunkFlag) != 0;
    trailer_.assign(trailer_size(f.multipart, wire_parts_.size(), chunks), 0);
    uint8_t* d = trailer_.data();
    wire::store_be16(d + gvsp::kTrailerPayloadTypeOffset, payload_type_);
    if (!f.multipart) {
        wire::store_be32(d + gvsp::kImageTrailerSizeYOffset, f.parts[0].height);
    }
    for (size_t i = 0; f.multipart && i < wire_parts_.size(); ++i) {
        uint8_t* r = d + gvsp::kMultipartTrailerPartsOffset + i * gvsp::kTrailerPartRecordSize;
        const bool image_part = i < f.parts.size();
        wire::store_be16(r + gvsp::kTrailerPartDataTypeOffset,
                         image_part ? f.parts[i].data_type : uint16_t{gvsp::PART_CHUNK_DATA});
        wire::store_be48(r + gvsp::kTrailerPartLengthHighOffset, wire_parts_[i].size);
        if (image_part) wire::store_be32(r + gvsp::kTrailerPartSizeYOffset, f.parts[i].height);
    }
    if (chunks) {
        // In a multipart block the chunk data is the last part; in an image
        // with chunks the whole payload is chunk data.
        const uint64_t chunk_length = f.multipart ? wire_parts_.back().size : payload_size_;
        uint8_t* c = d + trailer_.size() - gvsp::kTrailerChunkFieldsSize;
        wire::store_be32(c + gvsp::kTrailerChunkLengthOffset, static_cast<uint32_t>(chunk_length));
        wire::store_be32(c + gvsp::kTrailerChunkLayoutIdOffset, kChunkLayoutId);
    }
}

size_t GvspBlock::write_header(uint8_t* header, uint8_t format, uint32_t packet_id, uint32_t format_info,
                               bool resend) const {
    return write_packet_header(header, extended_ids_, wire_block_id_, gvcp::STATUS_SUCCESS, format, packet_id,
                               format_info, resend);
}

size_t GvspBlock::write_packet_header(uint8_t* header, bool extended_ids, uint64_t wire_block_id, uint16_t status,
                                      uint8_t format, uint32_t packet_id, uint32_t format_info, bool resend) {
    wire::store_be16(header + gvsp::kStatusOffset, status);
    if (extended_ids) {
        wire::store_be16(header + gvsp::kExtFlagsOffset, resend ? gvsp::kFlagPacketResend : 0);
        wire::store_be32(header + gvsp::kFormatWordOffset,
                         gvsp::kExtendedIdBit | (uint32_t{format} << gvsp::kFormatShift) | (format_info & 0x00FFFFFFu));
        wire::store_be64(header + gvsp::kExtBlockIdOffset, wire_block_id);
        wire::store_be32(header + gvsp::kExtPacketIdOffset, packet_id);
        return gvsp::kExtHeaderSize;
    }
    wire::store_be16(header + gvsp::kStdBlockIdOffset, static_cast<uint16_t>(wire_block_id));
    wire::store_be32(header + gvsp::kFormatWordOffset,
                     (uint32_t{format} << gvsp::kFormatShift) | (packet_id & gvsp::kStdPacketIdMask));
    return gvsp::kStdHeaderSize;
}

size_t GvspBlock::packet(uint32_t packet_id, bool resend, uint8_t* header, struct iovec* iov,
                         size_t* total_bytes) const {
    if (packet_id >= packet_count_) return 0;
    size_t n = 1;
    size_t total = 0;
    auto add = [&](const void* data, size_t size) {
        iov[n].iov_base = const_cast<void*>(data);
        iov[n].iov_len = size;
        total += size;
        ++n;
    };

    size_t header_size = 0;
    if (packet_id == 0) {
        const uint32_t info = frame_.multipart ? static_cast<uint32_t>(wire_parts_.size()) : 0;
        header_size = write_header(header, gvsp::FORMAT_LEADER, packet_id, info, resend);
        add(leader_.data(), leader_.size());
    } else if (packet_id + 1 == packet_count_) {
        header_size = write_header(header, gvsp::FORMAT_TRAILER, packet_id, 0, resend);
        add(trailer_.data(), trailer_.size());
    } else {
        size_t part_index = 0;
        while (part_index + 1 < wire_parts_.size() &&
               packet_id >= wire_parts_[part_index].first_packet + wire_parts_[part_index].packet_count)
            ++part_index;
        const WirePart& wp = wire_parts_[part_index];
        const uint64_t start = uint64_t{packet_id - wp.first_packet} * payload_capacity_;
        const uint64_t length = std::min<uint64_t>(payload_capacity_, wp.size - start);
        if (frame_.multipart) {
            header_size = write_header(header, gvsp::FORMAT_MULTIPART, packet_id, 0, resend);
            uint8_t* mp = header + header_size;
            mp[gvsp::kMultipartPartIdOffset] = static_cast<uint8_t>(part_index);
            mp[gvsp::kMultipartZoneInfoOffset] = 0;
            wire::store_be48(mp + gvsp::kMultipartOffsetHighOffset, wp.block_offset + start);
            header_size += gvsp::kMultipartDataHeaderSize;
        } else {
            header_size = write_header(header, gvsp::FORMAT_PAYLOAD, packet_id, 0, resend);
        }
        // Gather [start, start + length) from the part's segments.
        uint64_t seg_begin = 0;
        for (size_t s = 0; s < wp.segment_count; ++s) {
            const Segment& seg = wp.segments[s];
            const uint64_t seg_end = seg_begin + seg.size;
            const uint64_t lo = std::max(start, seg_begin);
            const uint64_t hi = std::min(start + length, seg_end);
            if (lo < hi) add(seg.data + (lo - seg_begin), static_cast<size_t>(hi - lo));
            seg_begin = seg_end;
        }
    }
    iov[0].iov_base = header;
    iov[0].iov_len = header_size;
    *total_bytes = total + header_size;
    return n;
}

}  // namespace ornsim
