// Argument parsing and error reporting shared by every ornc-tool subcommand.
//
// A subcommand declares its options and how many positional arguments it
// takes; parse() handles --help (usage on stdout, exit code 0) and every
// usage error (message and usage hint on stderr, exit code 2).
#pragma once

#include <string>
#include <vector>

#include "ORNC.h"

namespace ornctool {

// Exit codes of ornc-tool, the same for every subcommand.
enum ExitCode {
    kExitOk = 0,
    kExitFailed = 1,         // the library reported a failure (its status text is printed)
    kExitUsage = 2,          // bad arguments
    kExitNotFound = 3,       // no supported device matched DEVICE
    kExitInterrupted = 130,  // ended by Ctrl-C or SIGTERM (128 + SIGINT, as a shell reports it)
};

struct OptionRule {
    std::string name;        // "--out"
    std::string short_name;  // "-n", or empty
    bool takes_value;
    bool repeatable;
};

class CommandLine {
public:
    // `command` names the subcommand in messages; `usage` is its full help.
    CommandLine(std::string command, std::string usage);

    CommandLine& option(const std::string& name, bool takes_value, const std::string& short_name = "",
                        bool repeatable = false);
    CommandLine& positionals(size_t min_count, size_t max_count);

    // True when the command should run. Otherwise exit_code() says how to end.
    bool parse(int argc, char** argv);
    int exit_code() const { return exit_code_; }

    bool has(const std::string& name) const;
    // The last value given for `name`, or `fallback`.
    std::string value(const std::string& name, const std::string& fallback = "") const;
    std::vector<std::string> values(const std::string& name) const;
    const std::vector<std::string>& positional() const { return positional_; }

    const std::string& command() const { return command_; }

    // "ornc-tool CMD: text" on stderr; returns `code` for `return fail(...)`.
    int fail(int code, const std::string& text) const;
    // "ornc-tool CMD: what: <status message> (status N)"; returns kExitFailed.
    int fail_status(const std::string& what, ornc_status_t status) const;

private:
    const OptionRule* find(const std::string& arg) const;

    std::string command_;
    std::string usage_;
    std::vector<OptionRule> rules_;
    size_t min_positionals_ = 0;
    size_t max_positionals_ = 0;
    std::vector<std::pair<std::string, std::string>> given_;
    std::vector<std::string> positional_;
    int exit_code_ = kExitOk;
};

// The status message with its code: "Device not found (-204)".
std::string status_text(ornc_status_t status);

// Strict number parsing: the whole text must be the number.
bool parse_int(const std::string& text, long long* value);
bool parse_double(const std::string& text, double* value);
// Dotted-decimal IPv4 address.
bool is_ipv4_address(const std::string& text);
// A dotted-decimal subnet mask: ones, then zeros (255.255.0.0, not 255.0.255.0).
bool is_subnet_mask(const std::string& text);
// Why `path` cannot be written ("No such file or directory" for a missing
// folder, ...), or "" when its folder takes a new file.
std::string file_write_problem(const std::string& path);

}  // namespace ornctool
