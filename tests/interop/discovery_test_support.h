// Helpers shared by the discovery tests: environment and working-directory
// scopes, a log capture, and text getters that return std::string.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "ORNC.h"

namespace orntest {

// Polls `done` until it holds or `timeout` has passed; true when it held.
bool wait_until(const std::function<bool()>& done, std::chrono::milliseconds timeout);

// Sets (or, with nullptr, unsets) an environment variable for one scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    bool had_value_ = false;
    std::string old_value_;
};

// Creates a fresh directory, makes it the working directory, and removes
// it again (with the files the test wrote) when the scope ends.
class TempWorkDir {
public:
    TempWorkDir();
    ~TempWorkDir();
    TempWorkDir(const TempWorkDir&) = delete;
    TempWorkDir& operator=(const TempWorkDir&) = delete;

    // Writes "genicam_devices.ini" with exactly these bytes.
    void write_model_file(const std::string& content) const;
    void remove_model_file() const;
    const std::string& path() const { return path_; }

private:
    std::string path_;
    std::string previous_;
};

// Collects every line the library logs (all levels, all categories) while
// it lives. One at a time per process.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> lines() const;
    int count_containing(const std::string& text) const;
    void clear();
};

// A system handle that is destroyed at the end of the scope.
struct SystemScope {
    ornc_system_t sys{nullptr};
    SystemScope() { ORNCSysInit(&sys); }
    ~SystemScope() { ORNCSysDestroy(&sys); }
    SystemScope(const SystemScope&) = delete;
    SystemScope& operator=(const SystemScope&) = delete;
};

using DeviceTextGetter = int (*)(const ornc_device_t*, char*, int);
using InterfaceTextGetter = int (*)(const ornc_interface_t*, char*, int);
std::string text_of(DeviceTextGetter getter, const ornc_device_t* device);
std::string text_of(InterfaceTextGetter getter, const ornc_interface_t* interf);
std::string device_ip(const ornc_device_t* device);
std::string device_serial(const ornc_device_t* device);

// The adapter handle named `name` ("lo"), or nullptr.
const ornc_interface_t* interface_named(const ornc_system_t* sys, const std::string& name);

}  // namespace orntest
