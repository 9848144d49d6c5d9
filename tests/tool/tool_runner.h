// Runs ornc-tool as a child process with a bounded wait and collects its
// exit code, standard output and standard error.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tooltest {

struct ToolResult {
    int exit_code = -1;  // -1: killed (time-out or signal)
    std::string out;
    std::string err;
};

// Runs `program args...` with the current environment plus `env` (a value
// replaces an inherited one). Killed after `timeout_s` seconds.
ToolResult run_program(const std::string& program, const std::vector<std::string>& args,
                       const std::map<std::string, std::string>& env, double timeout_s = 60.0);

// The whole content of a file; "" when it cannot be read.
std::string read_whole(const std::string& path);

// Lines of a text, without their newlines.
std::vector<std::string> lines_of(const std::string& text);

}  // namespace tooltest
