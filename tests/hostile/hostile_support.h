// Helpers of the hostile-peer suites: this suite's loopback block, counts of
// the process's threads and open descriptors, and a bounded stopwatch.
#pragma once

#include <chrono>
#include <string>

#include "process_probes.h"

namespace hostile {

// 127.0.70.<host>: the hostile suites' own block (lock ornc_loopback_70).
inline std::string address(int host) { return "127.0.70." + std::to_string(host); }

using orntest::descriptor_count;
using orntest::thread_count;

class Stopwatch {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace hostile
