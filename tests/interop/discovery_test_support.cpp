#include "discovery_test_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

namespace orntest {

bool wait_until(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_value_ = old != nullptr;
    if (had_value_) old_value_ = old;
    if (value != nullptr) {
        ::setenv(name, value, 1);
    } else {
        ::unsetenv(name);
    }
}

ScopedEnv::~ScopedEnv() {
    if (had_value_) {
        ::setenv(name_.c_str(), old_value_.c_str(), 1);
    } else {
        ::unsetenv(name_.c_str());
    }
}

TempWorkDir::TempWorkDir() {
    char current[4096];
    if (::getcwd(current, sizeof current) != nullptr) previous_ = current;
    std::string pattern = (std::filesystem::temp_directory_path() / "ornc-disc-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (::mkdtemp(buffer.data()) == nullptr || ::chdir(buffer.data()) != 0) {
        std::perror("temporary working directory");
        std::abort();
    }
    path_ = buffer.data();
}

TempWorkDir::~TempWorkDir() {
    if (!previous_.empty() && ::chdir(previous_.c_str()) != 0) {
        std::perror("chdir back");
    }
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void TempWorkDir::write_model_file(const std::string& content) const {
    FILE* file = std::fopen((path_ + "/genicam_devices.ini").c_str(), "wb");
    if (file == nullptr) {
        std::perror("genicam_devices.ini");
        std::abort();
    }
    std::fwrite(content.data(), 1, content.size(), file);
    std::fclose(file);
}

void TempWorkDir::remove_model_file() const { std::remove((path_ + "/genicam_devices.ini").c_str()); }

namespace {
std::mutex captured_mutex;
std::vector<std::string> captured;

void capture_line(const char* line) {
    std::lock_guard<std::mutex> lock(captured_mutex);
    captured.emplace_back(line != nullptr ? line : "");
}
}  // namespace

LogCapture::LogCapture() {
    clear();
    ORNLogSetExternal(capture_line);
    ORNLogSetLevel(ORN_LOGLVL_MASK_ALL);
    ORNLogSetCategory(ORN_LOGCAT_MASK_ALL);
    ORNLogStart(0);
}

LogCapture::~LogCapture() {
    ORNLogStop();
    ORNLogSetExternal(nullptr);
}

std::vector<std::string> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(captured_mutex);
    return captured;
}

int LogCapture::count_containing(const std::string& text) const {
    int count = 0;
    for (const std::string& line : lines()) {
        if (line.find(text) != std::string::npos) ++count;
    }
    return count;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(captured_mutex);
    captured.clear();
}

std::string text_of(DeviceTextGetter getter, const ornc_device_t* device) {
    char text[256] = {0};
    return getter(device, text, sizeof text) > 0 ? std::string(text) : std::string("<none>");
}

std::string text_of(InterfaceTextGetter getter, const ornc_interface_t* interf) {
    char text[256] = {0};
    return getter(interf, text, sizeof text) > 0 ? std::string(text) : std::string("<none>");
}

std::string device_ip(const ornc_device_t* device) { return text_of(ORNCDeviceGetIPAddress, device); }
std::string device_serial(const ornc_device_t* device) { return text_of(ORNCDeviceGetSerialNumber, device); }

const ornc_interface_t* interface_named(const ornc_system_t* sys, const std::string& name) {
    const int count = ORNCSysGetInterfaceCount(sys);
    for (int i = 0; i < count; ++i) {
        const ornc_interface_t* interf = ORNCSysGetInterface(sys, i);
        if (text_of(ORNCInterfaceGetDescription, interf) == name) return interf;
    }
    return nullptr;
}

}  // namespace orntest
