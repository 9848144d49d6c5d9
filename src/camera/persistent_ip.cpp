// The IP configuration a connected device uses at power-up, written
// through its own parameters.
#include "ORNC.h"
#include "base/log.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "camera/param_internal.h"
#include "platform/PvGenBoolean.h"
#include "platform/PvGenInteger.h"

namespace {

// The address texts go to the device in GenICam's own text form of an
// IPv4 integer (dotted decimal).
PvResult ORNC_WriteAddress(PvGenInteger* node, const char* text) {
    return text != nullptr ? node->FromString(PvString(text)) : PvResult(PvResult::INVALID_PARAMETER);
}

}  // namespace

extern "C" {

ornc_status_t ORNCIPMakePersistent(const ornc_t* ornc, const char* ip, const char* mask, const char* gateway,
                                   orn_bool_t use_persistent) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_DEVICE_NOT_CONNECTED;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Making IP persistent");

    // Every node is checked before the first write, so a device missing one
    // is left untouched.
    const ornc_parameters_t* params = ORNCGetDeviceParams(ornc);
    PvGenInteger* address = ORNC_ParamAs<PvGenInteger>(ORNCParamsGetParamByName(params, "GevPersistentIPAddress"));
    PvGenInteger* subnet = ORNC_ParamAs<PvGenInteger>(ORNCParamsGetParamByName(params, "GevPersistentSubnetMask"));
    PvGenInteger* router = ORNC_ParamAs<PvGenInteger>(ORNCParamsGetParamByName(params, "GevPersistentDefaultGateway"));
    PvGenBoolean* persistent =
        ORNC_ParamAs<PvGenBoolean>(ORNCParamsGetParamByName(params, "GevCurrentIPConfigurationPersistentIP"));
    if (address == nullptr || subnet == nullptr || router == nullptr || persistent == nullptr) {
        return ORNC_ERR_INTERNAL;
    }

    // A failed write keeps the ones before it.
    PvResult written = ORNC_WriteAddress(address, ip);
    if (written.IsOK()) written = ORNC_WriteAddress(subnet, mask);
    if (written.IsOK()) written = ORNC_WriteAddress(router, gateway);
    if (written.IsFailure()) {
        return ORNC_WriteFailure(written, ORNC_ERR_PARAM_WRITE_FAILED);
    }
    // The outcome of the switch is not examined: the addresses are stored,
    // which is what the call reports.
    persistent->SetValue(use_persistent != 0);

    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Made IP persistent");
    return ORNC_OK;
}

}  // extern "C"
