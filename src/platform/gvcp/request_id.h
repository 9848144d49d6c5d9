// Request ids for the commands this process sends. Never 0 (reserved by the
// protocol); shared by every command kind so that a stale ack of one
// transaction cannot be taken for the answer of another.
#pragma once

#include <cstdint>

namespace gvcp {

uint16_t next_request_id();

}  // namespace gvcp
