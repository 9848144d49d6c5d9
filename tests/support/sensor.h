// Virtual sensors for the tests: one configuration builder, and one way to
// start a sensor, in this process (ornsim) or as an ornc-virtual-sensor
// process, and know that it answers.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "environment.h"
#include "loopback.h"
#include "ornsim/virtual_sensor.h"
#include "temp_dir.h"

namespace orntest {

// A sensor of `block` at `host` (its address and MAC name both).
// Width, height and frame rate default to the sensor's own.
ornsim::SensorConfig sensor_config(Block block, int host, const std::string& serial,
                                   uint32_t width = ornsim::SensorConfig().width,
                                   uint32_t height = ornsim::SensorConfig().height,
                                   double fps = ornsim::SensorConfig().fps);

// True when a discovery command sent to `address` is acknowledged within `timeout`.
bool answers(const std::string& address, std::chrono::milliseconds timeout);

// A sensor running in this process, stopped at scope end. `ok()` is false
// (with `error()`) when it could not start. Unless told otherwise, the
// discovery of this process asks only the sensor's address while it lives.
class SensorScope {
public:
    explicit SensorScope(ornsim::SensorConfig config, bool limit_discovery = true);
    ~SensorScope();
    SensorScope(const SensorScope&) = delete;
    SensorScope& operator=(const SensorScope&) = delete;

    bool ok() const { return ok_; }
    const std::string& error() const { return error_; }
    ornsim::VirtualSensor& sensor() { return *sensor_; }
    const ornsim::SensorConfig& config() const { return config_; }

private:
    ornsim::SensorConfig config_;
    std::unique_ptr<ornsim::VirtualSensor> sensor_;
    std::unique_ptr<ScopedEnv> hosts_;
    bool ok_ = false;
    std::string error_;
};

// A fixture whose tests start one sensor, in a working directory of their
// own (where a GenICam file of the test is written).
class SensorTest : public ::testing::Test {
protected:
    // A sensor with `config`, serving `xml` when given, else its own file;
    // fails the test when it cannot start.
    void start(const ornsim::SensorConfig& config, const std::string& xml = "");
    void start(Block block, int host, const std::string& serial, const std::string& xml = "") {
        start(sensor_config(block, host, serial), xml);
    }
    ornsim::VirtualSensor& sensor() { return sensor_->sensor(); }

    TempWorkDir workdir_;
    ornsim::SensorConfig config_;
    std::unique_ptr<SensorScope> sensor_;
};

// Sensors started for one test (discovery not limited), stopped at its end.
class SensorFleet {
public:
    // "" when the sensor runs, else why it could not start.
    std::string add(const ornsim::SensorConfig& config);
    // A sensor of `block` at `host` with `serial` and `model`.
    std::string add(Block block, int host, const std::string& serial, const std::string& model) {
        ornsim::SensorConfig config = sensor_config(block, host, serial);
        config.model = model;
        return add(config);
    }
    ornsim::VirtualSensor& operator[](size_t i) { return sensors_[i]->sensor(); }

private:
    std::vector<std::unique_ptr<SensorScope>> sensors_;
};

// ornc-virtual-sensor as a child process with `config` and the `extra`
// options (fault switches), started through `launcher` when given (see
// PeerNamespace), ended at scope end. `ok()` once it answers.
class SensorProcess {
public:
    SensorProcess(const std::string& binary, const ornsim::SensorConfig& config,
                  const std::vector<std::string>& extra = {}, const std::vector<std::string>& launcher = {});
    ~SensorProcess();
    SensorProcess(const SensorProcess&) = delete;
    SensorProcess& operator=(const SensorProcess&) = delete;

    bool ok() const { return ok_; }

private:
    pid_t pid_ = -1;
    bool ok_ = false;
};

}  // namespace orntest
