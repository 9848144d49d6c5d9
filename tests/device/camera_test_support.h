// Helpers of the camera API tests: a virtual sensor on a loopback address
// of this process (and a fixture that starts one), GenICam files derived
// from the sensor's own, a library handle that disconnects and is destroyed
// at the end of its scope, and text getters that return std::string.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ORNC.h"
#include "discovery_test_support.h"
#include "ornsim/virtual_sensor.h"

namespace camtest {

// 127.52.<pid % 250>.<host>: one block per test process, so that suites
// run side by side by other developers never meet.
std::string test_address(int host);

// The sensor's built-in GenICam file for `config`'s identity.
std::string builtin_xml(const ornsim::SensorConfig& config);

// The built-in file plus the category "RangeTests" (listed under Root) of
// features that live in the sensor's plain memory. See the .cpp for the
// features and their registers.
std::string range_test_xml(const ornsim::SensorConfig& config);

// Replaces every whole-name use of `from` ("Name=\"from\"", ">from<") by `to`.
std::string rename_feature(std::string xml, const std::string& from, const std::string& to);

void write_file(const std::string& path, const std::string& content);
std::string read_file(const std::string& path);

// A started virtual sensor; `ok()` is false (with `error()`) when it could
// not start. Discovery of this process is pointed at its address.
class SensorScope {
public:
    explicit SensorScope(ornsim::SensorConfig config);
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
    std::unique_ptr<orntest::ScopedEnv> hosts_;
    bool ok_ = false;
    std::string error_;
};

// A default sensor configuration at test_address(host).
ornsim::SensorConfig sensor_config(int host, const std::string& serial);

// A fixture whose tests start a sensor in a working directory of their own.
class SensorTest : public ::testing::Test {
protected:
    // A sensor at `host`, serving `xml` when given, else its own file.
    void start(int host, const std::string& serial, const std::string& xml = "");

    orntest::TempWorkDir workdir_;
    ornsim::SensorConfig config_;
    std::unique_ptr<SensorScope> sensor_;
};

// An initialised library handle; disconnected and destroyed at scope end.
struct Handle {
    ornc_t ornc{nullptr};
    Handle() { ORNCInit(&ornc); }
    ~Handle() {
        ORNCDisconnect(&ornc);
        ORNCDestroy(&ornc);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ornc_t* get() { return &ornc; }
};

std::string param_name(const ornc_param_t* param);
std::string category_name(const ornc_category_t* category);
// The text form through ORNCParamGetValue, or "<status N>" on failure.
std::string value_text(const ornc_param_t* param);
// The parameter `name` of the connected handle's device map (never null:
// a missing parameter fails the calling test with a message).
ornc_param_t* device_param(const ornc_t* ornc, const char* name);

}  // namespace camtest
