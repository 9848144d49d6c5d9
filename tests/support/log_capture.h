// Every line the library logs (all levels, all categories) while one of
// these lives. One at a time per process.
#pragma once

#include <string>
#include <vector>

namespace orntest {

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

}  // namespace orntest
