// Library-internal control of the periodic worker (ORNThread* in
// ORNBase.h) beyond what the public functions offer.
#pragma once

#include "ORNBase.h"

// Sets the sleep after each call of the worker's function, in ms, used
// from the next sleep on, also while the worker runs: `delay` itself, or
// with `is_period` what is left of it once the call returned (none when
// the call took longer), so that a call starts every `delay` ms. Nothing
// for a worker never initialised.
void ORN_ThreadSetDelay(orn_thread_t* thread, int delay, bool is_period);

// After ORNThreadStop: waits up to `timeout_ms` for the worker's loop to
// end (polling every 10 ms). True once it has ended (or never ran). Lets
// an owner give a worker that a loaded machine schedules late more time
// than ORNThreadDestroy's 100 ms before that signals the process.
bool ORN_ThreadAwaitEnd(orn_thread_t* thread, int timeout_ms);
