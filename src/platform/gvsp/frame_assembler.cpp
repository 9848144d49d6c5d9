#include "platform/gvsp/frame_assembler.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "base/log.h"
#include "wire/byte_order.h"
#include "wire/gvcp_layout.h"
#include "wire/gvsp_layout.h"

namespace gvsp {

namespace {

uint64_t read_be48(const uint8_t* d, size_t size, size_t offset) {
    return wire::fits(size, offset, 6) ? wire::load_be48(d + offset) : 0;
}

bool generic_payload(uint16_t type) {
    switch (type & kPayloadTypeMask) {
        case PAYLOAD_IMAGE:
        case PAYLOAD_RAW_DATA:
        case PAYLOAD_FILE:
        case PAYLOAD_CHUNK_DATA:
        case PAYLOAD_EXTENDED_CHUNK_DATA:
            return true;
        default:
            return false;
    }
}

}  // namespace

bool parse_packet_header(const uint8_t* d, size_t size, PacketHeader* h) {
    if (d == nullptr || size < kStdHeaderSize) return false;
    const uint32_t word = wire::load_be32(d + kFormatWordOffset);
    h->extended_ids = (word & kExtendedIdBit) != 0;
    h->size = header_size(h->extended_ids);
    if (size < h->size) return false;
    h->status = wire::load_be16(d + kStatusOffset);
    h->format = static_cast<uint8_t>((word & kFormatMask) >> kFormatShift);
    h->info = word & kStdPacketIdMask;
    if (h->extended_ids) {
        h->flags = wire::load_be16(d + kExtFlagsOffset);
        h->block_id = wire::load_be64(d + kExtBlockIdOffset);
        h->packet_id = wire::load_be32(d + kExtPacketIdOffset);
    } else {
        h->flags = 0;
        h->block_id = wire::load_be16(d + kStdBlockIdOffset);
        h->packet_id = word & kStdPacketIdMask;
    }
    return true;
}

void FrameAssembler::reset() {
    state_ = FrameState::idle;
    buffer_ = nullptr;
    capacity_ = 0;
    parts_.clear();
    arrived_.clear();
    last_packet_ = highest_seen_ = max_packet_ = in_place_ = 0;
    received_bytes_ = 0;
    refused_ = false;
    payload_type_ = 0;
    timestamp_ = 0;
}

size_t FrameAssembler::payload_header_size() const {
    return header_size(extended_ids_) + (multipart_ ? kMultipartDataHeaderSize : 0);
}

size_t FrameAssembler::data_capacity() const {
    const size_t overhead = kIpUdpOverhead + payload_header_size();
    return packet_size_ > overhead ? packet_size_ - overhead : 0;
}

FrameState FrameAssembler::begin(const uint8_t* d, size_t size, uint8_t* buffer, size_t capacity) {
    reset();
    PacketHeader h;
    if (!parse_packet_header(d, size, &h) || h.format != FORMAT_LEADER || h.status != 0) {
        ++counters_.dropped;
        return state_;
    }
    const uint8_t* area = d + h.size;
    const size_t len = size - h.size;
    block_id_ = h.block_id;
    extended_ids_ = h.extended_ids;
    payload_type_ = wire::read_be16(area, len, kLeaderPayloadTypeOffset);
    timestamp_ = wire::read_be64(area, len, kLeaderTimestampOffset);
    multipart_ = (payload_type_ & kPayloadTypeMask) == PAYLOAD_MULTIPART;
    buffer_ = buffer;
    capacity_ = buffer != nullptr ? capacity : 0;
    if (!multipart_ && !generic_payload(payload_type_)) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER,
                 "ORNC: Block %" PRIu64 " refused: payload type 0x%04x cannot be received", block_id_,
                 static_cast<unsigned>(payload_type_));
        state_ = FrameState::unsupported;
        return state_;
    }
    const size_t cap = data_capacity();
    if (cap == 0 || len < kLeaderCommonSize) {
        ++counters_.dropped;
        reset();
        return state_;
    }
    if (multipart_) {
        const size_t count = h.extended_ids ? (h.info & kLeaderPartCountMask)
                                            : (len - kMultipartLeaderPartsOffset) / kPartDescriptorSize;
        if (count == 0 || !wire::fits(len, kMultipartLeaderPartsOffset, count * kPartDescriptorSize)) {
            ++counters_.dropped;
            reset();
            return state_;
        }
        uint64_t offset = 0, packets = 0;
        for (size_t i = 0; i < count; ++i) {
            const size_t at = kMultipartLeaderPartsOffset + i * kPartDescriptorSize;
            PartLayout p;
            p.data_type = wire::read_be16(area, len, at + kPartDataTypeOffset);
            p.size = read_be48(area, len, at + kPartLengthHighOffset);
            p.pixel_format = wire::read_be32(area, len, at + kPartPixelFormatOffset);
            p.source_id = wire::read_u8(area, len, at + kPartSourceIdOffset);
            p.data_purpose_id = wire::read_be16(area, len, at + kPartDataPurposeIdOffset);
            p.region_id = wire::read_be16(area, len, at + kPartRegionIdOffset);
            p.width = wire::read_be32(area, len, at + kPartWidthOffset);
            p.height = wire::read_be32(area, len, at + kPartHeightOffset);
            p.x_offset = wire::read_be32(area, len, at + kPartXOffsetOffset);
            p.y_offset = wire::read_be32(area, len, at + kPartYOffsetOffset);
            p.offset = offset;
            offset += p.size;  // at most 255 parts of 2^48 bytes: no overflow
            p.first_packet = static_cast<uint32_t>(packets + 1);
            const uint64_t n = (p.size + cap - 1) / cap;
            packets += n;
            p.packet_count = static_cast<uint32_t>(std::min<uint64_t>(n, UINT32_MAX));
            parts_.push_back(p);
        }
        const uint64_t max_id = h.extended_ids ? kExtMaxPacketId - 1 : kStdMaxPacketId - 1;
        if (offset > capacity_ || packets > max_id) {
            state_ = FrameState::buffer_too_small;
            return state_;
        }
        last_packet_ = max_packet_ = static_cast<uint32_t>(packets);
    } else {
        PartLayout p;
        if ((payload_type_ & kPayloadTypeMask) == PAYLOAD_IMAGE) {
            p.data_type = PART_2D_IMAGE;
            p.pixel_format = wire::read_be32(area, len, kImageLeaderPixelFormatOffset);
            p.width = wire::read_be32(area, len, kImageLeaderWidthOffset);
            p.height = wire::read_be32(area, len, kImageLeaderHeightOffset);
            p.x_offset = wire::read_be32(area, len, kImageLeaderXOffsetOffset);
            p.y_offset = wire::read_be32(area, len, kImageLeaderYOffsetOffset);
        }
        parts_.push_back(p);
        const uint64_t max_id = h.extended_ids ? kExtMaxPacketId - 1 : kStdMaxPacketId - 1;
        max_packet_ = static_cast<uint32_t>(std::min<uint64_t>((capacity_ + cap - 1) / cap, max_id));
    }
    arrived_.assign(static_cast<size_t>(max_packet_) + 1, false);
    state_ = FrameState::receiving;
    return state_;
}

