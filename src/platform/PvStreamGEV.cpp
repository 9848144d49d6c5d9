#include "platform/PvStreamGEV.h"

#include <arv.h>

#include <mutex>

#include "platform/PvDeviceGEV.h"
#include "platform/aravis_result.h"
#include "platform/local_address.h"
#include "platform/own_node_maps.h"

PvStreamGEV::~PvStreamGEV() {
    if (IsOpen()) {
        Close();
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
    if (!platform::parse_ipv4(device_ip.str(), address)) {
        return fail(PvResult(PvResult::INVALID_PARAMETER, "not an IPv4 address: \"" + device_ip.str() + "\""));
    }
    PvDeviceGEV* device = PvDeviceGEV::FindConnected(platform::format_ipv4(address));
    if (device == nullptr || device->GetParameters() == nullptr) {
        return fail(PvResult(PvResult::NOT_CONNECTED, device_ip.str() + " is not connected"));
    }
    std::shared_ptr<std::mutex> device_lock = device->GetParameters()->GetSharedLock();
    ArvStream* stream = nullptr;
    GError* error = nullptr;
    {
        // Opening points the device's stream channel at the new socket
        // through the device's node map.
        std::lock_guard<std::mutex> guard(*device_lock);
        stream = arv_device_create_stream(device->GetArvDevice(), nullptr, nullptr, &error);
    }
    if (stream == nullptr || error != nullptr) {
        if (stream != nullptr) {
            g_object_unref(stream);
        }
        return fail(error != nullptr ? platform::take_error(error)
                                     : PvResult(PvResult::GENERIC_ERROR, "the stream cannot be opened"));
    }
    PvStreamGEV* opened = new PvStreamGEV;
    opened->local_port_ = arv_gv_stream_get_port(ARV_GV_STREAM(stream));
    opened->local_ip_ = device->GetLocalIPAddress();
    PvResult attached = opened->Attach(stream, device_lock);
    if (attached.IsFailure()) {
        delete opened;  // closes
        return fail(attached);
    }
    PvGenParameterArray* parameters = opened->GetParameters();
    {
        std::lock_guard<std::mutex> guard(parameters->GetLock());
        uint32_t local = 0;
        platform::parse_ipv4(opened->local_ip_.str(), local);
        parameters->SetIntegerUnlocked(platform::stream_feature::kLocalPort, opened->local_port_);
        parameters->SetIntegerUnlocked(platform::stream_feature::kLocalIPAddress, local);
    }
    if (result != nullptr) {
        *result = PvResult::OK;
    }
    return opened;
}
