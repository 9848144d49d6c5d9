// Bounded waiting: every wait of the tests has a limit.
#pragma once

#include <chrono>
#include <functional>

namespace orntest {

// Polls `done` until it holds or `timeout` has passed; true when it held.
bool wait_until(const std::function<bool()>& done, std::chrono::milliseconds timeout);

// Seconds since construction.
class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace orntest
