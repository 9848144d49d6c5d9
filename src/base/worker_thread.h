// Library-internal control of the periodic worker (ORNThread* in
// ORNBase.h) beyond what the public functions offer.
#pragma once

#include "ORNBase.h"

// Sets the sleep between two calls of the worker's function, in ms; used
// from the next sleep on, also while the worker runs. Nothing for a worker
// that was never initialised.
void ORN_ThreadSetDelay(orn_thread_t* thread, int delay);
