#include "platform/PvDevice.h"

#include <arv.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include "platform/PvDeviceGEV.h"
#include "platform/PvDeviceInfoGEV.h"
#include "platform/aravis_result.h"
#include "platform/close_on_end.h"
#include "platform/local_address.h"
#include "platform/own_node_maps.h"
#include "wire/address_text.h"
#include "wire/gvcp_layout.h"
#include "wire/zip_writer.h"

namespace {

constexpr const char* kPayloadSizeFeature = "PayloadSize";
// Locks the features that shape the stream while it runs (optional).
constexpr const char* kTransportLockFeature = "TLParamsLocked";
constexpr const char* kZipSuffix = ".zip";
constexpr const char* kXmlSuffix = ".xml";

bool ends_with(const std::string& text, const char* suffix) {
    const size_t length = std::strlen(suffix);
    return text.size() >= length && strcasecmp(text.c_str() + text.size() - length, suffix) == 0;
}

// Name of the XML file inside a ".zip" dump: the archive's own name
// without directory and ".zip", made to end in ".xml".
std::string zip_entry_name(const std::string& file_name) {
    std::string base = file_name.substr(file_name.find_last_of('/') + 1);
    base.resize(base.size() - std::strlen(kZipSuffix));
    if (!ends_with(base, kXmlSuffix)) {
        base += kXmlSuffix;
    }
    return base;
}

// How many PvDevice::ReleaseHere calls are under way on this thread.
thread_local int release_here_depth = 0;

}  // namespace

void PvDevice::ReleaseHere(const std::function<void()>& release) {
    ++release_here_depth;
    release();
    --release_here_depth;
}

// Our reference on the ArvDevice, and how it is given up.
//
// The last release finalizes the device, and finalizing joins Aravis's
// heartbeat thread. Aravis emits control-lost on that very thread, and
// GLib holds a reference on the device for the whole emission: a
// disconnect made while an emission is under way (from inside the
// link-loss notification, or racing it) would leave the emission's
// release as the last one, and the heartbeat thread would join itself,
// which GLib aborts on.
//
// So the reference is a toggle reference, and GLib says when every other
// one is gone. Disconnect marks it released and gives it up at once when
// it is the only one left: the usual case, control is free when
// Disconnect returns. Otherwise the toggle notification gives it up once
// the others are gone: on the spot inside ReleaseHere (closing a
// stream that outlived the connection), on a short-lived thread anywhere
// else (the end of an emission on the heartbeat thread, whose join then
// works). The claim makes exactly one of the two do it. Disconnect and
// the close of a stream on the same device must not run at once (GLib
// notifies after dropping the count, so a concurrent last release could
// free the device under the notification).
class PvDevice::Hold {
public:
    // Turns the caller's reference on `device` into ours.
    static Hold* Take(ArvDevice* device) {
        Hold* hold = new Hold(device);
        g_object_add_toggle_ref(G_OBJECT(device), &Hold::OnToggle, hold);
        g_object_unref(device);
        return hold;
    }

    // Gives the reference up now or when the others are gone; the hold
    // deletes itself then.
    void Release() {
        released_ = true;
        if (g_atomic_int_get(reinterpret_cast<gint*>(&G_OBJECT(device_)->ref_count)) == 1) {
            Claim();
        }
    }

private:
    explicit Hold(ArvDevice* device) : device_(device) {}

    static void OnToggle(gpointer data, GObject*, gboolean is_last_ref) {
        Hold* hold = static_cast<Hold*>(data);
        if (!is_last_ref || !hold->released_) {
            return;
        }
        if (release_here_depth > 0) {
            hold->Claim();
            return;
        }
        if (hold->claimed_.exchange(true)) {
            return;
        }
        try {
            std::thread([hold] { hold->Drop(); }).detach();
        } catch (const std::system_error&) {
            // Without a thread the device stays until the process ends:
            // finalizing it here could be a self-join.
        }
    }

    void Claim() {
        if (!claimed_.exchange(true)) {
            Drop();
        }
    }

    void Drop() {
        g_object_remove_toggle_ref(G_OBJECT(device_), &Hold::OnToggle, this);
        delete this;
    }

    ArvDevice* device_;
    std::atomic<bool> released_{false};
    std::atomic<bool> claimed_{false};
};

// Keeps the communication node map current: the heartbeat time-out lives
// in the device and is read at connect and written through.
class PvDevice::CommunicationHooks : public PvGenParameterArray::ValueHooks {
public:
    explicit CommunicationHooks(ArvDevice* device) : device_(device) {}

    void BeforeRead(PvGenParameterArray&, PvGenParameter&) override {}

