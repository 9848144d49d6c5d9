// An environment variable set (or unset) for one scope.
#pragma once

#include <string>

namespace orntest {

class ScopedEnv {
public:
    // A null `value` unsets the variable.
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    bool had_value_ = false;
    std::string old_value_;
};

}  // namespace orntest
