#include "platform/PvStreamGEV.h"

#include <arv.h>

#include <cstdlib>
#include <cstring>
#include <mutex>

#include "base/log.h"
#include "platform/PvDeviceGEV.h"
#include "platform/aravis_result.h"
#include "platform/aravis_stream_receiver.h"
#include "platform/close_on_end.h"
#include "platform/own_node_maps.h"
#include "platform/own_stream_receiver.h"
#include "wire/address_text.h"
#include "wire/gvcp_layout.h"

namespace {

constexpr const char* kReceiverVariable = "ORNC_STREAM_RECEIVER";

// Our own receiver unless the environment asks for Aravis's (kept
// selectable for one release, so that both can be compared on the same
// frames). Read each time a stream opens.
bool own_receiver_wanted() {
    const char* value = std::getenv(kReceiverVariable);
    if (value == nullptr || std::strcmp(value, "own") == 0) {
        return true;
    }
    if (std::strcmp(value, "aravis") == 0) {
        return false;
    }
    ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER,
             "ORNC: %s=\"%s\" names no stream receiver (\"own\" or \"aravis\"): receiving through our own",
             kReceiverVariable, value);
    return true;
}

// Our own receiver on `device` (node map lock held): the packet size is
// negotiated as for Aravis's stream, the socket opened on the control
// connection's local address, and the device's stream channel pointed at
// it.
std::unique_ptr<platform::StreamReceiver> open_own(PvDeviceGEV* device, uint32_t device_address,
                                                   std::function<void()> wake_up, PvResult* result) {
    ArvDevice* arv_device = device->GetArvDevice();
    platform::OwnReceiverSetup setup;
    GError* error = nullptr;
    if (ARV_IS_GV_DEVICE(arv_device)) {
        arv_gv_device_auto_packet_size(ARV_GV_DEVICE(arv_device), &error);
        g_clear_error(&error);  // the size set before stays
        setup.packet_size = arv_gv_device_get_packet_size(ARV_GV_DEVICE(arv_device), &error);
        g_clear_error(&error);
    }
    const gint64 payload = arv_device_get_integer_feature_value(arv_device, "PayloadSize", &error);
    g_clear_error(&error);
    wire::parse_ipv4(device->GetLocalIPAddress().str(), &setup.local_address);
    setup.device_address = device_address;
    setup.device_control_port = gvcp::kPort;
    device->ReadTickFrequencyLocked(&setup.tick_frequency);  // 0 on failure: frames get the host's time
    setup.burst_bytes = payload > 0 ? static_cast<size_t>(payload) : 0;
    std::unique_ptr<platform::StreamReceiver> receiver = platform::open_own_receiver(setup, std::move(wake_up), result);
    if (receiver == nullptr) {
        return nullptr;
    }
    PvResult pointed = device->SetStreamDestination(device->GetLocalIPAddress(), receiver->LocalPort());
    if (pointed.IsFailure()) {
        *result = pointed;
        return nullptr;
    }
    return receiver;
}

}  // namespace

PvStreamGEV::~PvStreamGEV() { platform::close_if_open(this, &PvStream::IsOpen, &PvStream::Close); }

void PvStreamGEV::AfterReceiverClosedLocked() {
    if (!own_receiver_) {
        return;  // Aravis's stream closes the channel itself
    }
    // A device disconnected (or lost) before its stream is left alone.
    PvDeviceGEV* device = PvDeviceGEV::FindConnected(device_ip_);
    if (device == nullptr) {
        return;
    }
    const PvResult closed = device->SetStreamDestination(local_ip_, 0);
    if (closed.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_DATATRANSFER, "ORNC: the stream channel of %s stays open: %s",
                 device_ip_.GetAscii(), closed.GetDescription().GetAscii());
    }
}

PvStreamGEV* PvStreamGEV::Open(const PvString& device_ip, PvResult* result) {
    auto fail = [result](PvResult failure) -> PvStreamGEV* {
        if (result != nullptr) {
            *result = failure;
        }
        return nullptr;
    };
    uint32_t address = 0;
    if (!wire::parse_ipv4(device_ip.str(), &address)) {
        return fail(PvResult(PvResult::INVALID_PARAMETER, "not an IPv4 address: \"" + device_ip.str() + "\""));
    }
    PvDeviceGEV* device = PvDeviceGEV::FindConnected(wire::format_ipv4(address));
    if (device == nullptr || device->GetParameters() == nullptr) {
        return fail(PvResult(PvResult::NOT_CONNECTED, device_ip.str() + " is not connected"));
    }
    std::shared_ptr<std::mutex> device_lock = device->GetParameters()->GetSharedLock();
    std::unique_ptr<PvStreamGEV> opened(new PvStreamGEV);
    PvStreamGEV* stream = opened.get();
    // The receiving thread calls it from the receiver's creation on; the
    // receiver dies before the stream.
    auto wake_up = [stream] { stream->WakeRetrievals(); };
    std::unique_ptr<platform::StreamReceiver> receiver;
    PvResult opening;
    {
        // Opening points the device's stream channel at the new socket
        // through the device's node map.
        std::lock_guard<std::mutex> guard(*device_lock);
        opened->own_receiver_ = own_receiver_wanted();
        receiver = opened->own_receiver_ ? open_own(device, address, wake_up, &opening)
                                         : platform::open_aravis_receiver(
                                               device->GetArvDevice(), device->GetLocalIPAddress(), wake_up, &opening);
        if (receiver == nullptr) {
            return fail(opening);
        }
    }
    opened->local_port_ = receiver->LocalPort();
    opened->local_ip_ = device->GetLocalIPAddress();
    opened->device_ip_ = wire::format_ipv4(address);
    PvResult attached = opened->Attach(std::move(receiver), device_lock);
    if (attached.IsFailure()) {
        return fail(attached);  // closes
    }
    PvGenParameterArray* parameters = opened->GetParameters();
    {
        std::lock_guard<std::mutex> guard(parameters->GetLock());
        uint32_t local = 0;
        wire::parse_ipv4(opened->local_ip_.str(), &local);
        parameters->SetIntegerUnlocked(platform::stream_feature::kLocalPort, opened->local_port_);
        parameters->SetIntegerUnlocked(platform::stream_feature::kLocalIPAddress, local);
    }
    if (result != nullptr) {
        *result = PvResult::OK;
    }
    return opened.release();
}
