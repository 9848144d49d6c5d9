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
        if (priv->lDevice != nullptr) {
            const PvResult result = priv->lDevice->RegisterEventSink(sink);
            if (result.IsFailure()) {
                ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: RegisterEventSink failed %d %s",
                         static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
            }
        }
    } else {
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: EventSink already allocated");
    }
    ornc_state::StoreField(&priv->lEventSink->m_event_callback, ornc_state::LoadField(&priv->event_callback));
    ornc_state::StoreField(&priv->lEventSink->m_event_data, ornc_state::LoadField(&priv->event_callback_data));
}

void ORNC_DisableDisconnectNotification(ornc_priv_t* priv) {
    if (priv->lEventSink != nullptr) {
        ornc_state::StoreField(&priv->lEventSink->m_disconnect_disable, 1);
    }
}

extern "C" {

// The setters have no status to report; on a handle that was never
// initialised they do nothing rather than crash.
void ORNCSetImageCallback(const ornc_t* ornc, void (*callback)(orn_image_t*, void*), void* userdata) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return;
    }
    ornc_state::StoreField(&ornc->priv->image_callback, callback);
    ornc_state::StoreField(&ornc->priv->image_callback_data, userdata);
}

void ORNCSetImageVecCallback(const ornc_t* ornc, void (*callback)(orn_image_vec_t*, void*), void* userdata) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return;
    }
    ornc_state::StoreField(&ornc->priv->imagevec_callback, callback);
    ornc_state::StoreField(&ornc->priv->imagevec_callback_data, userdata);
}

void ORNCSetDisconnectCallback(const ornc_t* ornc, void (*callback)(void*), void* userdata) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return;
    }
    ornc_priv_t* priv = ornc->priv;
    ornc_state::StoreField(&priv->disconnect_callback, callback);
    ornc_state::StoreField(&priv->disconnect_callback_data, userdata);
    if (priv->lEventSink != nullptr) {
        ornc_state::StoreField(&priv->lEventSink->m_disconnect_callback, callback);
        ornc_state::StoreField(&priv->lEventSink->m_disconnect_data, userdata);
    }
}

void ORNCSetEventCallback(const ornc_t* ornc, void (*callback)(orn_uint64_t, ornc_param_list_t*, void*),
                          void* userdata) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return;
    }
    ornc_priv_t* priv = ornc->priv;
    ornc_state::StoreField(&priv->event_callback, callback);
    ornc_state::StoreField(&priv->event_callback_data, userdata);
    if (priv->lEventSink != nullptr) {
        ornc_state::StoreField(&priv->lEventSink->m_event_callback, callback);
        ornc_state::StoreField(&priv->lEventSink->m_event_data, userdata);
    }
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
