// GigE Vision control protocol (GVCP): the layout of commands and acks, the
// status codes (the stream channel uses the same ones) and the bootstrap
// registers, shared by the library's own GVCP module and the virtual sensor.
//
// Header-only, C++17. Every multi-byte field on the wire is big-endian
// (wire/byte_order.h). Offsets named *_OFFSET inside a packet are counted from the
// first byte of the payload (just after the 8-byte header) unless their name
// says otherwise. Bit masks are given as they appear in the 32-bit register
// value read from the device (bit 31 = most significant).
//
// Append new constants at the end of the file; never renumber existing ones.
#pragma once

#include <cstddef>
#include <cstdint>

#include "wire/byte_order.h"

namespace gvcp {

// ---------------------------------------------------------------------------
// Transport
// ---------------------------------------------------------------------------
constexpr uint16_t kPort = 3956;   // device control port
constexpr size_t kHeaderSize = 8;  // command and ack headers alike
constexpr size_t kMaxPayloadSize =
    540;  // largest payload a device must accept/send (576-byte datagram - IP/UDP - header)
constexpr size_t kMaxReadMemSize = 512;   // READMEM count limit (multiple of 4)
constexpr size_t kMaxWriteMemSize = 512;  // WRITEMEM data limit (multiple of 4)

// ---------------------------------------------------------------------------
// Command header: key(1) flags(1) command(2) length(2) req_id(2)
// Ack header:     status(2) answer(2) length(2) ack_id(2)
// ---------------------------------------------------------------------------
constexpr size_t kCmdKeyOffset = 0;
constexpr size_t kCmdFlagsOffset = 1;
constexpr size_t kCmdCommandOffset = 2;
constexpr size_t kCmdLengthOffset = 4;
constexpr size_t kCmdReqIdOffset = 6;

constexpr size_t kAckStatusOffset = 0;
constexpr size_t kAckAnswerOffset = 2;
constexpr size_t kAckLengthOffset = 4;
constexpr size_t kAckIdOffset = 6;

constexpr uint8_t kKey = 0x42;  // first byte of every command

// Command flags (byte 1 of a command header)
constexpr uint8_t kFlagAckRequired = 0x01;
constexpr uint8_t kFlagDiscoveryAllowBroadcastAck = 0x10;  // DISCOVERY_CMD only
constexpr uint8_t kFlagForceIpAllowBroadcastAck = 0x10;    // FORCEIP_CMD only
constexpr uint8_t kFlagExtendedIds = 0x10;                 // PACKETRESEND, EVENT, EVENTDATA
constexpr uint8_t kFlagScheduledAction = 0x80;             // ACTION_CMD only

// ---------------------------------------------------------------------------
// Commands and acknowledges
// ---------------------------------------------------------------------------
// Each command, by its name without the _CMD suffix and its code; the ack
// answering it carries the code + 1 (ack_for).
#define GVCP_COMMANDS(X)    \
    X(DISCOVERY, 0x0002)    \
    X(FORCEIP, 0x0004)      \
    X(PACKETRESEND, 0x0040) \
    X(READREG, 0x0080)      \
    X(WRITEREG, 0x0082)     \
    X(READMEM, 0x0084)      \
    X(WRITEMEM, 0x0086)     \
    X(EVENT, 0x00C0)        \
    X(EVENTDATA, 0x00C2)    \
    X(ACTION, 0x0100)

enum Command : uint16_t {
#define GVCP_COMMAND_PAIR(name, code) name##_CMD = code, name##_ACK = code + 1,
    GVCP_COMMANDS(GVCP_COMMAND_PAIR)
#undef GVCP_COMMAND_PAIR
    // PACKETRESEND_ACK is never sent: resend is answered by the stream.
    PENDING_ACK = 0x0089,
};

// Name for logs; a new code without a name is a compiler warning.
constexpr const char* command_name(Command command) {
    switch (command) {
#define GVCP_COMMAND_CASES(name, code) \
    case name##_CMD:                   \
        return #name "_CMD";           \
    case name##_ACK:                   \
        return #name "_ACK";
        GVCP_COMMANDS(GVCP_COMMAND_CASES)
#undef GVCP_COMMAND_CASES
        case PENDING_ACK:
            return "PENDING_ACK";
    }
    return "UNKNOWN_COMMAND";
}

// The ack answering a command carries the command code + 1.
constexpr uint16_t ack_for(uint16_t command) { return static_cast<uint16_t>(command + 1); }

// ---------------------------------------------------------------------------
// Status codes (ack header, bytes 0-1; also the status of every stream packet)
// ---------------------------------------------------------------------------
#define GVCP_STATUSES(X)                           \
    X(SUCCESS, 0x0000)                             \
    X(PACKET_RESEND, 0x0100)                       \
    X(NOT_IMPLEMENTED, 0x8001)                     \
    X(INVALID_PARAMETER, 0x8002)                   \
    X(INVALID_ADDRESS, 0x8003)                     \
    X(WRITE_PROTECT, 0x8004)                       \
    X(BAD_ALIGNMENT, 0x8005)                       \
    X(ACCESS_DENIED, 0x8006)                       \
    X(BUSY, 0x8007)                                \
    X(LOCAL_PROBLEM, 0x8008)                       \
    X(MSG_MISMATCH, 0x8009)                        \
    X(INVALID_PROTOCOL, 0x800A)                    \
    X(NO_MSG, 0x800B)                              \
    X(PACKET_UNAVAILABLE, 0x800C)                  \
    X(DATA_OVERRUN, 0x800D)                        \
    X(INVALID_HEADER, 0x800E)                      \
    X(WRONG_CONFIG, 0x800F)                        \
    X(PACKET_NOT_YET_AVAILABLE, 0x8010)            \
    X(PACKET_AND_PREV_REMOVED_FROM_MEMORY, 0x8011) \
    X(PACKET_REMOVED_FROM_MEMORY, 0x8012)          \
    X(NO_REF_TIME, 0x8013)                         \
    X(PACKET_TEMPORARILY_UNAVAILABLE, 0x8014)      \
    X(OVERFLOW, 0x8015)                            \
    X(ACTION_LATE, 0x8016)                         \
    X(LEADER_TRAILER_OVERFLOW, 0x8017)             \
    X(ERROR, 0x8FFF)

enum Status : uint16_t {
#define GVCP_STATUS_VALUE(name, code) STATUS_##name = code,
    GVCP_STATUSES(GVCP_STATUS_VALUE)
#undef GVCP_STATUS_VALUE
};

// Name for logs, without the STATUS_ prefix.
constexpr const char* status_name(Status status) {
    switch (status) {
#define GVCP_STATUS_CASE(name, code) \
    case STATUS_##name:              \
        return #name;
        GVCP_STATUSES(GVCP_STATUS_CASE)
#undef GVCP_STATUS_CASE
    }
    return "UNKNOWN_STATUS";
}

// ---------------------------------------------------------------------------
// Command payload layouts (offsets from the start of the payload)
// ---------------------------------------------------------------------------
// READREG_CMD: N x address(4). READREG_ACK: N x value(4).
// WRITEREG_CMD: N x { address(4), value(4) }. WRITEREG_ACK: reserved(2), index(2)
//   where index = number of registers written successfully (the failing one on error).
constexpr size_t kWriteRegAckIndexOffset = 2;
constexpr size_t kWriteRegAckPayloadSize = 4;
// READMEM_CMD: address(4), reserved(2), count(2). READMEM_ACK: address(4), data(count).
constexpr size_t kReadMemAddressOffset = 0;
constexpr size_t kReadMemCountOffset = 6;
constexpr size_t kReadMemCmdPayloadSize = 8;
constexpr size_t kReadMemAckDataOffset = 4;
// WRITEMEM_CMD: address(4), data(n). WRITEMEM_ACK: reserved(2), index(2) = bytes written.
constexpr size_t kWriteMemAddressOffset = 0;
constexpr size_t kWriteMemDataOffset = 4;
constexpr size_t kWriteMemAckIndexOffset = 2;
constexpr size_t kWriteMemAckPayloadSize = 4;
// FORCEIP_CMD: reserved(2), MAC(6), reserved(12), IP(4), reserved(12), mask(4), reserved(12), gateway(4)
constexpr size_t kForceIpMacOffset = 2;
constexpr size_t kForceIpAddressOffset = 20;
constexpr size_t kForceIpMaskOffset = 36;
constexpr size_t kForceIpGatewayOffset = 52;
constexpr size_t kForceIpCmdPayloadSize = 56;
// PACKETRESEND_CMD, legacy ids: channel(2), block_id(2), first(4, low 24 bits), last(4, low 24 bits)
// PACKETRESEND_CMD, extended ids (kFlagExtendedIds): channel(2), reserved(2), first(4), last(4), block_id(8)
constexpr size_t kResendChannelOffset = 0;
constexpr size_t kResendLegacyBlockIdOffset = 2;
constexpr size_t kResendFirstPacketOffset = 4;
constexpr size_t kResendLastPacketOffset = 8;
constexpr size_t kResendExtendedBlockIdOffset = 12;
constexpr size_t kResendLegacyPayloadSize = 12;
constexpr size_t kResendExtendedPayloadSize = 20;
constexpr uint32_t kResendLegacyPacketIdMask = 0x00FFFFFF;
// ACTION_CMD: device_key(4), group_key(4), group_mask(4) [, action_time(8) with kFlagScheduledAction].
// ACTION_ACK carries no payload: its status says whether the action was taken
// (SUCCESS), came too late for its time (ACTION_LATE) or found the device's
// queue of scheduled actions full (OVERFLOW).
constexpr size_t kActionDeviceKeyOffset = 0;
constexpr size_t kActionGroupKeyOffset = 4;
constexpr size_t kActionGroupMaskOffset = 8;
constexpr size_t kActionTimeOffset = 12;
constexpr size_t kActionCmdPayloadSize = 12;
constexpr size_t kScheduledActionCmdPayloadSize = 20;
// PENDING_ACK: reserved(2), time_to_completion_ms(2)
constexpr size_t kPendingAckTimeOffset = 2;
// EVENTDATA_CMD / EVENT_CMD entry, legacy ids:
//   reserved(2), event_id(2), stream_channel(2), block_id(2), timestamp(8) [, data]
// extended ids (kFlagExtendedIds):
//   event_size(2), event_id(2), stream_channel(2), reserved(2), block_id(8), timestamp(8) [, data]
// With extended ids an EVENTDATA_CMD may carry several events back to back;
// each one's event_size counts its whole entry, header and data. (In an
// EVENT_CMD the first two bytes stay reserved: its entries have no data.)
// Legacy EVENTDATA_CMD carries one event, its data the rest of the payload.
constexpr size_t kEventExtendedSizeOffset = 0;
constexpr size_t kEventIdOffset = 2;
constexpr size_t kEventChannelOffset = 4;
constexpr size_t kEventLegacyBlockIdOffset = 6;
constexpr size_t kEventLegacyTimestampOffset = 8;
constexpr size_t kEventLegacyHeaderSize = 16;
constexpr size_t kEventExtendedBlockIdOffset = 8;
constexpr size_t kEventExtendedTimestampOffset = 16;
constexpr size_t kEventExtendedHeaderSize = 24;
constexpr size_t kEventDataMaxSize = 512;
constexpr uint16_t kEventChannelNone = 0xFFFF;  // event not tied to a stream channel
// Device-specific event ids start here (0x9000-0xFFFF).
constexpr uint16_t kEventIdDeviceSpecificFirst = 0x9000;

// ---------------------------------------------------------------------------
// Bootstrap registers
// ---------------------------------------------------------------------------
constexpr uint32_t REG_VERSION = 0x0000;  // major(31-16) minor(15-0)
constexpr uint32_t VERSION_MAJOR_MASK = 0xFFFF0000;
constexpr uint32_t VERSION_MINOR_MASK = 0x0000FFFF;
constexpr uint32_t REG_DEVICE_MODE = 0x0004;
constexpr uint32_t DEVICE_MODE_BIG_ENDIAN = 0x80000000;
constexpr uint32_t DEVICE_MODE_CLASS_MASK = 0x70000000;    // 0 = transmitter
constexpr uint32_t DEVICE_MODE_CHARSET_MASK = 0x000000FF;  // 1 = UTF-8, 2 = ASCII
constexpr uint32_t DEVICE_MODE_CHARSET_UTF8 = 0x00000001;
constexpr uint32_t REG_MAC_HIGH = 0x0008;  // low 16 bits = MAC bytes 0-1
constexpr uint32_t REG_MAC_LOW = 0x000C;   // MAC bytes 2-5
constexpr uint32_t REG_SUPPORTED_IP_CONFIG = 0x0010;
constexpr uint32_t REG_CURRENT_IP_CONFIG = 0x0014;
constexpr uint32_t IP_CONFIG_PERSISTENT = 0x00000001;
constexpr uint32_t IP_CONFIG_DHCP = 0x00000002;
constexpr uint32_t IP_CONFIG_LLA = 0x00000004;
constexpr uint32_t IP_CONFIG_PAUSE_RECEPTION = 0x80000000;
constexpr uint32_t IP_CONFIG_PAUSE_GENERATION = 0x40000000;
constexpr uint32_t REG_CURRENT_IP_ADDRESS = 0x0024;
constexpr uint32_t REG_CURRENT_SUBNET_MASK = 0x0034;
constexpr uint32_t REG_CURRENT_GATEWAY = 0x0044;
constexpr uint32_t REG_MANUFACTURER_NAME = 0x0048;
constexpr size_t MANUFACTURER_NAME_SIZE = 32;
constexpr uint32_t REG_MODEL_NAME = 0x0068;
constexpr size_t MODEL_NAME_SIZE = 32;
constexpr uint32_t REG_DEVICE_VERSION = 0x0088;
constexpr size_t DEVICE_VERSION_SIZE = 32;
constexpr uint32_t REG_MANUFACTURER_INFO = 0x00A8;
constexpr size_t MANUFACTURER_INFO_SIZE = 48;
constexpr uint32_t REG_SERIAL_NUMBER = 0x00D8;
constexpr size_t SERIAL_NUMBER_SIZE = 16;
constexpr uint32_t REG_USER_DEFINED_NAME = 0x00E8;
constexpr size_t USER_DEFINED_NAME_SIZE = 16;
constexpr uint32_t REG_FIRST_URL = 0x0200;
constexpr uint32_t REG_SECOND_URL = 0x0400;
constexpr size_t URL_SIZE = 512;
constexpr uint32_t REG_NUMBER_OF_INTERFACES = 0x0600;
constexpr uint32_t REG_PERSISTENT_IP_ADDRESS = 0x064C;
constexpr uint32_t REG_PERSISTENT_SUBNET_MASK = 0x065C;
constexpr uint32_t REG_PERSISTENT_GATEWAY = 0x066C;
constexpr uint32_t REG_LINK_SPEED = 0x0670;  // Mbit/s
constexpr uint32_t REG_NUMBER_OF_MESSAGE_CHANNELS = 0x0900;
constexpr uint32_t REG_NUMBER_OF_STREAM_CHANNELS = 0x0904;
constexpr uint32_t REG_NUMBER_OF_ACTION_SIGNALS = 0x0908;
constexpr uint32_t REG_ACTION_DEVICE_KEY = 0x090C;
constexpr uint32_t REG_NUMBER_OF_ACTIVE_LINKS = 0x0910;
constexpr uint32_t REG_GVSP_CAPABILITY = 0x092C;
constexpr uint32_t GVSP_CAP_SCSP_SUPPORTED = 0x80000000;
constexpr uint32_t GVSP_CAP_LEGACY_16BIT_BLOCK_ID = 0x40000000;
constexpr uint32_t REG_MESSAGE_CHANNEL_CAPABILITY = 0x0930;
constexpr uint32_t MC_CAP_MCSP_SUPPORTED = 0x80000000;
constexpr uint32_t REG_GVCP_CAPABILITY = 0x0934;
constexpr uint32_t GVCP_CAP_USER_DEFINED_NAME = 0x80000000;
constexpr uint32_t GVCP_CAP_SERIAL_NUMBER = 0x40000000;
constexpr uint32_t GVCP_CAP_HEARTBEAT_DISABLE = 0x20000000;
constexpr uint32_t GVCP_CAP_LINK_SPEED = 0x10000000;
constexpr uint32_t GVCP_CAP_CCP_APPLICATION_PORT_IP = 0x08000000;
constexpr uint32_t GVCP_CAP_MANIFEST_TABLE = 0x04000000;
constexpr uint32_t GVCP_CAP_TEST_DATA = 0x02000000;
constexpr uint32_t GVCP_CAP_DISCOVERY_ACK_DELAY = 0x01000000;
constexpr uint32_t GVCP_CAP_DISCOVERY_ACK_DELAY_WRITABLE = 0x00800000;
constexpr uint32_t GVCP_CAP_EXTENDED_STATUS_1_1 = 0x00400000;
constexpr uint32_t GVCP_CAP_PRIMARY_APPLICATION_SWITCHOVER = 0x00200000;
constexpr uint32_t GVCP_CAP_UNCONDITIONAL_ACTION = 0x00100000;
constexpr uint32_t GVCP_CAP_IEEE1588 = 0x00080000;
constexpr uint32_t GVCP_CAP_EXTENDED_STATUS_2_0 = 0x00040000;
constexpr uint32_t GVCP_CAP_SCHEDULED_ACTION = 0x00020000;
constexpr uint32_t GVCP_CAP_ACTION = 0x00000040;
constexpr uint32_t GVCP_CAP_PENDING_ACK = 0x00000020;
constexpr uint32_t GVCP_CAP_EVENTDATA = 0x00000010;
constexpr uint32_t GVCP_CAP_EVENT = 0x00000008;
constexpr uint32_t GVCP_CAP_PACKET_RESEND = 0x00000004;
constexpr uint32_t GVCP_CAP_WRITEMEM = 0x00000002;
constexpr uint32_t GVCP_CAP_CONCATENATION = 0x00000001;
constexpr uint32_t REG_HEARTBEAT_TIMEOUT = 0x0938;  // ms
constexpr uint32_t REG_TIMESTAMP_TICK_FREQUENCY_HIGH = 0x093C;
constexpr uint32_t REG_TIMESTAMP_TICK_FREQUENCY_LOW = 0x0940;
constexpr uint32_t REG_TIMESTAMP_CONTROL = 0x0944;  // write-only
constexpr uint32_t TIMESTAMP_CONTROL_RESET = 0x00000001;
constexpr uint32_t TIMESTAMP_CONTROL_LATCH = 0x00000002;
constexpr uint32_t REG_TIMESTAMP_VALUE_HIGH = 0x0948;  // latched value
constexpr uint32_t REG_TIMESTAMP_VALUE_LOW = 0x094C;
constexpr uint32_t REG_DISCOVERY_ACK_DELAY = 0x0950;
constexpr uint32_t REG_GVCP_CONFIGURATION = 0x0954;
constexpr uint32_t GVCP_CONFIG_HEARTBEAT_DISABLE = 0x00000001;
constexpr uint32_t GVCP_CONFIG_PENDING_ACK_ENABLE = 0x00000002;
constexpr uint32_t GVCP_CONFIG_EXTENDED_STATUS_1_1 = 0x00000004;
constexpr uint32_t GVCP_CONFIG_UNCONDITIONAL_ACTION = 0x00000008;
constexpr uint32_t GVCP_CONFIG_EXTENDED_STATUS_2_0 = 0x00040000;
constexpr uint32_t GVCP_CONFIG_IEEE1588_ENABLE = 0x00080000;
constexpr uint32_t REG_PENDING_TIMEOUT = 0x0958;  // ms
constexpr uint32_t REG_CONTROL_SWITCHOVER_KEY = 0x095C;
constexpr uint32_t REG_GVSP_CONFIGURATION = 0x0960;
constexpr uint32_t GVSP_CONFIG_64BIT_BLOCK_ID = 0x40000000;  // extended ids on the stream
constexpr uint32_t REG_PHYSICAL_LINK_CAPABILITY = 0x0964;
constexpr uint32_t REG_PHYSICAL_LINK_CONFIGURATION = 0x0968;
constexpr uint32_t PHYSICAL_LINK_SINGLE_LINK = 0x00000001;
constexpr uint32_t REG_IEEE1588_STATUS = 0x096C;
constexpr uint32_t REG_SCHEDULED_ACTION_QUEUE_SIZE = 0x0970;
// IEEE1588_STATUS: the port state in the low 4 bits (IEEE 1588 numbering).
constexpr uint32_t IEEE1588_STATE_MASK = 0x0000000F;
constexpr uint32_t REG_CCP = 0x0A00;  // control channel privilege
constexpr uint32_t CCP_EXCLUSIVE = 0x00000001;
constexpr uint32_t CCP_CONTROL = 0x00000002;
constexpr uint32_t CCP_SWITCHOVER_ENABLE = 0x00000004;
constexpr uint32_t CCP_SWITCHOVER_KEY_MASK = 0xFFFF0000;
constexpr uint32_t REG_PRIMARY_APPLICATION_PORT = 0x0A04;
constexpr uint32_t REG_PRIMARY_APPLICATION_IP = 0x0A14;
constexpr uint32_t REG_MCP = 0x0B00;  // message channel port
constexpr uint32_t MCP_PORT_MASK = 0x0000FFFF;
constexpr uint32_t MCP_INTERFACE_INDEX_MASK = 0x000F0000;
constexpr uint32_t REG_MCDA = 0x0B10;  // message channel destination address
constexpr uint32_t REG_MCTT = 0x0B14;  // transmission timeout, ms
constexpr uint32_t REG_MCRC = 0x0B18;  // retry count
constexpr uint32_t REG_MCSP = 0x0B1C;  // message channel source port
constexpr uint32_t MCSP_PORT_MASK = 0x0000FFFF;
// Action group n (n < NUMBER_OF_ACTION_SIGNALS): base + n * kActionGroupStride
constexpr uint32_t kActionGroupStride = 0x10;
constexpr uint32_t REG_ACTION_GROUP_KEY0 = 0x9800;
constexpr uint32_t REG_ACTION_GROUP_MASK0 = 0x9804;
// Stream channel n: base + n * kStreamChannelStride
constexpr uint32_t kStreamChannelStride = 0x40;
constexpr uint32_t REG_SCP0 = 0x0D00;  // stream channel port
constexpr uint32_t SCP_PORT_MASK = 0x0000FFFF;
constexpr uint32_t SCP_INTERFACE_INDEX_MASK = 0x000F0000;
constexpr uint32_t SCP_DIRECTION_RECEIVER = 0x80000000;
constexpr uint32_t REG_SCPS0 = 0x0D04;                  // stream channel packet size
constexpr uint32_t SCPS_PACKET_SIZE_MASK = 0x0000FFFF;  // bytes, including IP and UDP headers
constexpr uint32_t SCPS_PIXEL_BIG_ENDIAN = 0x20000000;
constexpr uint32_t SCPS_DO_NOT_FRAGMENT = 0x40000000;
constexpr uint32_t SCPS_FIRE_TEST_PACKET = 0x80000000;
constexpr uint32_t REG_SCPD0 = 0x0D08;  // packet delay, timestamp ticks
constexpr uint32_t REG_SCDA0 = 0x0D18;  // stream destination address
constexpr uint32_t REG_SCSP0 = 0x0D1C;  // stream source port
constexpr uint32_t SCSP_PORT_MASK = 0x0000FFFF;
constexpr uint32_t REG_SCC0 = 0x0D20;  // stream channel capability (read-only)
constexpr uint32_t SCC_BIG_LITTLE_ENDIAN = 0x80000000;
constexpr uint32_t SCC_IP_REASSEMBLY = 0x40000000;
constexpr uint32_t SCC_GENDC = 0x00000080;
constexpr uint32_t SCC_MULTIPART = 0x00000040;
constexpr uint32_t SCC_LARGE_LEADER_TRAILER = 0x00000020;
constexpr uint32_t SCC_MULTIZONE = 0x00000010;
constexpr uint32_t SCC_RESEND_DESTINATION = 0x00000008;
constexpr uint32_t SCC_ALL_IN_TRANSMISSION = 0x00000004;
constexpr uint32_t SCC_UNCONDITIONAL_STREAMING = 0x00000002;
constexpr uint32_t SCC_EXTENDED_CHUNK = 0x00000001;
constexpr uint32_t REG_SCCFG0 = 0x0D24;  // stream channel configuration
constexpr uint32_t SCCFG_GENDC = 0x00000080;
constexpr uint32_t SCCFG_MULTIPART = 0x00000040;
constexpr uint32_t SCCFG_LARGE_LEADER_TRAILER = 0x00000020;
constexpr uint32_t SCCFG_RESEND_DESTINATION = 0x00000008;
constexpr uint32_t SCCFG_ALL_IN_TRANSMISSION = 0x00000004;
constexpr uint32_t SCCFG_UNCONDITIONAL_STREAMING = 0x00000002;
constexpr uint32_t SCCFG_EXTENDED_CHUNK = 0x00000001;
constexpr uint32_t REG_SCZ0 = 0x0D28;
constexpr uint32_t REG_SCZD0 = 0x0D2C;
constexpr uint32_t REG_MANIFEST_TABLE = 0x9000;
// Device-specific registers (those described by the GenICam file) start here.
constexpr uint32_t kDeviceSpecificRegisterBase = 0xA000;

constexpr uint32_t stream_channel_register(uint32_t channel0_register, uint32_t channel) {
    return channel0_register + channel * kStreamChannelStride;
}

// ---------------------------------------------------------------------------
// DISCOVERY_ACK payload: the first 0xF8 bytes of the bootstrap block, same
// layout (offset in the payload == bootstrap register address).
// ---------------------------------------------------------------------------
constexpr size_t kDiscoveryAckPayloadSize = 0xF8;
constexpr size_t kDiscoveryVersionOffset = REG_VERSION;
constexpr size_t kDiscoveryDeviceModeOffset = REG_DEVICE_MODE;
constexpr size_t kDiscoveryMacOffset = REG_MAC_HIGH + 2;  // 6 bytes, network order
constexpr size_t kDiscoveryMacSize = 6;
constexpr size_t kDiscoverySupportedIpConfigOffset = REG_SUPPORTED_IP_CONFIG;
constexpr size_t kDiscoveryCurrentIpConfigOffset = REG_CURRENT_IP_CONFIG;
constexpr size_t kDiscoveryCurrentIpOffset = REG_CURRENT_IP_ADDRESS;
constexpr size_t kDiscoveryCurrentMaskOffset = REG_CURRENT_SUBNET_MASK;
constexpr size_t kDiscoveryCurrentGatewayOffset = REG_CURRENT_GATEWAY;
constexpr size_t kDiscoveryManufacturerOffset = REG_MANUFACTURER_NAME;
constexpr size_t kDiscoveryModelOffset = REG_MODEL_NAME;
constexpr size_t kDiscoveryDeviceVersionOffset = REG_DEVICE_VERSION;
constexpr size_t kDiscoveryManufacturerInfoOffset = REG_MANUFACTURER_INFO;
constexpr size_t kDiscoverySerialOffset = REG_SERIAL_NUMBER;
constexpr size_t kDiscoveryUserNameOffset = REG_USER_DEFINED_NAME;

}  // namespace gvcp