bool FrameAssembler::slot(uint32_t n, size_t* offset, size_t* length) const {
    if ((state_ != FrameState::receiving && state_ != FrameState::incomplete) || n == 0 || n > max_packet_ ||
        arrived_[n] || (last_packet_ != 0 && n > last_packet_)) {
        return false;
    }
    const size_t cap = data_capacity();
    if (multipart_) {
        for (const PartLayout& p : parts_) {
            if (n >= p.first_packet && n - p.first_packet < p.packet_count) {
                const uint64_t within = static_cast<uint64_t>(n - p.first_packet) * cap;
                *offset = static_cast<size_t>(p.offset + within);
                *length = static_cast<size_t>(std::min<uint64_t>(cap, p.size - within));
                return true;
            }
        }
        return false;
    }
    const uint64_t at = static_cast<uint64_t>(n - 1) * cap;
    if (at >= capacity_) return false;
    *offset = static_cast<size_t>(at);
    *length = static_cast<size_t>(std::min<uint64_t>(cap, capacity_ - at));
    return true;
}

bool FrameAssembler::place(uint32_t n, const uint8_t* data, size_t length, bool copy, uint16_t flags) {
    size_t offset = 0, expected = 0;
    if (!slot(n, &offset, &expected)) {
        if (n <= max_packet_ && n < arrived_.size() && arrived_[n]) {
            ++counters_.duplicates;
        } else {
            ++counters_.dropped;
        }
        return false;
    }
    if (length > expected || length == 0) {
        ++counters_.dropped;
        return false;
    }
    if (length < expected) {
        // Only the last payload packet of a generic block may be short.
        if (multipart_ || (last_packet_ != 0 && n != last_packet_) || highest_seen_ > n) {
            ++counters_.dropped;
            return false;
        }
        last_packet_ = n;
    }
    if (copy) std::memcpy(buffer_ + offset, data, length);
    arrived_[n] = true;
    ++in_place_;
    received_bytes_ += length;
    highest_seen_ = std::max(highest_seen_, n);
    ++counters_.packets;
    if ((flags & kFlagPacketResend) != 0) ++counters_.resent;
    if (state_ == FrameState::incomplete && missing_count() == 0) state_ = FrameState::complete;
    return true;
}

