// What the tool tells about the device DEVICE chose: the other devices a
// pattern matched too, and why a device may be missing.
#pragma once

#include <string>

#include "ORNC.h"

namespace ornctool {

class Discovery;

// When `key` is a pattern (or "", the first device) that also matches
// other devices than `chosen`, says on stderr which one was taken and
// which others matched.
void note_other_matches(const char* command, const Discovery& discovery, const std::string& key,
                        const ornc_device_t* chosen);

// Appended to "no supported device matches": devices of other models are
// not offered at all.
const char* hidden_device_hint();

}  // namespace ornctool
