// Aravis reports failures as GErrors; the platform reports PvResults.
// Every GError is turned into a result here (its message becomes the
// description) and freed, so none leaks past the call that got it.
#pragma once

#include <glib.h>

#include "platform/PvResult.h"

namespace platform {

// The result for `error` (OK for null); frees `error` and nulls it.
PvResult take_error(GError*& error);

// The result code an Aravis error domain and code stand for.
PvResult::Code code_for_error(const GError* error);

}  // namespace platform
