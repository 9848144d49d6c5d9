#include "platform/gvcp/request_id.h"

#include <atomic>

namespace gvcp {

uint16_t next_request_id() {
    static std::atomic<uint32_t> counter{0};
    for (;;) {
        const uint16_t id = static_cast<uint16_t>(counter.fetch_add(1, std::memory_order_relaxed) + 1);
        if (id != 0) {
            return id;
        }
    }
}

}  // namespace gvcp
