#include "device_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "device_registers.h"
#include "stream/scene.h"
#include "wire/gvcp_layout.h"
#include "wire/gvsp_layout.h"

namespace ornsim {
namespace {

constexpr size_t kBootstrapReadable = 0x1000;  // bootstrap bytes answered on reads
constexpr uint32_t kMinPacketSize = 576;
constexpr uint32_t kMaxPacketSize = 9000;
constexpr uint32_t kMinHeartbeatMs = 500;
constexpr uint32_t kMinImageSide = 16;

enum class Access { None, ReadOnly, ReadWrite, Command };

bool in_range(uint32_t address, uint32_t base, uint32_t count) { return address >= base && address < base + count; }

bool in_action_groups(uint32_t address, uint64_t size = 4) {
    return address >= gvcp::REG_ACTION_GROUP_KEY0 &&
           address + size <= uint64_t{gvcp::REG_ACTION_GROUP_KEY0} + reg::kActionSignalCount * gvcp::kActionGroupStride;
}

// Access of one 32-bit word of the bootstrap block.
Access bootstrap_access(uint32_t a) {
    using namespace gvcp;
    if (in_action_groups(a)) return (a % kActionGroupStride) < 8 ? Access::ReadWrite : Access::None;
    if (a >= kBootstrapReadable) return Access::None;
    if (in_range(a, REG_USER_DEFINED_NAME, USER_DEFINED_NAME_SIZE)) return Access::ReadWrite;
    switch (a) {
        case REG_CURRENT_IP_CONFIG:
        case REG_PERSISTENT_IP_ADDRESS:
        case REG_PERSISTENT_SUBNET_MASK:
        case REG_PERSISTENT_GATEWAY:
        case REG_HEARTBEAT_TIMEOUT:
        case REG_GVCP_CONFIGURATION:
        case REG_GVSP_CONFIGURATION:
        case REG_CCP:
        case REG_MCP:
        case REG_MCDA:
        case REG_MCTT:
        case REG_MCRC:
        case REG_SCP0:
        case REG_SCPS0:
        case REG_SCPD0:
        case REG_SCDA0:
        case REG_SCCFG0:
        case REG_ACTION_DEVICE_KEY:
            return Access::ReadWrite;
        case REG_TIMESTAMP_CONTROL:
            return Access::Command;
        default:
            return Access::ReadOnly;
    }
}

bool is_f64_register(uint32_t a) {
    using namespace reg;
    for (uint32_t base : {AcquisitionFrameRate, ExposureTime, Gain, Scan3dCoordinateScale, Scan3dCoordinateOffset}) {
        if (a == base || a == base + 4) return true;
    }
    return false;
}

Access device_access(uint32_t a) {
    using namespace reg;
    if (is_f64_register(a)) return Access::ReadWrite;
    if (a == Scan3dInvalidDataValue || a == Scan3dInvalidDataValue + 4) return Access::ReadOnly;
    if (a == Scan3dCoordinateSelector) return Access::ReadWrite;
    if (in_range(a, Scan3dCoordinateScale + kScan3dCoordinateA * kScan3dCoordinateStride, 2 * kScan3dCoordinateStride))
        return Access::ReadOnly;
    if (in_range(a, ComponentEnable, kComponentCount * kComponentStride) ||
        in_range(a, ComponentPixelFormat, kComponentCount * kComponentStride) ||
        in_range(a, ChunkEnable, kChunkCount * 4) || in_range(a, EventNotification, kEventCount * 4))
        return Access::ReadWrite;
    if (in_range(a, ComponentIDValue, kComponentCount * kComponentStride) || in_range(a, PtpOffsetFromMaster, 8) ||
        in_range(a, PtpClockID, 8))
        return Access::ReadOnly;
    switch (a) {
        case Width:
        case Height:
        case AcquisitionMode:
        case AcquisitionFrameCount:
        case TriggerSelector:
        case TriggerMode:
        case TriggerSource:
        case TriggerActivation:
        case SourceSelector:
        case RegionSelector:
        case ComponentSelector:
        case ChunkModeActive:
        case ChunkSelector:
        case EventSelector:
        case ActionSelector:
            return Access::ReadWrite;
        case SensorWidth:
        case SensorHeight:
        case PayloadSize:
        case AcquisitionStatus:
            return Access::ReadOnly;
        case AcquisitionStart:
        case AcquisitionStop:
        case TriggerSoftware:
        case PtpDataSetLatch:
            return Access::Command;
        default:
            return Access::None;
    }
}

size_t bytes_per_pixel(uint32_t pixel_format) {
    switch (pixel_format) {
        case kPixelFormatCoord3D_ABC32f:
            return 12;
        case kPixelFormatCoord3D_C16:
            return 2;
        default:
            return 1;
    }
}

bool format_allowed(uint32_t component, uint32_t format) {
    switch (static_cast<Component>(component)) {
        case Component::Range:
            return format == kPixelFormatCoord3D_ABC32f || format == kPixelFormatCoord3D_C16;
        case Component::Intensity:
            return format == kPixelFormatMono8;
        case Component::Confidence:
            return format == kPixelFormatConfidence8;
    }
    return false;
}

}  // namespace

DeviceModel::DeviceModel(const DeviceIdentity& identity, std::vector<uint8_t> xml_file, const std::string& xml_name)
    : identity_(identity),
      xml_name_(xml_name),
      bootstrap_(reg::kBootstrapEnd, 0),
      device_(reg::kDeviceEnd - reg::kDeviceBase, 0),
      plain_(reg::kPlainMemorySize, 0),
      xml_(std::move(xml_file)),
      clock_origin_(std::chrono::steady_clock::now()) {
    if (xml_.size() > reg::kXmlMaxSize) xml_.resize(reg::kXmlMaxSize);
    initialize_locked();
}

void DeviceModel::power_up() {
    using namespace gvcp;
    std::lock_guard<std::mutex> lock(mutex_);
    const std::vector<uint8_t> before = bootstrap_;
    std::fill(bootstrap_.begin(), bootstrap_.end(), 0);
    std::fill(device_.begin(), device_.end(), 0);
    std::fill(plain_.begin(), plain_.end(), 0);
    initialize_locked();
    for (uint32_t a : {REG_CURRENT_IP_CONFIG, REG_CURRENT_IP_ADDRESS, REG_CURRENT_SUBNET_MASK, REG_CURRENT_GATEWAY,
                       REG_PERSISTENT_IP_ADDRESS, REG_PERSISTENT_SUBNET_MASK, REG_PERSISTENT_GATEWAY})
        std::memcpy(bootstrap_.data() + a, before.data() + a, 4);
    std::memcpy(bootstrap_.data() + REG_USER_DEFINED_NAME, before.data() + REG_USER_DEFINED_NAME,
                USER_DEFINED_NAME_SIZE);
    acquiring_ = false;
    clock_origin_ = std::chrono::steady_clock::now();
}

// The power-up contents of every register (the caller holds the lock or
// constructs).
void DeviceModel::initialize_locked() {
    using namespace gvcp;
    const DeviceIdentity& id = identity_;
    store32(REG_VERSION, (2u << 16) | 1u);
    store32(REG_DEVICE_MODE, DEVICE_MODE_BIG_ENDIAN | DEVICE_MODE_CHARSET_UTF8);
    store32(REG_MAC_HIGH, (uint32_t{id.mac[0]} << 8) | id.mac[1]);
    store32(REG_MAC_LOW,
            (uint32_t{id.mac[2]} << 24) | (uint32_t{id.mac[3]} << 16) | (uint32_t{id.mac[4]} << 8) | id.mac[5]);
    store32(REG_SUPPORTED_IP_CONFIG, IP_CONFIG_PERSISTENT | IP_CONFIG_DHCP | IP_CONFIG_LLA);
    store32(REG_CURRENT_IP_CONFIG, IP_CONFIG_PERSISTENT | IP_CONFIG_LLA);
    store32(REG_CURRENT_IP_ADDRESS, id.ip);
    store32(REG_CURRENT_SUBNET_MASK, id.mask);
    store32(REG_CURRENT_GATEWAY, id.gateway);
    store_string(REG_MANUFACTURER_NAME, id.vendor, MANUFACTURER_NAME_SIZE);
    store_string(REG_MODEL_NAME, id.model, MODEL_NAME_SIZE);
    store_string(REG_DEVICE_VERSION, id.device_version, DEVICE_VERSION_SIZE);
    store_string(REG_MANUFACTURER_INFO, id.manufacturer_info, MANUFACTURER_INFO_SIZE);
    store_string(REG_SERIAL_NUMBER, id.serial, SERIAL_NUMBER_SIZE);
    store_string(REG_USER_DEFINED_NAME, id.user_name, USER_DEFINED_NAME_SIZE);
    char url[128];
    std::snprintf(url, sizeof url, "Local:%s;%x;%zx", xml_name_.c_str(), reg::kXmlBase, xml_.size());
    store_string(REG_FIRST_URL, url, URL_SIZE);
    store_string(REG_SECOND_URL, url, URL_SIZE);
    store32(REG_NUMBER_OF_INTERFACES, 1);
    store32(REG_PERSISTENT_IP_ADDRESS, id.ip);
    store32(REG_PERSISTENT_SUBNET_MASK, id.mask);
    store32(REG_PERSISTENT_GATEWAY, id.gateway);
    store32(REG_LINK_SPEED, id.link_speed_mbps);
    store32(REG_NUMBER_OF_MESSAGE_CHANNELS, 1);
    store32(REG_NUMBER_OF_STREAM_CHANNELS, 1);
    store32(REG_NUMBER_OF_ACTIVE_LINKS, 1);
    store32(REG_GVSP_CAPABILITY, GVSP_CAP_SCSP_SUPPORTED | GVSP_CAP_LEGACY_16BIT_BLOCK_ID);
    store32(REG_MESSAGE_CHANNEL_CAPABILITY, MC_CAP_MCSP_SUPPORTED);
    store32(REG_GVCP_CAPABILITY, GVCP_CAP_USER_DEFINED_NAME | GVCP_CAP_SERIAL_NUMBER | GVCP_CAP_HEARTBEAT_DISABLE |
                                     GVCP_CAP_LINK_SPEED | GVCP_CAP_EXTENDED_STATUS_1_1 | GVCP_CAP_EXTENDED_STATUS_2_0 |
                                     GVCP_CAP_EVENTDATA | GVCP_CAP_EVENT | GVCP_CAP_PACKET_RESEND | GVCP_CAP_WRITEMEM |
                                     GVCP_CAP_CONCATENATION | GVCP_CAP_ACTION | GVCP_CAP_SCHEDULED_ACTION |
                                     GVCP_CAP_UNCONDITIONAL_ACTION | GVCP_CAP_IEEE1588);
    store32(REG_NUMBER_OF_ACTION_SIGNALS, reg::kActionSignalCount);
    store32(REG_SCHEDULED_ACTION_QUEUE_SIZE, reg::kActionQueueSize);
    store32(REG_IEEE1588_STATUS, reg::kPtpStateDisabled);
    store32(reg::ActionSelector, 1);
    store32(REG_HEARTBEAT_TIMEOUT, 3000);
    store32(REG_TIMESTAMP_TICK_FREQUENCY_HIGH, 0);
    store32(REG_TIMESTAMP_TICK_FREQUENCY_LOW, 1000000000u);
    store32(REG_PENDING_TIMEOUT, 500);
    store32(REG_GVSP_CONFIGURATION, GVSP_CONFIG_64BIT_BLOCK_ID);
    store32(REG_PHYSICAL_LINK_CAPABILITY, PHYSICAL_LINK_SINGLE_LINK);
    store32(REG_PHYSICAL_LINK_CONFIGURATION, PHYSICAL_LINK_SINGLE_LINK);
    store32(REG_MCTT, 300);
    store32(REG_MCRC, 2);
    store32(REG_SCPS0, 1500);
    store32(REG_SCC0, SCC_MULTIPART);

    store32(reg::Width, id.sensor_width);
    store32(reg::Height, id.sensor_height);
    store32(reg::SensorWidth, id.sensor_width);
    store32(reg::SensorHeight, id.sensor_height);
    store32(reg::AcquisitionMode, reg::kAcquisitionModeContinuous);
    store32(reg::AcquisitionFrameCount, 1);
    store_f64(reg::AcquisitionFrameRate, id.fps > 0 ? id.fps : 10.0);
    store_f64(reg::ExposureTime, 1000.0);
    store_f64(reg::Gain, 0.0);
    for (uint32_t c = 0; c < kComponentCount; ++c) {
        store32(reg::ComponentEnable + c * reg::kComponentStride, 1);
        store32(reg::ComponentIDValue + c * reg::kComponentStride, component_id(static_cast<Component>(c)));
    }
    store32(reg::ComponentPixelFormat + 0 * reg::kComponentStride, kPixelFormatCoord3D_ABC32f);
    store32(reg::ComponentPixelFormat + 1 * reg::kComponentStride, kPixelFormatMono8);
    store32(reg::ComponentPixelFormat + 2 * reg::kComponentStride, kPixelFormatConfidence8);
    store_f64(reg::Scan3dCoordinateScale, static_cast<double>(kSceneDefaultC16ScaleMm));
    store_f64(reg::Scan3dCoordinateOffset, static_cast<double>(kSceneDefaultC16OffsetMm));
    store_f64(reg::Scan3dInvalidDataValue, 0.0);
    update_lateral_scale_locked();
    for (uint32_t k = 0; k < reg::kChunkCount; ++k) store32(reg::ChunkEnable + 4 * k, 1);
    update_payload_size_locked();
}

// X = (u - (W - 1) / 2) * pitch, Y likewise with v and H (stream/README.md).
void DeviceModel::update_lateral_scale_locked() {
    using namespace reg;
    const uint32_t sides[2][2] = {{kScan3dCoordinateA, Width}, {kScan3dCoordinateB, Height}};
    for (const auto& side : sides) {
        const uint32_t at = side[0] * kScan3dCoordinateStride;
        store_f64(Scan3dCoordinateScale + at, kScenePixelPitchMm);
        store_f64(Scan3dCoordinateOffset + at, -(load32(side[1]) - 1.0) / 2.0 * kScenePixelPitchMm);
    }
}

uint8_t* DeviceModel::locate(uint32_t address, size_t size) {
    uint64_t end = uint64_t{address} + size;
    if (end <= reg::kBootstrapEnd) return bootstrap_.data() + address;
    if (address >= reg::kDeviceBase && end <= reg::kDeviceEnd) return device_.data() + (address - reg::kDeviceBase);
    if (address >= reg::kPlainMemoryBase && end <= uint64_t{reg::kPlainMemoryBase} + reg::kPlainMemorySize)
        return plain_.data() + (address - reg::kPlainMemoryBase);
    if (address >= reg::kXmlBase && end <= uint64_t{reg::kXmlBase} + xml_.size())
        return xml_.data() + (address - reg::kXmlBase);
    return nullptr;
}

uint32_t DeviceModel::load32(uint32_t address) const {
    const uint8_t* p = const_cast<DeviceModel*>(this)->locate(address, 4);
    return p != nullptr ? wire::load_be32(p) : 0;
}

void DeviceModel::store32(uint32_t address, uint32_t value) {
    uint8_t* p = locate(address, 4);
    if (p != nullptr) wire::store_be32(p, value);
}

double DeviceModel::load_f64(uint32_t address) const {
    const uint8_t* p = const_cast<DeviceModel*>(this)->locate(address, 8);
    if (p == nullptr) return 0.0;
    uint64_t bits = wire::load_be64(p);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

void DeviceModel::store_f64(uint32_t address, double value) {
    uint8_t* p = locate(address, 8);
    if (p == nullptr) return;
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    wire::store_be64(p, bits);
}

void DeviceModel::store_string(uint32_t address, const std::string& text, size_t size) {
    uint8_t* p = locate(address, size);
    if (p == nullptr || size == 0) return;
    std::memset(p, 0, size);
    std::memcpy(p, text.data(), std::min(text.size(), size - 1));
}

bool DeviceModel::readable(uint32_t address, size_t size) const {
    uint64_t end = uint64_t{address} + size;
    if (end <= kBootstrapReadable) return true;
    if (address >= reg::kPlainMemoryBase && end <= uint64_t{reg::kPlainMemoryBase} + reg::kPlainMemorySize) return true;
    if (in_action_groups(address, size)) return true;
    if (address >= reg::kXmlBase && end <= uint64_t{reg::kXmlBase} + xml_.size()) return true;
    if (address >= reg::kDeviceBase && end <= reg::kDeviceEnd) {
        for (uint64_t a = address; a < end; a += 4)
            if (device_access(static_cast<uint32_t>(a)) == Access::None) return false;
        return true;
    }
    return false;
}

uint16_t DeviceModel::read(uint32_t address, uint8_t* out, size_t size) {
    if (out == nullptr) return gvcp::STATUS_INVALID_PARAMETER;
    if (address % 4 != 0 || size % 4 != 0) return gvcp::STATUS_BAD_ALIGNMENT;
    std::lock_guard<std::mutex> lock(mutex_);
    if (size == 0) return gvcp::STATUS_SUCCESS;
    // The XML file may end on any byte; its last word is padded with zeros.
    uint64_t end = uint64_t{address} + size;
    if (address >= reg::kXmlBase && end <= uint64_t{reg::kXmlBase} + ((xml_.size() + 3) & ~size_t{3}) &&
        end > uint64_t{reg::kXmlBase} + xml_.size()) {
        size_t offset = address - reg::kXmlBase;
        size_t available = offset < xml_.size() ? xml_.size() - offset : 0;
        std::memset(out, 0, size);
        if (available > 0) std::memcpy(out, xml_.data() + offset, std::min(available, size));
        return gvcp::STATUS_SUCCESS;
    }
    if (!readable(address, size)) return gvcp::STATUS_INVALID_ADDRESS;
    const uint8_t* p = locate(address, size);
    if (p == nullptr) return gvcp::STATUS_INVALID_ADDRESS;
    std::memcpy(out, p, size);
    return gvcp::STATUS_SUCCESS;
}

bool DeviceModel::acquisition_locked_register(uint32_t a) const {
    return a == reg::Width || a == reg::Height || in_range(a, reg::ComponentEnable, kComponentCount * 4) ||
           in_range(a, reg::ComponentPixelFormat, kComponentCount * 4) || a == reg::ChunkModeActive ||
           in_range(a, reg::ChunkEnable, reg::kChunkCount * 4) || a == gvcp::REG_SCCFG0 ||
           a == gvcp::REG_GVSP_CONFIGURATION;
}

uint16_t DeviceModel::write(uint32_t address, const uint8_t* data, size_t size, WriteEffects* effects) {
    if (data == nullptr || effects == nullptr) return gvcp::STATUS_INVALID_PARAMETER;
    if (address % 4 != 0 || size % 4 != 0) return gvcp::STATUS_BAD_ALIGNMENT;
    std::lock_guard<std::mutex> lock(mutex_);
    uint64_t end = uint64_t{address} + size;
    if (refused_length_ > 0 && address < uint64_t{refused_address_} + refused_length_ && end > refused_address_)
        return gvcp::STATUS_ACCESS_DENIED;
    if (size == 0) return gvcp::STATUS_SUCCESS;
    // Plain memory: stored as given.
    if (address >= reg::kPlainMemoryBase && end <= uint64_t{reg::kPlainMemoryBase} + reg::kPlainMemorySize) {
        std::memcpy(plain_.data() + (address - reg::kPlainMemoryBase), data, size);
        return gvcp::STATUS_SUCCESS;
    }
    // Check every word before changing anything, so a refused write changes nothing.
    for (uint64_t a = address; a < end; a += 4) {
        uint32_t word = static_cast<uint32_t>(a);
        Access access;
        if (word < reg::kBootstrapEnd)
            access = bootstrap_access(word);
        else if (word >= reg::kDeviceBase && word < reg::kDeviceEnd)
            access = device_access(word);
        else if (word >= reg::kXmlBase && word < reg::kXmlBase + xml_.size())
            access = Access::ReadOnly;
        else
            access = Access::None;
        if (access == Access::None) return gvcp::STATUS_INVALID_ADDRESS;
        if (access == Access::ReadOnly) return gvcp::STATUS_WRITE_PROTECT;
        if (acquiring_ && acquisition_locked_register(word)) return gvcp::STATUS_BUSY;
    }
    // The user-defined name is a string: store the bytes.
    if (address >= gvcp::REG_USER_DEFINED_NAME &&
        end <= uint64_t{gvcp::REG_USER_DEFINED_NAME} + gvcp::USER_DEFINED_NAME_SIZE) {
        std::memcpy(bootstrap_.data() + address, data, size);
        bootstrap_[gvcp::REG_USER_DEFINED_NAME + gvcp::USER_DEFINED_NAME_SIZE - 1] = 0;
        return gvcp::STATUS_SUCCESS;
    }
    for (size_t offset = 0; offset < size; offset += 4) {
        uint32_t word = address + static_cast<uint32_t>(offset);
        uint16_t status;
        if (is_f64_register(word)) {
            // Doubles are stored word by word; a half-written double is still a number.
            std::memcpy(locate(word, 4), data + offset, 4);
            status = gvcp::STATUS_SUCCESS;
        } else {
            status = write_register_locked(word, wire::load_be32(data + offset), effects);
        }
        if (status != gvcp::STATUS_SUCCESS) return status;
    }
    update_payload_size_locked();
    update_lateral_scale_locked();
    return gvcp::STATUS_SUCCESS;
}

uint16_t DeviceModel::write_register_locked(uint32_t a, uint32_t v, WriteEffects* fx) {
    using namespace gvcp;
    switch (a) {
        case REG_CURRENT_IP_CONFIG:
            v &= IP_CONFIG_PERSISTENT | IP_CONFIG_DHCP | IP_CONFIG_LLA;
            v |= IP_CONFIG_LLA;  // link-local is always on
            break;
        case REG_HEARTBEAT_TIMEOUT:
            if (v < kMinHeartbeatMs) v = kMinHeartbeatMs;
            break;
        case REG_GVCP_CONFIGURATION:
            v &= GVCP_CONFIG_HEARTBEAT_DISABLE | GVCP_CONFIG_EXTENDED_STATUS_1_1 | GVCP_CONFIG_EXTENDED_STATUS_2_0 |
                 GVCP_CONFIG_UNCONDITIONAL_ACTION | GVCP_CONFIG_IEEE1588_ENABLE;
            store32(a, v);
            update_ptp_status_locked();
            return STATUS_SUCCESS;
        case REG_GVSP_CONFIGURATION:
            v &= GVSP_CONFIG_64BIT_BLOCK_ID;
            fx->stream_changed = true;
            break;
        case REG_TIMESTAMP_CONTROL: {
            if (v & TIMESTAMP_CONTROL_RESET) {
                clock_origin_ = std::chrono::steady_clock::now();
                fx->timestamp_reset = true;
            }
            if (v & TIMESTAMP_CONTROL_LATCH) {
                const uint64_t now = clock_now_locked();
                store32(REG_TIMESTAMP_VALUE_HIGH, static_cast<uint32_t>(now >> 32));
                store32(REG_TIMESTAMP_VALUE_LOW, static_cast<uint32_t>(now));
            }
            return STATUS_SUCCESS;  // write-only: nothing stored
        }
        case REG_MCP:
            v &= MCP_PORT_MASK;
            break;
        case REG_SCP0:
            v &= SCP_PORT_MASK;
            fx->stream_changed = true;
            break;
        case REG_SCDA0:
        case REG_SCPD0:
            fx->stream_changed = true;
            break;
        case REG_SCPS0: {
            uint32_t size = v & SCPS_PACKET_SIZE_MASK;
            if (size < kMinPacketSize) size = kMinPacketSize;
            if (size > kMaxPacketSize) size = kMaxPacketSize;
            if (v & SCPS_FIRE_TEST_PACKET) {
                fx->fire_test_packet = true;
                fx->test_packet_size = size;
            }
            // The fire bit is a trigger, not state.
            v = (v & SCPS_DO_NOT_FRAGMENT) | size;
            fx->stream_changed = true;
            break;
        }
        case REG_SCCFG0:
            v &= SCCFG_MULTIPART;
            fx->stream_changed = true;
            break;
        case reg::Width:
            if (v < kMinImageSide || v > load32(reg::SensorWidth)) return STATUS_INVALID_PARAMETER;
            break;
        case reg::Height:
            if (v < kMinImageSide || v > load32(reg::SensorHeight)) return STATUS_INVALID_PARAMETER;
            break;
        case reg::AcquisitionMode:
            if (v > reg::kAcquisitionModeMultiFrame) return STATUS_INVALID_PARAMETER;
            break;
        case reg::AcquisitionFrameCount:
            if (v < 1) return STATUS_INVALID_PARAMETER;
            break;
        case reg::Scan3dCoordinateSelector:
            if (v != reg::kScan3dCoordinateC && v != reg::kScan3dCoordinateA && v != reg::kScan3dCoordinateB)
                return STATUS_INVALID_PARAMETER;
            break;
        case reg::TriggerSource:
            if (v > reg::kActionSignalCount) return STATUS_INVALID_PARAMETER;
            break;
        case reg::ActionSelector:
            if (v < 1 || v > reg::kActionSignalCount) return STATUS_INVALID_PARAMETER;
            break;
        case reg::PtpDataSetLatch: {
            const bool ptp = (load32(REG_GVCP_CONFIGURATION) & GVCP_CONFIG_IEEE1588_ENABLE) != 0;
            const uint64_t offset = static_cast<uint64_t>(ptp ? identity_.clock_skew_ns : 0);
            store32(reg::PtpOffsetFromMaster, static_cast<uint32_t>(offset >> 32));
            store32(reg::PtpOffsetFromMaster + 4, static_cast<uint32_t>(offset));
            // EUI-64 of the MAC address.
            const std::array<uint8_t, 6>& m = identity_.mac;
            store32(reg::PtpClockID, (uint32_t{m[0]} << 24) | (uint32_t{m[1]} << 16) | (uint32_t{m[2]} << 8) | 0xFF);
            store32(reg::PtpClockID + 4, 0xFE000000u | (uint32_t{m[3]} << 16) | (uint32_t{m[4]} << 8) | m[5]);
            return STATUS_SUCCESS;
        }
        case reg::TriggerSelector:
        case reg::TriggerActivation:
        case reg::SourceSelector:
        case reg::RegionSelector:
        case reg::EventSelector:
            if (v != 0) return STATUS_INVALID_PARAMETER;
            break;
        case reg::TriggerMode:
        case reg::ChunkModeActive:
            if (v > 1) return STATUS_INVALID_PARAMETER;
            break;
        case reg::ComponentSelector:
            if (v >= kComponentCount) return STATUS_INVALID_PARAMETER;
            break;
        case reg::ChunkSelector:
            if (v >= reg::kChunkCount) return STATUS_INVALID_PARAMETER;
            break;
        case reg::AcquisitionStart:
            fx->start_acquisition = true;
            return STATUS_SUCCESS;
        case reg::AcquisitionStop:
            fx->stop_acquisition = true;
            return STATUS_SUCCESS;
        case reg::TriggerSoftware:
            fx->trigger_software = load32(reg::TriggerSource) == reg::kTriggerSourceSoftware;
            return STATUS_SUCCESS;
        default:
            if (in_range(a, reg::ComponentEnable, kComponentCount * 4) ||
                in_range(a, reg::ChunkEnable, reg::kChunkCount * 4) ||
                in_range(a, reg::EventNotification, reg::kEventCount * 4)) {
                if (v > 1) return STATUS_INVALID_PARAMETER;
            } else if (in_range(a, reg::ComponentPixelFormat, kComponentCount * 4)) {
                if (!format_allowed((a - reg::ComponentPixelFormat) / 4, v)) return STATUS_INVALID_PARAMETER;
            }
            break;
    }
    store32(a, v);
    return STATUS_SUCCESS;
}

uint32_t DeviceModel::payload_size_locked() const {
    uint64_t w = load32(reg::Width), h = load32(reg::Height);
    bool multipart = (load32(gvcp::REG_SCCFG0) & gvcp::SCCFG_MULTIPART) != 0;
    bool chunks = load32(reg::ChunkModeActive) != 0;
    uint64_t chunk_bytes = 0;
    if (chunks) {
        if (load32(reg::ChunkEnable + 4 * reg::kChunkTimestamp))
            chunk_bytes += kChunkTimestampSize + gvsp::kChunkTagSize;
        if (load32(reg::ChunkEnable + 4 * reg::kChunkFrameID)) chunk_bytes += kChunkFrameIdSize + gvsp::kChunkTagSize;
    }
    uint64_t total = 0;
    for (uint32_t c = 0; c < kComponentCount; ++c) {
        if (!load32(reg::ComponentEnable + 4 * c)) continue;
        total += w * h * bytes_per_pixel(load32(reg::ComponentPixelFormat + 4 * c));
        if (!multipart) break;  // single image: the first enabled component only
    }
    if (chunks && !multipart) total += gvsp::kChunkTagSize;  // the image's own chunk trailer
    total += chunk_bytes;
    return total > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(total);
}

void DeviceModel::update_payload_size_locked() { store32(reg::PayloadSize, payload_size_locked()); }

void DeviceModel::set_refused_register(uint32_t address, uint32_t length) {
    std::lock_guard<std::mutex> lock(mutex_);
    refused_address_ = address;
    refused_length_ = length;
}

AcquisitionSnapshot DeviceModel::acquisition() const {
    std::lock_guard<std::mutex> lock(mutex_);
    AcquisitionSnapshot s;
    s.width = load32(reg::Width);
    s.height = load32(reg::Height);
    s.mode = load32(reg::AcquisitionMode);
    s.frame_count = load32(reg::AcquisitionFrameCount);
    s.frame_rate = load_f64(reg::AcquisitionFrameRate);
    if (!std::isfinite(s.frame_rate) || s.frame_rate < 0.1) s.frame_rate = 0.1;
    if (s.frame_rate > 1000.0) s.frame_rate = 1000.0;
    s.trigger_on = load32(reg::TriggerMode) != 0;
    s.trigger_source = load32(reg::TriggerSource);
    for (uint32_t c = 0; c < kComponentCount; ++c) {
        s.component_enabled[c] = load32(reg::ComponentEnable + 4 * c) != 0;
        s.pixel_format[c] = load32(reg::ComponentPixelFormat + 4 * c);
    }
    s.c16_scale = load_f64(reg::Scan3dCoordinateScale);
    s.c16_offset = load_f64(reg::Scan3dCoordinateOffset);
    s.chunk_mode = load32(reg::ChunkModeActive) != 0;
    s.chunk_timestamp = load32(reg::ChunkEnable + 4 * reg::kChunkTimestamp) != 0;
    s.chunk_frame_id = load32(reg::ChunkEnable + 4 * reg::kChunkFrameID) != 0;
    s.frame_end_event = load32(reg::EventNotification + 4 * reg::kEventFrameEnd) != 0;
    s.multipart = (load32(gvcp::REG_SCCFG0) & gvcp::SCCFG_MULTIPART) != 0;
    s.payload_size = load32(reg::PayloadSize);
    return s;
}

StreamRegisters DeviceModel::stream() const {
    std::lock_guard<std::mutex> lock(mutex_);
    StreamRegisters s;
    s.dest_ip = load32(gvcp::REG_SCDA0);
    s.dest_port = static_cast<uint16_t>(load32(gvcp::REG_SCP0) & gvcp::SCP_PORT_MASK);
    s.packet_size = load32(gvcp::REG_SCPS0) & gvcp::SCPS_PACKET_SIZE_MASK;
    s.do_not_fragment = (load32(gvcp::REG_SCPS0) & gvcp::SCPS_DO_NOT_FRAGMENT) != 0;
    s.packet_delay = load32(gvcp::REG_SCPD0);
    s.multipart = (load32(gvcp::REG_SCCFG0) & gvcp::SCCFG_MULTIPART) != 0;
    s.extended_ids = (load32(gvcp::REG_GVSP_CONFIGURATION) & gvcp::GVSP_CONFIG_64BIT_BLOCK_ID) != 0;
    s.link_speed_mbps = load32(gvcp::REG_LINK_SPEED);
    return s;
}

MessageRegisters DeviceModel::message_channel() const {
    std::lock_guard<std::mutex> lock(mutex_);
    MessageRegisters m;
    m.dest_ip = load32(gvcp::REG_MCDA);
    m.dest_port = static_cast<uint16_t>(load32(gvcp::REG_MCP) & gvcp::MCP_PORT_MASK);
    m.timeout_ms = load32(gvcp::REG_MCTT);
    m.retry_count = load32(gvcp::REG_MCRC);
    return m;
}

uint32_t DeviceModel::heartbeat_timeout_ms() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return load32(gvcp::REG_HEARTBEAT_TIMEOUT);
}

bool DeviceModel::heartbeat_disabled() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return (load32(gvcp::REG_GVCP_CONFIGURATION) & gvcp::GVCP_CONFIG_HEARTBEAT_DISABLE) != 0;
}

