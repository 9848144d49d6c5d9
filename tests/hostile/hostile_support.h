// Helpers of the hostile-peer suites: this suite's loopback block, counts of
// the process's threads and open descriptors, a bounded stopwatch, and the
// proof that a device works.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "ORNC.h"
#include "process_probes.h"

namespace hostile {

// 127.0.70.<host>: the hostile suites' own block (lock ornc_loopback_70).
inline std::string address(int host) { return "127.0.70." + std::to_string(host); }

using orntest::descriptor_count;
using orntest::thread_count;

class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Connects to `device`, writes `width` into Width and reads it back, and
// disconnects.
inline void expect_device_works(const ornc_device_t* device, int width) {
    ornc_t ornc{nullptr};
    ASSERT_EQ(ORNCInit(&ornc), ORNC_OK);
    ASSERT_EQ(ORNCConnectByDevice(&ornc, device), ORNC_OK);
    ornc_param_t* param = ORNCParamsGetParamByName(ORNCGetDeviceParams(&ornc), "Width");
    EXPECT_EQ(ORNCParamSetIntegerValue(param, width), ORNC_OK);
    int value = 0;
    EXPECT_EQ(ORNCParamGetIntegerValue(param, &value), ORNC_OK);
    EXPECT_EQ(value, width);
    EXPECT_EQ(ORNCDisconnect(&ornc), ORNC_OK);
    ORNCDestroy(&ornc);
}

}  // namespace hostile
