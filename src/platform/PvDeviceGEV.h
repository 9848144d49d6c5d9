// A GigE Vision device. For now only the operations that need no
// connection: the access-type query and the immediate IP configuration.
#pragma once

#include "platform/PvAccessType.h"
#include "platform/PvResult.h"
#include "platform/PvString.h"

class PvDeviceGEV {
public:
    // Reads who controls the device at `ip` (dotted decimal) without
    // taking control. TIMEOUT when nothing answers.
    static PvResult GetAccessType(const PvString& ip, PvAccessType& type);
    // FORCEIP to the device with MAC address `mac`, on every adapter that
    // discovery uses. The texts are dotted decimal / colon-separated hex.
    static PvResult SetIPConfiguration(const PvString& mac, const PvString& ip, const PvString& mask,
                                       const PvString& gateway);
};