    PvResult AfterWrite(PvGenParameterArray& array, PvGenParameter& parameter) override {
        if (parameter.GetName() != platform::communication_feature::kHeartbeatTimeout) {
            return PvResult::OK;
        }
        GError* error = nullptr;
        const int64_t value = arv_gc_integer_get_value(
            ARV_GC_INTEGER(arv_gc_get_node(array.GetGenicam(), platform::communication_feature::kHeartbeatTimeout)),
            &error);
        if (error == nullptr) {
            arv_device_write_register(device_, gvcp::REG_HEARTBEAT_TIMEOUT, static_cast<guint32>(value), &error);
        }
        return platform::take_error(error);
    }

private:
    ArvDevice* device_;
};

PvDevice* PvDevice::CreateAndConnect(const PvDeviceInfo* device_info, PvResult* result) {
    const PvDeviceInfoGEV* gev = PvDeviceInfoGEV::From(device_info, result);
    if (gev == nullptr) {
        return nullptr;
    }
    return PvDeviceGEV::Connect(gev->GetLocalIPAddress(), gev->GetIPAddress(), result);
}

PvDevice* PvDevice::CreateAndConnectMonitor(const PvDeviceInfo* device_info, PvResult* result) {
    const PvDeviceInfoGEV* gev = PvDeviceInfoGEV::From(device_info, result);
    if (gev == nullptr) {
        return nullptr;
    }
    return PvDeviceGEV::Connect(gev->GetLocalIPAddress(), gev->GetIPAddress(), result, PvDeviceGEV::Role::Monitor);
}

PvDevice* PvDevice::CreateAndConnect(const PvString& ip, PvResult* result) {
    uint32_t device_address = 0;
    uint32_t local = 0;
    if (!wire::parse_ipv4(ip.str(), &device_address)) {
        if (result != nullptr) {
            *result = PvResult(PvResult::INVALID_PARAMETER, "not an IPv4 address: \"" + ip.str() + "\"");
        }
        return nullptr;
    }
    if (!platform::local_address_for(device_address, local)) {
        if (result != nullptr) {
            *result = PvResult(PvResult::NETWORK_ERROR, "no route to " + ip.str());
        }
        return nullptr;
    }
    return PvDeviceGEV::Connect(wire::format_ipv4(local), ip, result);
}

void PvDevice::Free(PvDevice* device) {
    platform::close_and_delete(device, &PvDevice::IsConnected, &PvDevice::Disconnect);
}

PvDevice::PvDevice() = default;

PvDevice::~PvDevice() { platform::close_if_open(this, &PvDevice::IsConnected, &PvDevice::Disconnect); }

PvResult PvDevice::Attach(ArvDevice* device) {
    device_ = device;
    hold_ = Hold::Take(device);
    // Writes to read-only nodes must fail instead of reaching the device.
    arv_device_set_access_check_policy(device_, ARV_ACCESS_CHECK_POLICY_ENABLE);

    PvResult result;
    parameters_ = PvGenParameterArray::Create(arv_device_get_genicam(device_), &result);
    if (parameters_ == nullptr) {
        return result;
    }
    communication_hooks_.reset(new CommunicationHooks(device_));
    communication_ = platform::create_communication_node_map(communication_hooks_.get(), &result);
    if (communication_ == nullptr) {
        return result;
    }

    guint32 heartbeat_timeout = 0;
    GError* error = nullptr;
    if (arv_device_read_register(device_, gvcp::REG_HEARTBEAT_TIMEOUT, &heartbeat_timeout, &error)) {
        communication_->SetIntegerUnlocked(platform::communication_feature::kHeartbeatTimeout, heartbeat_timeout);
    }
    g_clear_error(&error);
    return PvResult::OK;
}

PvResult PvDevice::Disconnect() {
    if (device_ == nullptr) {
        return PvResult(PvResult::NOT_CONNECTED, "the device is not connected");
    }
    // Notifications end first: no sink hears of a device being taken apart.
    StopEvents();
    BeforeDisconnect();
    if (communication_ != nullptr) {
        communication_->SetValueHooks(nullptr);
    }
    communication_.reset();
    communication_hooks_.reset();
    parameters_.reset();
    // Releases control and stops the heartbeat, unless an open stream or
    // a control-lost emission still holds the device (see Hold).
    hold_->Release();
    hold_ = nullptr;
    device_ = nullptr;
    return PvResult::OK;
}

