// Reads a device's control channel privilege register (CCP) with a plain
// READREG: reading needs no control, so the query never disturbs the
// application that holds the device.
#pragma once

#include <cstdint>
#include <string>

namespace gvcp {

enum class PrivilegeOutcome {
    kRead,    // `ccp` holds the register value
    kDenied,  // the device refused the read: someone holds it exclusively
    kNoAnswer,
    kInvalid,  // an answer that does not fit the request
};

struct PrivilegeResult {
    PrivilegeOutcome outcome = PrivilegeOutcome::kNoAnswer;
    uint32_t ccp = 0;
    std::string detail;
};

constexpr int kPrivilegeTimeoutMs = 300;
constexpr int kPrivilegeAttempts = 3;

// `device_address` in host byte order.
PrivilegeResult read_control_privilege(uint32_t device_address);

}  // namespace gvcp
