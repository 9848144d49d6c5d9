#include "camera/event_sinks.h"

#include <mutex>
#include <new>
#include <vector>

#include "base/log.h"
#include "camera/acquisition_state.h"
#include "camera/param_internal.h"
#include "platform/PvGenParameterList.h"

namespace {

// Every sink the camera layer ever handed out. The transport may call a
// sink whenever its device or parameter lives, and the handle forgets its
// sink only with the process, so the sinks are reachable from here (never
// freed) rather than leaked.
struct SinkRegistry {
    std::mutex lock;
    std::vector<PvDeviceEventSink*> device_sinks;
    std::vector<PvGenEventSink*> parameter_sinks;
};

SinkRegistry& Registry() {
    static SinkRegistry* registry = new SinkRegistry;  // intentionally never destroyed
    return *registry;
}

}  // namespace

ORNCDeviceEventSink* ORNCDeviceEventSink::Create() {
    ORNCDeviceEventSink* sink = new (std::nothrow) ORNCDeviceEventSink;
    if (sink != nullptr) {
        SinkRegistry& registry = Registry();
        std::lock_guard<std::mutex> guard(registry.lock);
        registry.device_sinks.push_back(sink);
    }
    return sink;
}

void ORNCDeviceEventSink::OnLinkDisconnected(PvDevice* /*aDevice*/) {
    if (ornc_state::LoadField(&m_disconnect_disable) != 0) {
        return;
    }
    void (*callback)(void*) = ornc_state::LoadField(&m_disconnect_callback);
    if (callback != nullptr) {
        callback(ornc_state::LoadField(&m_disconnect_data));
    }
    void (*hook)(void*) = ornc_state::LoadField(&m_link_lost_hook);
    if (hook != nullptr) {
        hook(ornc_state::LoadField(&m_link_lost_data));
    }
}

void ORNCDeviceEventSink::OnEventGenICam(PvDevice* /*aDevice*/, uint16_t aEventID, uint16_t aChannel, uint64_t aBlockID,
                                         uint64_t aTimestamp, PvGenParameterList* aData) {
    if (aData == nullptr) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_MISC, "ORNC: Non-Genicam conformant empty event with id 0x%x",
                 static_cast<unsigned>(aEventID));
        return;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC, "ORNC: Event %x time %08x %08x channel %x blockid %x data %p",
             static_cast<unsigned>(aEventID), static_cast<unsigned>(aTimestamp >> 32),
             static_cast<unsigned>(aTimestamp & 0xFFFFFFFFu), static_cast<unsigned>(aChannel),
             static_cast<unsigned>(aBlockID & 0xFFFFFFFFu), static_cast<void*>(aData));
    void (*callback)(orn_uint64_t, ornc_param_list_t*, void*) = ornc_state::LoadField(&m_event_callback);
    if (callback != nullptr) {
        // The timestamp, not the event id, is what the application gets first.
        callback(aTimestamp, ORNC_FromParamList(aData), ornc_state::LoadField(&m_event_data));
    }
}

ORNCEventSink* ORNCEventSink::Create(void (*callback)(ornc_param_t*, void*), void* callback_data) {
    ORNCEventSink* sink = new (std::nothrow) ORNCEventSink;
    if (sink != nullptr) {
        sink->m_callback_data = callback_data;
        sink->m_callback = callback;
        SinkRegistry& registry = Registry();
        std::lock_guard<std::mutex> guard(registry.lock);
        registry.parameter_sinks.push_back(sink);
    }
    return sink;
}

void ORNCEventSink::OnParameterUpdate(PvGenParameter* aParameter) {
    if (m_callback != nullptr) {
        m_callback(ORNC_FromParam(aParameter), m_callback_data);
    }
}
