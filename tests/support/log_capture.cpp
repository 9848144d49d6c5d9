#include "log_capture.h"

#include <mutex>

#include "ORNC.h"

namespace orntest {

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

}  // namespace orntest
