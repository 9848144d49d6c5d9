// GigE Vision streaming protocol (GVSP): wire constants of the stream channel.
//
// Header-only, C++17. Every multi-byte field on the wire is big-endian
// (wire/byte_order.h); the status at offset 0 is one of gvcp::Status
// (wire/gvcp_layout.h). Offsets are counted from the first byte of the UDP payload
// unless the name says they are relative to something else (the "data area",
// i.e. the first byte after the packet header).
//
// Two header formats exist. The standard one (8 bytes) carries a 16-bit block
// id and a 24-bit packet id; the extended-ID one (20 bytes, GigE Vision 2.x)
// carries a 64-bit block id and a 32-bit packet id. Bit 31 of the 32-bit word
// at offset 4 tells them apart.
//
// Append new constants at the end; never renumber existing ones.
#pragma once

#include <cstddef>
#include <cstdint>

#include "wire/byte_order.h"

namespace gvsp {

// ---------------------------------------------------------------------------
// Sizes around a packet
// ---------------------------------------------------------------------------
constexpr size_t kIpHeaderSize = 20;
constexpr size_t kUdpHeaderSize = 8;
constexpr size_t kIpUdpOverhead = kIpHeaderSize + kUdpHeaderSize;  // counted in the SCPS packet size
constexpr size_t kMaxPacketSize = 65535;                           // largest IPv4 datagram
constexpr size_t kMaxUdpPayload = kMaxPacketSize - kIpUdpOverhead;

// ---------------------------------------------------------------------------
// Standard header (8 bytes): status(2) block_id(2) ei|format|packet_id(4)
// ---------------------------------------------------------------------------
constexpr size_t kStatusOffset = 0;
constexpr size_t kStdBlockIdOffset = 2;
constexpr size_t kFormatWordOffset = 4;  // EI bit 31, packet format bits 27..24, packet id / part count below
constexpr size_t kStdHeaderSize = 8;

// ---------------------------------------------------------------------------
// Extended-ID header (20 bytes): status(2) flags(2) ei|format|info(4)
//                                block_id(8) packet_id(4)
// ---------------------------------------------------------------------------
constexpr size_t kExtFlagsOffset = 2;
constexpr size_t kExtBlockIdOffset = 8;
constexpr size_t kExtPacketIdOffset = 16;
constexpr size_t kExtHeaderSize = 20;

constexpr uint32_t kExtendedIdBit = 0x80000000;  // in the word at kFormatWordOffset
constexpr uint32_t kFormatMask = 0x0F000000;
constexpr unsigned kFormatShift = 24;
constexpr uint32_t kStdPacketIdMask = 0x00FFFFFF;      // standard header: packet id
constexpr uint32_t kLeaderPartCountMask = 0x000000FF;  // extended multipart leader: number of parts
constexpr uint32_t kStdMaxPacketId = 0x00FFFFFF;
constexpr uint32_t kExtMaxPacketId = 0xFFFFFFFF;

// Flags of the extended header (offset 2)
constexpr uint16_t kFlagPacketResend = 0x0001;  // this packet answers a resend request
constexpr uint16_t kFlagPreviousBlockDropped = 0x0002;
constexpr uint16_t kFlagResendRangeError = 0x0004;

constexpr size_t header_size(bool extended_ids) { return extended_ids ? kExtHeaderSize : kStdHeaderSize; }

// ---------------------------------------------------------------------------
// Packet formats (bits 27..24 of the word at offset 4)
// ---------------------------------------------------------------------------
enum PacketFormat : uint8_t {
    FORMAT_LEADER = 1,
    FORMAT_TRAILER = 2,
    FORMAT_PAYLOAD = 3,  // generic payload: data area is raw block data
    FORMAT_ALL_IN = 4,
    FORMAT_H264 = 5,
    FORMAT_MULTIZONE = 6,
    FORMAT_MULTIPART = 7,  // multipart payload: data area starts with a part header
    FORMAT_GENDC = 8,
};

// ---------------------------------------------------------------------------
// Payload types (leader and trailer, 16 bits). Bit 14 marks extended chunk
// mode: chunk data follow the payload proper.
// ---------------------------------------------------------------------------
enum PayloadType : uint16_t {
    PAYLOAD_IMAGE = 0x0001,
    PAYLOAD_RAW_DATA = 0x0002,
    PAYLOAD_FILE = 0x0003,
    PAYLOAD_CHUNK_DATA = 0x0004,
    PAYLOAD_EXTENDED_CHUNK_DATA = 0x0005,  // deprecated since 2.0
    PAYLOAD_JPEG = 0x0006,
    PAYLOAD_JPEG2000 = 0x0007,
    PAYLOAD_H264 = 0x0008,
    PAYLOAD_MULTIZONE_IMAGE = 0x0009,
    PAYLOAD_MULTIPART = 0x000A,
    PAYLOAD_GENDC = 0x000B,
};
constexpr uint16_t kPayloadExtendedChunkFlag = 0x4000;
constexpr uint16_t kPayloadTypeMask = 0x3FFF;
constexpr uint16_t kPayloadImageExtendedChunk = PAYLOAD_IMAGE | kPayloadExtendedChunkFlag;

// ---------------------------------------------------------------------------
// Leader data area, common start: field_info(1) flags(1) payload_type(2)
// timestamp(8)
// ---------------------------------------------------------------------------
constexpr size_t kLeaderFieldInfoOffset = 0;
constexpr size_t kLeaderPayloadTypeOffset = 2;
constexpr size_t kLeaderTimestampOffset = 4;
constexpr size_t kLeaderCommonSize = 12;

// Image leader (payload types IMAGE and IMAGE_EXTENDED_CHUNK), after the common start
constexpr size_t kImageLeaderPixelFormatOffset = 12;
constexpr size_t kImageLeaderWidthOffset = 16;
constexpr size_t kImageLeaderHeightOffset = 20;
constexpr size_t kImageLeaderXOffsetOffset = 24;
constexpr size_t kImageLeaderYOffsetOffset = 28;
constexpr size_t kImageLeaderXPaddingOffset = 32;
constexpr size_t kImageLeaderYPaddingOffset = 34;
constexpr size_t kImageLeaderSize = 36;

// Multipart leader: the common start, then one 48-byte descriptor per part.
constexpr size_t kMultipartLeaderPartsOffset = 12;
constexpr size_t kMaxParts = 255;  // the part count is one byte of the header

// Part descriptor, offsets relative to the start of the descriptor
constexpr size_t kPartDataTypeOffset = 0;    // 16 bits
constexpr size_t kPartLengthHighOffset = 2;  // part length, bits 47..32
constexpr size_t kPartLengthLowOffset = 4;   // part length, bits 31..0
constexpr size_t kPartPixelFormatOffset = 8;
constexpr size_t kPartSourceIdOffset = 14;  // 8 bits (12..13 reserved)
constexpr size_t kPartAdditionalZonesOffset = 15;
constexpr size_t kPartZoneDirectionsOffset = 16;
constexpr size_t kPartDataPurposeIdOffset = 20;  // 16 bits: the component id clients report
constexpr size_t kPartRegionIdOffset = 22;       // 16 bits
constexpr size_t kPartWidthOffset = 24;
constexpr size_t kPartHeightOffset = 28;
constexpr size_t kPartXOffsetOffset = 32;
constexpr size_t kPartYOffsetOffset = 36;
constexpr size_t kPartXPaddingOffset = 40;
constexpr size_t kPartYPaddingOffset = 42;  // 44..47 reserved
constexpr size_t kPartDescriptorSize = 48;

// Part data types
enum PartDataType : uint16_t {
    PART_2D_IMAGE = 0x0001,
    PART_2D_PLANE_BIPLANAR = 0x0002,
    PART_2D_PLANE_TRIPLANAR = 0x0003,
    PART_2D_PLANE_QUADPLANAR = 0x0004,
    PART_3D_IMAGE = 0x0005,
    PART_3D_PLANE_BIPLANAR = 0x0006,
    PART_3D_PLANE_TRIPLANAR = 0x0007,
    PART_3D_PLANE_QUADPLANAR = 0x0008,
    PART_CONFIDENCE_MAP = 0x0009,
    PART_CHUNK_DATA = 0x000A,
    PART_JPEG = 0x000B,
    PART_JPEG2000 = 0x000C,
    PART_DEVICE_SPECIFIC = 0x8000,
};

// ---------------------------------------------------------------------------
// Multipart payload packet: the data area starts with part_id(1) zone_info(1)
// offset(6), then the bytes. The offset is counted from the start of the
// whole block (all parts laid end to end in leader order), and every part
// starts in a fresh packet.
// ---------------------------------------------------------------------------
constexpr size_t kMultipartPartIdOffset = 0;
constexpr size_t kMultipartZoneInfoOffset = 1;
constexpr size_t kMultipartOffsetHighOffset = 2;  // bits 47..32
constexpr size_t kMultipartOffsetLowOffset = 4;   // bits 31..0
constexpr size_t kMultipartDataHeaderSize = 8;

// ---------------------------------------------------------------------------
// Trailers (data area): reserved(2) payload_type(2), then per payload type
// ---------------------------------------------------------------------------
constexpr size_t kTrailerPayloadTypeOffset = 2;
// IMAGE: size_y(4)
constexpr size_t kImageTrailerSizeYOffset = 4;
constexpr size_t kImageTrailerSize = 8;
// Any payload type with kPayloadExtendedChunkFlag: the type's own fields,
// then chunk_data_payload_length(4) chunk_layout_id(4). The length is that
// of the block's chunk data: the whole payload of an image with chunks
// (the image is a chunk itself), the chunk part of a multipart block.
constexpr size_t kTrailerChunkLengthOffset = 0;  // from the end of the type's fields
constexpr size_t kTrailerChunkLayoutIdOffset = 4;
constexpr size_t kTrailerChunkFieldsSize = 8;
// So IMAGE_EXTENDED_CHUNK: size_y(4) chunk_data_payload_length(4) chunk_layout_id(4).
// MULTIPART: one 16-byte record per part: data_type(2) part_length(6) size_y(4) reserved(4)
// [, chunk fields with kPayloadExtendedChunkFlag]
constexpr size_t kMultipartTrailerPartsOffset = 4;
constexpr size_t kTrailerPartDataTypeOffset = 0;
constexpr size_t kTrailerPartLengthHighOffset = 2;
constexpr size_t kTrailerPartLengthLowOffset = 4;
constexpr size_t kTrailerPartSizeYOffset = 8;
constexpr size_t kTrailerPartRecordSize = 16;

// ---------------------------------------------------------------------------
// Chunk layout inside a payload: each chunk is its data followed by an
// 8-byte tag, chunk_id(4) data_length(4), both big-endian. A reader walks
// the tags backwards from the end of the payload. Lengths are multiples of 4.
// ---------------------------------------------------------------------------
constexpr size_t kChunkTagIdOffset = 0;
constexpr size_t kChunkTagLengthOffset = 4;
constexpr size_t kChunkTagSize = 8;
constexpr size_t kChunkAlignment = 4;

}  // namespace gvsp
