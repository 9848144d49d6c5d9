#include "platform/gvcp/control_privilege.h"

#include "platform/gvcp/command_transaction.h"
#include "platform/gvcp/request_id.h"
#include "wire/gvcp_layout.h"

namespace gvcp {

PrivilegeResult read_control_privilege(uint32_t device_address) {
    PrivilegeResult result;
    wire::UdpSocket socket;
    if (!socket.open(0, 0, &result.detail)) {
        result.outcome = PrivilegeOutcome::kInvalid;
        return result;
    }
    socket.enable_error_queue();
    uint8_t address[4] = {};
    wire::store_be32(address, REG_CCP);
    const std::vector<uint8_t> command = build_command(kFlagAckRequired, READREG_CMD, next_request_id(),
                                                       std::vector<uint8_t>(address, address + sizeof address));
    TransactionRoute route;
    route.socket = &socket;
    route.targets.push_back(device_address);
    const TransactionResult transaction =
        run_transaction({route}, command, READREG_ACK, 4, kPrivilegeTimeoutMs, kPrivilegeAttempts);
    result.detail = transaction.detail;
    switch (transaction.outcome) {
        case TransactionOutcome::kAcknowledged:
            result.outcome = PrivilegeOutcome::kRead;
            result.ccp = wire::load_be32(transaction.payload.data());
            break;
        case TransactionOutcome::kDeviceError:
            result.outcome =
                transaction.status == STATUS_ACCESS_DENIED ? PrivilegeOutcome::kDenied : PrivilegeOutcome::kInvalid;
            break;
        case TransactionOutcome::kInvalidAnswer:
        case TransactionOutcome::kSendFailed:
            result.outcome = PrivilegeOutcome::kInvalid;
            break;
        case TransactionOutcome::kTimeout:
        case TransactionOutcome::kUnreachable:
            result.outcome = PrivilegeOutcome::kNoAnswer;
            break;
    }
    return result;
}

}  // namespace gvcp
