// A real sensor that goes quiet or slow on the control channel: before the
// connect and in the middle of it (while the description file is read).
// The connect returns a status within a bound, the failure is logged, and
// the library keeps working: for the same sensor once it answers again, and
// for the next one. (Silence under a connected handle: acquisition_faults_test.)
#include <gtest/gtest.h>

#include <string>

#include "ORNC.h"
#include "environment.h"
#include "handles.h"
#include "hostile_support.h"
#include "loopback.h"
#include "ornsim/virtual_sensor.h"
#include "sensor.h"
#include "temp_dir.h"
#include "wait.h"

namespace {

// A dead peer costs Aravis about 2.5 s per transaction; nothing here may
// take much longer than a handful of them.
constexpr double kCallBoundSeconds = 30.0;

ornsim::SensorConfig sensor_config(int host) {
    return orntest::sensor_config(orntest::Block::hostile, host, "SILENT0" + std::to_string(host));
}

ornsim::FaultSwitches silent_after(double seconds, uint32_t ack_delay_ms = 0) {
    ornsim::FaultSwitches faults;
    faults.silent_after_s = seconds;
    faults.ack_delay_ms = ack_delay_ms;
    return faults;
}

class SilentSensor : public ::testing::Test {
protected:
    void SetUp() override {
        for (int host : {11, 12}) ASSERT_EQ(sensors_.add(sensor_config(host)), "");
        ASSERT_EQ(ORNCSysFindDevices(&system_.sys), ORNC_OK);
        first_ = ORNCSysGetDeviceBySerialNumber(&system_.sys, "SILENT011");
        second_ = ORNCSysGetDeviceBySerialNumber(&system_.sys, "SILENT012");
        ASSERT_NE(first_, nullptr);
        ASSERT_NE(second_, nullptr);
    }

    ornsim::VirtualSensor& first_sensor() { return sensors_[0]; }

    // Connects, writes and reads Width, disconnects: the device works.
    static void expect_works(const ornc_device_t* device) { hostile::expect_device_works(device, 256); }

    // A connect to the first sensor under `faults` fails with a status,
    // within the bound and with its log line; the faults stay on.
    void expect_refused_connect(const ornsim::FaultSwitches& faults) {
        first_sensor().set_faults(faults);
        EXPECT_EQ(hostile::connect_within(first_, kCallBoundSeconds), ORNC_ERR_DEVICE_CONNECT_FAILED);
    }

    orntest::ScopedEnv hosts_{"ORNC_LOOPBACK_HOSTS", "127.0.70.11-127.0.70.12"};
    orntest::TempWorkDir workdir_;
    orntest::SensorFleet sensors_;
    orntest::SystemScope system_;
    const ornc_device_t* first_ = nullptr;
    const ornc_device_t* second_ = nullptr;
};

TEST_F(SilentSensor, SlowAcksConnectButSilenceBeforeOrDuringTheConnectFailsItThenBothSensorsWork) {
    first_sensor().set_faults(silent_after(-1.0, 40));
    ASSERT_NO_FATAL_FAILURE(expect_works(first_));
    // Quiet from the start; then slow acks stretch the connect over a second
    // or more and the sensor goes quiet a quarter of a second in, while the
    // description file is read.
    for (const ornsim::FaultSwitches& faults : {silent_after(0.0), silent_after(0.25, 10)}) {
        SCOPED_TRACE(faults.silent_after_s);
        ASSERT_NO_FATAL_FAILURE(expect_refused_connect(faults));
        ASSERT_NO_FATAL_FAILURE(expect_works(second_));
        first_sensor().set_faults(ornsim::FaultSwitches{});
        ASSERT_NO_FATAL_FAILURE(expect_works(first_));
    }
}

}  // namespace
