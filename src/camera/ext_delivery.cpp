// Delivery pacing of a handle's acquisition worker: the period at which
// passes start (the base pacing instead sleeps its 10 ms after each pass)
// and how many filled buffers one pass takes. Both live in the handle,
// zero meaning the base pacing, so a setting made before ORNCStart reaches
// the worker it creates (ORNC_ApplyDeliveryPacing).
#include "ORNCExt.h"
#include "base/log.h"
#include "base/worker_thread.h"
#include "camera/acquisition_internal.h"
#include "camera/acquisition_state.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"

namespace {

constexpr int kMinPeriodMs = 1;
constexpr int kMaxPeriodMs = 1000;
constexpr int kMinBuffers = 1;
constexpr int kMaxBuffers = 64;

int SetOrDefault(orn_int32_t* field, int base) {
    const int value = ornc_state::LoadField(field);
    return value != 0 ? value : base;
}

}  // namespace

int ORNC_DeliveryPeriodMs(ornc_priv_t* priv) { return SetOrDefault(&priv->delivery_period_ms, kORNCDeliveryPeriodMs); }

int ORNC_DeliveryBuffersPerPass(ornc_priv_t* priv) {
    return SetOrDefault(&priv->delivery_buffers_per_pass, kORNCDeliveryBuffersPerPass);
}

void ORNC_ApplyDeliveryPacing(ornc_priv_t* priv) {
    ORN_ThreadSetDelay(&priv->acquisition_thread, ORNC_DeliveryPeriodMs(priv), ORNC_DeliveryPaced(priv));
}

bool ORNC_DeliveryPaced(ornc_priv_t* priv) { return ornc_state::LoadField(&priv->delivery_period_ms) != 0; }

extern "C" {

ornc_status_t ORNCSetDeliveryPacing(const ornc_t* ornc, int period_ms, int max_buffers_per_pass) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (period_ms < kMinPeriodMs || period_ms > kMaxPeriodMs || max_buffers_per_pass < kMinBuffers ||
        max_buffers_per_pass > kMaxBuffers) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: Delivery pacing %d ms, %d buffers out of range",
                 period_ms, max_buffers_per_pass);
        return ORNC_ERR_OUT_OF_RANGE;
    }
    ornc_priv_t* priv = ornc->priv;
    // The base values bring back the base pacing itself.
    const bool base = period_ms == kORNCDeliveryPeriodMs && max_buffers_per_pass == kORNCDeliveryBuffersPerPass;
    ornc_state::StoreField(&priv->delivery_period_ms, static_cast<orn_int32_t>(base ? 0 : period_ms));
    ornc_state::StoreField(&priv->delivery_buffers_per_pass, static_cast<orn_int32_t>(base ? 0 : max_buffers_per_pass));
    ORNC_ApplyDeliveryPacing(priv);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, "ORNC: Delivery pacing %d ms, up to %d buffers per pass",
             period_ms, max_buffers_per_pass);
    return ORNC_OK;
}

}  // extern "C"
