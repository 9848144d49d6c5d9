// Trigger mode, trigger source, acquisition mode and the software trigger
// with its one-deep pending state in acquistate.
#include <strings.h>

#include <cstdio>

#include "ORNC.h"
#include "base/log.h"
#include "camera/acquisition_state.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "camera/param_internal.h"
#include "platform/PvGenCommand.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenEnumEntry.h"

namespace {

const char* const kAcquisitionModeNames[] = {"Continuous", "SingleFrame"};

// Writes `value` to an optional enumeration. A device without the feature
// counts as always 0, so 0 succeeds there and anything else is undefined.
ornc_status_t ORNC_SetOptionalEnum(PvGenEnum* node, int value, const char* name) {
    if (node != nullptr) {
        const PvResult result = node->SetValue(static_cast<int64_t>(value));
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Failed to set %s %d %s", name,
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
            return ORNC_WriteFailure(result, ORNC_ERR_PARAM_WRITE_FAILED);
        }
    } else if (value != 0) {
        return ORNC_ERR_PARAM_UNDEFINED;
    }
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: %s set to %d", name, value);
    return ORNC_OK;
}

}  // namespace

extern "C" {

ornc_status_t ORNCSetTriggerMode(ornc_t* ornc, int triggermode) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (triggermode < 0 || triggermode > 1) {
        return ORNC_ERR_ILLEGAL_RANGE;
    }
    return ORNC_SetOptionalEnum(ornc->priv->lTriggerMode, triggermode, "TriggerMode");
}

ornc_status_t ORNCSetTriggerSource(ornc_t* ornc, int triggersource) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (triggersource < 0) {
        return ORNC_ERR_ILLEGAL_RANGE;
    }
    return ORNC_SetOptionalEnum(ornc->priv->lTriggerSource, triggersource, "TriggerSource");
}

// The entry is found by name, and the value written is the entry's
// position in the entry list (not its own integer): devices whose entry
// values equal their positions get the right one.
ornc_status_t ORNCSetAcquisitionMode(ornc_t* ornc, int acquimode) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    if (acquimode < 0 || acquimode > 1) {
        return ORNC_ERR_ILLEGAL_RANGE;
    }
    const char* wanted = kAcquisitionModeNames[acquimode];
    PvGenEnum* mode = ornc->priv->lAcquisitionMode;
    if (mode == nullptr) {
        if (acquimode != 0) {
            return ORNC_ERR_PARAM_UNDEFINED;
        }
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: AcquisitionMode set to %d (%s)", acquimode, wanted);
        return ORNC_OK;
    }
    int64_t count = 0;
    PvResult result = mode->GetEntriesCount(count);
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Failed to get AcquisitionMode entry count %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
        return ORNC_ERR_INTERNAL;
    }
    for (int64_t i = 0; i < count; ++i) {
        const PvGenEnumEntry* entry = nullptr;
        result = mode->GetEntryByIndex(i, &entry);
        if (result.IsFailure() || entry == nullptr) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Failed to get existing AcquisitionMode entry %d %s",
                     static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
            return ORNC_ERR_INTERNAL;
        }
        PvString name;
        entry->GetName(name);
        if (strcasecmp(name.GetAscii(), wanted) != 0) {
            continue;
        }
        result = mode->SetValue(i);
        if (result.IsFailure()) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Failed to set AcquisitionMode %d (%s) %d %s",
                     static_cast<int>(i), wanted, static_cast<int>(result.GetCode()),
                     result.GetDescription().GetAscii());
            return ORNC_WriteFailure(result, ORNC_ERR_PARAM_WRITE_FAILED);
        }
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM, "ORNC: AcquisitionMode set to %d (%s)", acquimode, wanted);
        return ORNC_OK;
    }
    ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_PARAM, "ORNC: Failed to identify AcquisitionMode entry %s %d %s", wanted,
             static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
    return ORNC_ERR_PARAM_INVALID_VALUE;
}

// The command goes to the device before the state is examined, so the
// device is triggered even when the library refuses: the status only says
// what the library thinks of it.
ornc_status_t ORNCTriggerSoftware(ornc_t* ornc) {
    ORNCReading reading(ornc);
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    ornc_priv_t* priv = ornc->priv;
    if (priv->lTriggerSoftware == nullptr) {
        return ORNC_ERR_PARAM_UNDEFINED;
    }
    const PvResult result = priv->lTriggerSoftware->Execute();
    if (result.IsFailure()) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: TriggerSoftware execute failed %d %s",
                 static_cast<int>(result.GetCode()), result.GetDescription().GetAscii());
        return ORNC_WriteFailure(result, ORNC_ERR_COMMAND_FAILED);
    }
    const ornc_acqui_state_t state = ornc_state::Load(&priv->acquistate);
    if (state.mode == ORNC_ACQUI_MODE_IDLE) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: TriggerSoftware not started");
        return ORNC_ERR_ACQUI_NOT_STARTED;
    }
    if (state.triggered != 0) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: TriggerSoftware busy");
        return ORNC_ERR_ACQUI_BUSY;
    }
    if (state.trig != 0) {
        ornc_state::SetTriggered(&priv->acquistate);
        return ORNC_OK;
    }
    ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_DATATRANSFER, "ORNC: TriggerSoftware wrong mode");
    return ORNC_ERR_ACQUI_WRONG_MODE;
}

}  // extern "C"
