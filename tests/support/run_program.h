// A program run as a child process (a tool under test, a client nobody here
// wrote) with a bounded wait: its exit code, standard output and error.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace orntest {

struct ProgramResult {
    int exit_code = -1;  // -1: killed (time-out or signal)
    std::string out;
    std::string err;
};

// Runs `program args...` with the current environment plus `env` (a value
// replaces an inherited one). Killed after `timeout_s` seconds.
ProgramResult run_program(const std::string& program, const std::vector<std::string>& args,
                          const std::map<std::string, std::string>& env = {}, double timeout_s = 60.0);

// Lines of a text, without their newlines.
std::vector<std::string> lines_of(const std::string& text);

}  // namespace orntest
