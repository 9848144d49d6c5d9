#include <arv.h>

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/PvDeviceGEV.h"
#include "platform/aravis_result.h"
#include "platform/aravis_xml_lock.h"
#include "platform/close_on_end.h"
#include "platform/local_address.h"
#include "platform/own_node_maps.h"
#include "wire/address_text.h"
#include "wire/gvcp_layout.h"
#include "wire/gvsp_layout.h"
#include "wire/udp_socket.h"

namespace {

// Connected devices by address, so that a stream can be opened for a
// device that is named by its discovery record or its address only.
struct ConnectedDevices {
    std::mutex lock;
    std::map<std::string, PvDeviceGEV*> by_address;
};

ConnectedDevices& connected_devices() {
    static ConnectedDevices* devices = new ConnectedDevices;  // never destroyed: used at exit
    return *devices;
}

ArvGvDevice* gv(ArvDevice* device) { return ARV_GV_DEVICE(device); }

// How long one test packet is waited for, and how often it is asked for.
constexpr int kTestPacketWaitMs = 100;
constexpr int kTestPacketTries = 3;

// Aravis's packet-size search (0.8.26) reports no failure when no test
// packet arrives at any size: it keeps the size it started from, and the
// stream channel stays pointed at its closed probe socket. So the size it
// leaves is checked with test packets of our own, sent with the
// don't-fragment bit to a socket of ours from `interface_address`. OK
// when one arrives whole, or when the device cannot send test packets.
PvResult check_test_packet(ArvDevice* device, uint32_t interface_address) {
    ArvGcNode* fire = arv_device_get_feature(device, "GevSCPSFireTestPacket");
    if (!ARV_IS_GC_COMMAND(fire) && !ARV_IS_GC_BOOLEAN(fire)) {
        return PvResult::OK;
    }
    std::string why;
    wire::UdpSocket probe;
    if (!probe.open(interface_address, 0, &why)) {
        return PvResult(PvResult::NETWORK_ERROR, "test packet socket: " + why);
    }
    GError* error = nullptr;
    guint32 scps = 0;
    if (!arv_device_write_register(device, gvcp::REG_SCDA0, interface_address, &error) ||
        !arv_device_write_register(device, gvcp::REG_SCP0, probe.local_port(), &error) ||
        !arv_device_read_register(device, gvcp::REG_SCPS0, &scps, &error)) {
        return platform::take_error(error);
    }
    scps &= ~gvcp::SCPS_FIRE_TEST_PACKET;
    const long expected = static_cast<long>(scps & gvcp::SCPS_PACKET_SIZE_MASK) - gvsp::kIpUdpOverhead;
    std::vector<uint8_t> datagram(gvsp::kMaxUdpPayload);
    bool arrived = false;
    for (int attempt = 0; attempt < kTestPacketTries && !arrived && error == nullptr; ++attempt) {
        if (!arv_device_write_register(device, gvcp::REG_SCPS0,
                                       scps | gvcp::SCPS_DO_NOT_FRAGMENT | gvcp::SCPS_FIRE_TEST_PACKET, &error)) {
            break;
        }
        const int64_t give_up = wire::monotonic_ms() + kTestPacketWaitMs;
        for (int64_t left = kTestPacketWaitMs; left > 0 && !arrived; left = give_up - wire::monotonic_ms()) {
            arrived = probe.receive_within(datagram.data(), datagram.size(), static_cast<int>(left), nullptr,
                                           nullptr) == expected;  // late probes of other sizes are skipped
        }
    }
    if (error == nullptr) {
        arv_device_write_register(device, gvcp::REG_SCPS0, scps, &error);  // the don't-fragment bit as it was
    }
    if (error != nullptr) {
        return platform::take_error(error);
    }
    return arrived
               ? PvResult::OK
               : PvResult(PvResult::TIMEOUT, "no test packet of " + std::to_string(expected + gvsp::kIpUdpOverhead) +
                                                 " bytes arrived: the stream cannot reach this host");
}

}  // namespace

PvDeviceGEV::~PvDeviceGEV() { platform::close_if_open(this, &PvDevice::IsConnected, &PvDevice::Disconnect); }

PvDeviceGEV* PvDeviceGEV::FindConnected(const PvString& ip) {
    ConnectedDevices& devices = connected_devices();
    std::lock_guard<std::mutex> guard(devices.lock);
    auto found = devices.by_address.find(ip.str());
    return found != devices.by_address.end() ? found->second : nullptr;
}