FrameState FrameAssembler::accept(const uint8_t* d, size_t size) {
    PacketHeader h;
    if (state_ == FrameState::idle || !parse_packet_header(d, size, &h) || h.block_id != block_id_ ||
        h.extended_ids != extended_ids_) {
        ++counters_.dropped;
        return state_;
    }
    if (h.status != 0) {
        ++counters_.error_status;
        refused_ = refused_ || h.status == gvcp::STATUS_PACKET_UNAVAILABLE;
        return state_;
    }
    const uint8_t* data = d + h.size;
    const size_t len = size - h.size;
    if (h.format == FORMAT_TRAILER) {
        close_on_trailer(data, len, h.packet_id);
    } else if (h.format == FORMAT_LEADER) {
        ++counters_.duplicates;
    } else if (h.format == FORMAT_PAYLOAD && !multipart_) {
        place(h.packet_id, data, len, true, h.flags);
    } else if (h.format == FORMAT_MULTIPART && multipart_ && len > kMultipartDataHeaderSize &&
               accept_in_place(d, h.packet_id, 0)) {
        place(h.packet_id, data + kMultipartDataHeaderSize, len - kMultipartDataHeaderSize, true, h.flags);
    } else {
        ++counters_.dropped;
    }
    return state_;
}

bool FrameAssembler::accept_in_place(const uint8_t* header, uint32_t n, size_t length) {
    PacketHeader h;
    const size_t hsize = payload_header_size();
    if (state_ == FrameState::idle || !parse_packet_header(header, hsize, &h) || h.status != 0 ||
        h.block_id != block_id_ || h.extended_ids != extended_ids_ || h.packet_id != n) {
        return false;
    }
    if (multipart_) {
        size_t offset = 0, expected = 0;
        if (h.format != FORMAT_MULTIPART || !slot(n, &offset, &expected)) return false;
        const uint8_t* mp = header + h.size;
        const size_t part = mp[kMultipartPartIdOffset];
        if (part >= parts_.size() || n < parts_[part].first_packet ||
            n - parts_[part].first_packet >= parts_[part].packet_count ||
            wire::load_be48(mp + kMultipartOffsetHighOffset) != offset) {
            return false;
        }
        // Called by accept() with length 0 only to check the data header.
        if (length == 0) return true;
    } else if (h.format != FORMAT_PAYLOAD) {
        return false;
    }
    place(n, nullptr, length, false, h.flags);
    return true;
}

void FrameAssembler::close_on_trailer(const uint8_t*, size_t, uint32_t trailer_id) {
    if (state_ != FrameState::receiving && state_ != FrameState::incomplete) {
        ++counters_.duplicates;
        return;
    }
    if (trailer_id == 0) {
        ++counters_.dropped;
        return;
    }
    const uint32_t last = trailer_id - 1;
    if (last_packet_ == 0) {
        if (last > max_packet_ || last < highest_seen_) {
            state_ = last > max_packet_ ? FrameState::buffer_too_small : FrameState::incomplete;
            return;
        }
        last_packet_ = last;
    } else if (last != last_packet_) {
        ++counters_.dropped;
    }
    state_ = missing_count() == 0 ? FrameState::complete : FrameState::incomplete;
}

uint32_t FrameAssembler::missing_count() const {
    const uint32_t up_to = last_packet_ != 0 ? last_packet_ : highest_seen_;
    return up_to > in_place_ ? up_to - in_place_ : 0;
}

std::vector<std::pair<uint32_t, uint32_t>> FrameAssembler::missing_ranges() const {
    std::vector<std::pair<uint32_t, uint32_t>> ranges;
    const uint32_t up_to = last_packet_ != 0 ? last_packet_ : highest_seen_;
    for (uint32_t n = 1; n <= up_to && n < arrived_.size(); ++n) {
        if (arrived_[n]) continue;
        if (!ranges.empty() && ranges.back().second + 1 == n) {
            ranges.back().second = n;
        } else {
            ranges.emplace_back(n, n);
        }
    }
    return ranges;
}

}  // namespace gvsp
