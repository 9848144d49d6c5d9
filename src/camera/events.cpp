// Callbacks into the application: where they are stored, the device event
// sink that carries link loss and device events to them, event data
// lists, and per-parameter change callbacks.
#include <cstdio>

#include "ORNC.h"
#include "base/log.h"
#include "camera/acquisition_internal.h"
#include "camera/acquisition_state.h"
#include "camera/event_sinks.h"
#include "camera/ornc_priv.h"
#include "camera/param_internal.h"
#include "platform/PvDevice.h"
#include "platform/PvGenParameter.h"
#include "platform/PvGenParameterList.h"

namespace {

// Stores a callback and its data in the handle and, for the callbacks the
// device event sink makes (`sink_callback`, `sink_data`), in the sink when
// the handle has one. The setters have no status to report; on a handle
// that was never initialised they do nothing rather than crash.
template <typename Callback>
void ORNC_StoreCallback(const ornc_t* ornc, Callback ornc_priv_t::*callback_field, void* ornc_priv_t::*data_field,
                        Callback callback, void* userdata, Callback ORNCDeviceEventSink::*sink_callback = nullptr,
                        void* ORNCDeviceEventSink::*sink_data = nullptr) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return;
    }
    ornc_priv_t* priv = ornc->priv;
    ornc_state::StoreField(&(priv->*callback_field), callback);
    ornc_state::StoreField(&(priv->*data_field), userdata);
    if (sink_callback != nullptr && priv->lEventSink != nullptr) {
        ornc_state::StoreField(&(priv->lEventSink->*sink_callback), callback);
        ornc_state::StoreField(&(priv->lEventSink->*sink_data), userdata);
    }
}

}  // namespace

void ORNC_AttachEventSink(ornc_priv_t* priv) {
    if (priv->lEventSink == nullptr) {
        ORNCDeviceEventSink* sink = ORNCDeviceEventSink::Create();
        if (sink == nullptr) {
            return;
        }
        priv->lEventSink = sink;
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: EventSink newly allocated");
        ornc_state::StoreField(&sink->m_disconnect_callback, ornc_state::LoadField(&priv->disconnect_callback));
        ornc_state::StoreField(&sink->m_disconnect_data, ornc_state::LoadField(&priv->disconnect_callback_data));
    } else {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: EventSink already allocated");
    }
    // Registered once, at the first start that has a device: a sink made by
    // a start before any connect would otherwise never hear of one.
    ORNCDeviceEventSink* sink = priv->lEventSink;
    if (!sink->m_registered && priv->lDevice != nullptr) {
        sink->m_registered = true;
        const PvResult result = priv->lDevice->RegisterEventSink(sink);
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: RegisterEventSink failed %d %s",
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
        }
    }
    ornc_state::StoreField(&priv->lEventSink->m_event_callback, ornc_state::LoadField(&priv->event_callback));
    ornc_state::StoreField(&priv->lEventSink->m_event_data, ornc_state::LoadField(&priv->event_callback_data));
}

void ORNC_RearmEventSink(ornc_priv_t* priv) {
    ORNC_AttachEventSink(priv);
    ORNCDeviceEventSink* sink = priv->lEventSink;
    if (sink == nullptr || priv->lDevice == nullptr) {
        return;
    }
    // A device the sink is registered with already answers INVALID_PARAMETER and keeps it.
    priv->lDevice->RegisterEventSink(sink);
    ornc_state::StoreField(&sink->m_disconnect_disable, 0);
}

void ORNC_DisableDisconnectNotification(ornc_priv_t* priv) {
    if (priv->lEventSink != nullptr) {
        ornc_state::StoreField(&priv->lEventSink->m_disconnect_disable, 1);
    }
}

extern "C" {

void ORNCSetImageCallback(const ornc_t* ornc, void (*callback)(orn_image_t*, void*), void* userdata) {
    ORNC_StoreCallback(ornc, &ornc_priv_t::image_callback, &ornc_priv_t::image_callback_data, callback, userdata);
}

void ORNCSetImageVecCallback(const ornc_t* ornc, void (*callback)(orn_image_vec_t*, void*), void* userdata) {
    ORNC_StoreCallback(ornc, &ornc_priv_t::imagevec_callback, &ornc_priv_t::imagevec_callback_data, callback, userdata);
}

void ORNCSetDisconnectCallback(const ornc_t* ornc, void (*callback)(void*), void* userdata) {
    ORNC_StoreCallback(ornc, &ornc_priv_t::disconnect_callback, &ornc_priv_t::disconnect_callback_data, callback,
                       userdata, &ORNCDeviceEventSink::m_disconnect_callback, &ORNCDeviceEventSink::m_disconnect_data);
}

void ORNCSetEventCallback(const ornc_t* ornc, void (*callback)(orn_uint64_t, ornc_param_list_t*, void*),
                          void* userdata) {
    ORNC_StoreCallback(ornc, &ornc_priv_t::event_callback, &ornc_priv_t::event_callback_data, callback, userdata,
                       &ORNCDeviceEventSink::m_event_callback, &ORNCDeviceEventSink::m_event_data);
}

int ORNCGetParameterListCount(ornc_param_list_t* list) {
    if (list == nullptr) {
        return 0;
    }
    return static_cast<int>(ORNC_ToParamList(list)->GetSize());
}

ornc_param_t* ORNCGetParameterListIndex(ornc_param_list_t* list, int idx) {
    if (list == nullptr || idx < 0) {
        return nullptr;
    }
    return ORNC_FromParam(ORNC_ToParamList(list)->GetItem(static_cast<uint32_t>(idx)));
}

ornc_status_t ORNCParamSetCallback(ornc_param_t* param, void (*param_callback)(ornc_param_t*, void*), void* userdata) {
    ORNCEventSink* sink = ORNCEventSink::Create(param_callback, userdata);
    PvGenParameter* parameter = ORNC_ToParam(param);
    const bool registered = sink != nullptr && parameter != nullptr && parameter->RegisterEventSink(sink).IsOK();
    if (!registered) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: RegisterEventSink param callback failed");
        return ORNC_ERROR;
    }
    return ORNC_OK;
}

}  // extern "C"