PvDeviceGEV* PvDeviceGEV::Connect(const PvString& interface_ip, const PvString& device_ip, PvResult* result,
                                  Role role) {
    auto fail = [result](PvResult failure) -> PvDeviceGEV* {
        if (result != nullptr) {
            *result = failure;
        }
        return nullptr;
    };
    uint32_t interface_address = 0;
    uint32_t device_address = 0;
    if (!wire::parse_ipv4(interface_ip.str(), &interface_address) ||
        !wire::parse_ipv4(device_ip.str(), &device_address)) {
        return fail(PvResult(PvResult::INVALID_PARAMETER,
                             "not an IPv4 address pair: \"" + interface_ip.str() + "\", \"" + device_ip.str() + "\""));
    }
    if (!platform::is_local_ipv4(interface_address)) {
        return fail(PvResult(PvResult::INVALID_PARAMETER, interface_ip.str() + " is not an address of this host"));
    }
    const std::string canonical_device = wire::format_ipv4(device_address);
    const bool monitor = role == Role::Monitor;
    if (!monitor && FindConnected(canonical_device) != nullptr) {
        return fail(PvResult(PvResult::ACCESS_DENIED, canonical_device + " is already connected"));
    }

    GInetAddress* interface_inet = g_inet_address_new_from_string(wire::format_ipv4(interface_address).c_str());
    GInetAddress* device_inet = g_inet_address_new_from_string(canonical_device.c_str());
    GError* error = nullptr;
    ArvDevice* device = nullptr;
    {
        std::lock_guard<std::mutex> parsing(platform::aravis_xml_parse_lock());
        device = arv_gv_device_new(interface_inet, device_inet, &error);
    }
    g_object_unref(interface_inet);
    g_object_unref(device_inet);
    if (device == nullptr || error != nullptr) {
        if (device != nullptr) {
            g_object_unref(device);
        }
        return fail(error != nullptr ? platform::take_error(error)
                                     : PvResult(PvResult::GENERIC_ERROR, "connection failed"));
    }
    // Aravis (0.8) always asks for control while it connects, and its
    // heartbeat thread sends nothing while it is not the controller. A
    // monitor gives back at once the control it got from a device nobody
    // controlled; a controller must have got it.
    if (monitor && arv_gv_device_is_controller(gv(device))) {
        arv_gv_device_leave_control(gv(device), &error);
        if (error != nullptr) {
            g_object_unref(device);
            return fail(platform::take_error(error));
        }
    }
    if (!monitor && !arv_gv_device_is_controller(gv(device))) {
        g_object_unref(device);
        return fail(PvResult(PvResult::ACCESS_DENIED, "another application controls " + canonical_device));
    }
    // The packet size is negotiated on request (NegotiatePacketSize), not
    // behind the caller's back when the stream opens.
    g_object_set(device, "packet-size-adjustment", ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER, nullptr);

    PvDeviceGEV* connected = new PvDeviceGEV;
    connected->device_ip_ = canonical_device;
    connected->interface_ip_ = wire::format_ipv4(interface_address);
    PvResult attached = connected->Attach(device);
    if (attached.IsFailure()) {
        delete connected;  // disconnects
        return fail(attached);
    }
    PvGenParameterArray* communication = connected->GetCommunicationParameters();
    {
        std::lock_guard<std::mutex> guard(communication->GetLock());
        communication->SetIntegerUnlocked(platform::communication_feature::kDeviceIPAddress, device_address);
        communication->SetIntegerUnlocked(platform::communication_feature::kInterfaceIPAddress, interface_address);
    }
    if (monitor) {
        connected->GetParameters()->SetReadOnly();
        communication->SetReadOnly();
    } else {
        ConnectedDevices& devices = connected_devices();
        std::lock_guard<std::mutex> guard(devices.lock);
        devices.by_address[canonical_device] = connected;
    }
    if (result != nullptr) {
        *result = PvResult::OK;
    }
    return connected;
}

void PvDeviceGEV::ReleaseAddress() { BeforeDisconnect(); }

void PvDeviceGEV::BeforeDisconnect() {
    ConnectedDevices& devices = connected_devices();
    std::lock_guard<std::mutex> guard(devices.lock);
    auto found = devices.by_address.find(device_ip_.str());
    if (found != devices.by_address.end() && found->second == this) {
        devices.by_address.erase(found);
    }
}

PvResult PvDeviceGEV::NegotiatePacketSize(uint32_t channel, uint32_t fallback) {
    if (!IsConnected()) {
        return PvResult(PvResult::NOT_CONNECTED, "the device is not connected");
    }
    if (channel != 0) {
        return PvResult(PvResult::NOT_SUPPORTED, "only stream channel 0 is negotiated");
    }
    std::lock_guard<std::mutex> guard(GetParameters()->GetLock());
    GError* error = nullptr;
    arv_gv_device_auto_packet_size(gv(GetArvDevice()), &error);
    uint32_t interface_address = 0;
    wire::parse_ipv4(interface_ip_.str(), &interface_address);
    PvResult failure =
        error != nullptr ? platform::take_error(error) : check_test_packet(GetArvDevice(), interface_address);
    if (failure.IsOK()) {
        return failure;
    }
    if (fallback != 0) {
        arv_gv_device_set_packet_size(gv(GetArvDevice()), static_cast<gint>(fallback), &error);
        g_clear_error(&error);
    }
    return failure;
}

PvResult PvDeviceGEV::SetStreamDestination(const PvString& ip, uint16_t port, uint32_t channel) {
    if (!IsConnected()) {
        return PvResult(PvResult::NOT_CONNECTED, "the device is not connected");
    }
    uint32_t address = 0;
    if (!wire::parse_ipv4(ip.str(), &address)) {
        return PvResult(PvResult::INVALID_PARAMETER, "not an IPv4 address: \"" + ip.str() + "\"");
    }
    guint32 channels = 0;
    GError* error = nullptr;
    if (!arv_device_read_register(GetArvDevice(), gvcp::REG_NUMBER_OF_STREAM_CHANNELS, &channels, &error)) {
        return platform::take_error(error);
    }
    if (channel >= channels) {
        return PvResult(PvResult::INVALID_PARAMETER, "the device has " + std::to_string(channels) + " stream channels");
    }
    const uint32_t offset = channel * gvcp::kStreamChannelStride;
    if (arv_device_write_register(GetArvDevice(), gvcp::REG_SCDA0 + offset, address, &error) &&
        arv_device_write_register(GetArvDevice(), gvcp::REG_SCP0 + offset, port & gvcp::SCP_PORT_MASK, &error)) {
        return PvResult::OK;
    }
    return platform::take_error(error);
}
