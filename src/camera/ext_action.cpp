// Action commands: one ACTION_CMD to every device the system asks, and the
// count of the devices that acknowledged taking the action.
#include "ORNCExt.h"
#include "base/log.h"
#include "camera/system_priv.h"
#include "platform/gvcp/action_command.h"

extern "C" {

ornc_status_t ORNCSysSendActionCommand(ornc_system_t* sys, uint32_t device_key, uint32_t group_key, uint32_t group_mask,
                                       uint64_t scheduled_time, int* acknowledged) {
    if (sys == nullptr || sys->priv == nullptr || sys->priv->system == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (acknowledged == nullptr) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: action command: no place for the acknowledged count");
        return ORNC_ERROR;
    }
    *acknowledged = 0;
    gvcp::ActionRequest request;
    request.device_key = device_key;
    request.group_key = group_key;
    request.group_mask = group_mask;
    request.scheduled_time = scheduled_time;
    gvcp::ActionOutcome outcome;
    const bool sent = gvcp::send_action_command(request, gvcp::kActionAckWaitMs, &outcome);
    *acknowledged = outcome.acknowledged;
    return sent ? ORNC_OK : ORNC_ERROR;
}

}  // extern "C"
