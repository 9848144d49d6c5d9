// Private state behind ornc_system_t, and the library's shared system
// handle used by every selection call made without a system.
#pragma once

#include "ORNC.h"

class PvSystem;

// Allocated with calloc by ORNCSysInit (so find_devices_available starts
// false), released by ORNCSysDestroy. Owns `system`.
struct ornc_system_priv_ {
    PvSystem* system;
    orn_bool_t find_devices_available;
};

// Re-initialises the shared system handle and returns it. Device handles
// from its earlier uses stay valid: the previous state is kept until
// ORNC_ReleaseTmpSys.
ornc_system_t* ORNC_RenewTmpSys();
// Destroys the shared system handle and every state it held before.
// Called by ORNCDestroy.
void ORNC_ReleaseTmpSys();
