// What the hostile-peer suites share: a connect that must end in bounded
// time whatever the device says, and the proof that a device still works.
#pragma once

#include <gtest/gtest.h>

#include "ORNC.h"
#include "handles.h"
#include "log_capture.h"
#include "wait.h"

namespace hostile {

// Connects to `device`: the call returns within `bound_s`; connected, every
// parameter read answers with a status; refused, the log says so. Returns
// the connect's status; the handle is disconnected and destroyed.
inline ornc_status_t connect_within(const ornc_device_t* device, double bound_s) {
    orntest::LogCapture log;
    orntest::Handle handle;
    orntest::Stopwatch watch;
    const ornc_status_t status = ORNCConnectByDevice(handle.get(), device);
    EXPECT_LT(watch.seconds(), bound_s);
    char text[64];
    for (int i = 0; status == ORNC_OK && i < ORNCGetDeviceParamsCount(handle.get()); ++i)
        EXPECT_LE(ORNCParamGetValue(ORNCParamsGetParam(ORNCGetDeviceParams(handle.get()), i), text, sizeof text), 0);
    EXPECT_TRUE(status == ORNC_OK || log.count_containing("ERROR: ORNC: Unable to connect to device") >= 1)
        << "a refused connect is not logged";
    const ornc_status_t disconnected = ORNCDisconnect(handle.get());
    EXPECT_TRUE(status == ORNC_OK ? disconnected == ORNC_OK : disconnected <= 0) << disconnected;
    return status;
}

// Connects to `device`, writes `width` into Width and reads it back, and
// disconnects.
inline void expect_device_works(const ornc_device_t* device, int width) {
    orntest::Handle handle;
    ASSERT_EQ(ORNCConnectByDevice(handle.get(), device), ORNC_OK);
    ornc_param_t* param = handle.param("Width");
    EXPECT_EQ(ORNCParamSetIntegerValue(param, width), ORNC_OK);
    int value = 0;
    EXPECT_EQ(ORNCParamGetIntegerValue(param, &value), ORNC_OK);
    EXPECT_EQ(value, width);
    EXPECT_EQ(ORNCDisconnect(handle.get()), ORNC_OK);
}

}  // namespace hostile