uint32_t PvDevice::GetPayloadSize() {
    if (parameters_ == nullptr) {
        return 0;
    }
    std::lock_guard<std::mutex> guard(parameters_->GetLock());
    ArvGcNode* node = arv_gc_get_node(parameters_->GetGenicam(), kPayloadSizeFeature);
    if (node == nullptr || !ARV_IS_GC_INTEGER(node)) {
        return 0;
    }
    GError* error = nullptr;
    const int64_t size = arv_gc_integer_get_value(ARV_GC_INTEGER(node), &error);
    if (error != nullptr || size < 0 || size > static_cast<int64_t>(UINT32_MAX)) {
        g_clear_error(&error);
        return 0;
    }
    return static_cast<uint32_t>(size);
}

PvResult PvDevice::DumpGenICamXML(const PvString& file_name) {
    if (device_ == nullptr) {
        return PvResult(PvResult::NOT_CONNECTED, "the device is not connected");
    }
    if (file_name.GetLength() == 0) {
        return PvResult(PvResult::INVALID_PARAMETER, "no file name");
    }
    size_t size = 0;
    const char* xml = arv_device_get_genicam_xml(device_, &size);
    if (xml == nullptr || size == 0) {
        return PvResult(PvResult::NOT_FOUND, "the device gave no description file");
    }
    std::string content(xml, size);
    // Aravis may count the terminator; the file holds the text only.
    while (!content.empty() && content.back() == '\0') {
        content.pop_back();
    }
    const std::string& name = file_name.str();
    std::string bytes = ends_with(name, kZipSuffix) ? wire::zip_single_file(zip_entry_name(name), content) : content;
    if (bytes.empty()) {
        return PvResult(PvResult::GENERIC_ERROR, "the description cannot be archived");
    }
    FILE* file = std::fopen(name.c_str(), "wb");
    if (file == nullptr) {
        return PvResult(PvResult::GENERIC_ERROR, name + ": " + std::strerror(errno));
    }
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const int saved_errno = errno;
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) {
        return PvResult(PvResult::GENERIC_ERROR, name + ": " + std::strerror(written ? errno : saved_errno));
    }
    return PvResult::OK;
}

PvResult PvDevice::SetTransportLock(bool locked) {
    std::lock_guard<std::mutex> guard(parameters_->GetLock());
    ArvGcNode* node = arv_gc_get_node(parameters_->GetGenicam(), kTransportLockFeature);
    if (node == nullptr || !ARV_IS_GC_INTEGER(node)) {
        return PvResult::OK;  // the device has no such lock
    }
    GError* error = nullptr;
    arv_gc_integer_set_value(ARV_GC_INTEGER(node), locked ? 1 : 0, &error);
    return platform::take_error(error);
}

PvResult PvDevice::CheckStreamChannel(uint32_t channel) {
    if (device_ == nullptr) {
        return PvResult(PvResult::NOT_CONNECTED, "the device is not connected");
    }
    guint32 channels = 0;
    GError* error = nullptr;
    if (!arv_device_read_register(device_, gvcp::REG_NUMBER_OF_STREAM_CHANNELS, &channels, &error)) {
        return platform::take_error(error);
    }
    if (channel >= channels) {
        return PvResult(PvResult::INVALID_PARAMETER, "the device has " + std::to_string(channels) + " stream channels");
    }
    return PvResult::OK;
}

PvResult PvDevice::StreamEnable(uint32_t channel) {
    PvResult checked = CheckStreamChannel(channel);
    if (checked.IsFailure()) {
        return checked;
    }
    // Multipart frames travel only with 64-bit block ids (Aravis reads
    // them in no other form), so enabling multipart on a channel brings
    // the extended ids with it.
    guint32 configuration = 0;
    GError* error = nullptr;
    if (!arv_device_read_register(device_, gvcp::stream_channel_register(gvcp::REG_SCCFG0, channel), &configuration,
                                  &error)) {
        return platform::take_error(error);
    }
    if ((configuration & gvcp::SCCFG_MULTIPART) != 0) {
        guint32 gvsp = 0;
        if (!arv_device_read_register(device_, gvcp::REG_GVSP_CONFIGURATION, &gvsp, &error)) {
            return platform::take_error(error);
        }
        if ((gvsp & gvcp::GVSP_CONFIG_64BIT_BLOCK_ID) == 0 &&
            !arv_device_write_register(device_, gvcp::REG_GVSP_CONFIGURATION, gvsp | gvcp::GVSP_CONFIG_64BIT_BLOCK_ID,
                                       &error)) {
            return platform::take_error(error);
        }
    }
    return SetTransportLock(true);
}

PvResult PvDevice::StreamDisable(uint32_t channel) {
    PvResult checked = CheckStreamChannel(channel);
    if (checked.IsFailure()) {
        return checked;
    }
    return SetTransportLock(false);
}
