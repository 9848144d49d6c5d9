// The hooks of automatic recovery after link loss (ORNCSetAutoReconnect,
// ext_reconnect.cpp) in the connect, disconnect and destroy sequences.
#pragma once

#include "ORNC.h"

class PvDeviceInfo;

// End of a connect (also a partly failed one): the handle's write journal
// starts afresh on the new node maps, the device's serial number is kept
// for the search after a loss, and an enabled recovery watches the link.
void ORNC_RecoveryConnected(ornc_priv_t* priv, const PvDeviceInfo* info);
// Start of ORNCDisconnect: a recovery in progress is abandoned; once this
// returns the recovery no longer touches the handle.
void ORNC_RecoveryCancel(ornc_priv_t* priv);
// ORNCDestroy: the recovery ends and its state is released.
void ORNC_RecoveryRelease(ornc_priv_t* priv);