void DeviceModel::set_acquiring(bool acquiring) {
    std::lock_guard<std::mutex> lock(mutex_);
    acquiring_ = acquiring;
    store32(reg::AcquisitionStatus, acquiring ? 1 : 0);
}

bool DeviceModel::acquiring() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return acquiring_;
}

uint16_t DeviceModel::stream_source_port() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<uint16_t>(load32(gvcp::REG_SCSP0));
}

void DeviceModel::set_stream_source_port(uint16_t port) {
    std::lock_guard<std::mutex> lock(mutex_);
    store32(gvcp::REG_SCSP0, port);
}

void DeviceModel::set_message_source_port(uint16_t port) {
    std::lock_guard<std::mutex> lock(mutex_);
    store32(gvcp::REG_MCSP, port);
}

void DeviceModel::set_privilege_register(uint32_t value) {
    std::lock_guard<std::mutex> lock(mutex_);
    store32(gvcp::REG_CCP, value);
}

void DeviceModel::reset_channels() {
    std::lock_guard<std::mutex> lock(mutex_);
    store32(gvcp::REG_SCP0, 0);
    store32(gvcp::REG_SCDA0, 0);
    store32(gvcp::REG_MCP, 0);
    store32(gvcp::REG_MCDA, 0);
    store32(gvcp::REG_CCP, 0);
}

