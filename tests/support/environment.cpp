#include "environment.h"

#include <cstdlib>

namespace orntest {

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

}  // namespace orntest
