// The proof, shared by the hostile-peer suites, that a device still works.
#pragma once

#include <gtest/gtest.h>

#include "ORNC.h"

namespace hostile {

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