void DeviceModel::set_current_ip(uint32_t ip, uint32_t mask, uint32_t gateway) {
    std::lock_guard<std::mutex> lock(mutex_);
    store32(gvcp::REG_CURRENT_IP_ADDRESS, ip);
    store32(gvcp::REG_CURRENT_SUBNET_MASK, mask);
    store32(gvcp::REG_CURRENT_GATEWAY, gateway);
}

std::array<uint8_t, 6> DeviceModel::mac() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::array<uint8_t, 6> m{};
    std::memcpy(m.data(), bootstrap_.data() + gvcp::kDiscoveryMacOffset, m.size());
    return m;
}

uint32_t DeviceModel::current_ip() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return load32(gvcp::REG_CURRENT_IP_ADDRESS);
}

std::vector<uint8_t> DeviceModel::discovery_block() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::vector<uint8_t>(bootstrap_.begin(), bootstrap_.begin() + gvcp::kDiscoveryAckPayloadSize);
}

uint64_t DeviceModel::clock_now_locked() const {
    using std::chrono::duration_cast;
    using std::chrono::nanoseconds;
    if (load32(gvcp::REG_GVCP_CONFIGURATION) & gvcp::GVCP_CONFIG_IEEE1588_ENABLE) {
        const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
        return static_cast<uint64_t>(duration_cast<nanoseconds>(since_epoch).count() + identity_.clock_skew_ns);
    }
    return static_cast<uint64_t>(duration_cast<nanoseconds>(std::chrono::steady_clock::now() - clock_origin_).count());
}

