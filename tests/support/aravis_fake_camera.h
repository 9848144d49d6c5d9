// A fixture around Aravis's fake GigE Vision camera (a device no one here
// wrote), run in a network namespace of the test's own because it binds
// 127.0.0.1. Skips without the program or without root.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include "environment.h"
#include "handles.h"
#include "temp_dir.h"

namespace orntest {

class AravisFakeCamera : public ::testing::Test {
protected:
    static constexpr const char* kSerial = "FAKE0042";
    static constexpr const char* kAddress = "127.0.0.1";

    // Starts the camera, admits its model and discovers it into device_.
    void SetUp() override;
    void TearDown() override;

    ScopedEnv interfaces_{"ORNC_INTERFACES", "lo"};
    ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", kAddress};
    TempWorkDir workdir_;
    SystemScope system_;
    pid_t camera_ = -1;
    const ornc_device_t* device_ = nullptr;
};

}  // namespace orntest