// A clock that follows the host's within a microsecond counts as locked to
// its master; a skewed one stays uncalibrated.
void DeviceModel::update_ptp_status_locked() {
    uint32_t state = reg::kPtpStateDisabled;
    if (load32(gvcp::REG_GVCP_CONFIGURATION) & gvcp::GVCP_CONFIG_IEEE1588_ENABLE)
        state = std::abs(identity_.clock_skew_ns) < 1000 ? reg::kPtpStateSlave : reg::kPtpStateUncalibrated;
    store32(gvcp::REG_IEEE1588_STATUS, state);
}

uint64_t DeviceModel::timestamp_now() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return clock_now_locked();
}

uint32_t DeviceModel::action_signals(uint32_t device_key, uint32_t group_key, uint32_t group_mask) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (device_key != load32(gvcp::REG_ACTION_DEVICE_KEY)) return 0;
    uint32_t signals = 0;
    for (uint32_t n = 0; n < reg::kActionSignalCount; ++n) {
        const uint32_t at = n * gvcp::kActionGroupStride;
        if (group_key == load32(gvcp::REG_ACTION_GROUP_KEY0 + at) &&
            (group_mask & load32(gvcp::REG_ACTION_GROUP_MASK0 + at)) != 0)
            signals |= 1u << n;
    }
    return signals;
}

uint32_t DeviceModel::gvcp_configuration() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return load32(gvcp::REG_GVCP_CONFIGURATION);
}

}  // namespace ornsim
