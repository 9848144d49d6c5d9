#include "command_line.h"

#include <arpa/inet.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ornctool {

CommandLine::CommandLine(std::string command, std::string usage)
    : command_(std::move(command)), usage_(std::move(usage)) {}

CommandLine& CommandLine::option(const std::string& name, bool takes_value, const std::string& short_name,
                                 bool repeatable) {
    rules_.push_back({name, short_name, takes_value, repeatable});
    return *this;
}

CommandLine& CommandLine::positionals(size_t min_count, size_t max_count) {
    min_positionals_ = min_count;
    max_positionals_ = max_count;
    return *this;
}

const OptionRule* CommandLine::find(const std::string& arg) const {
    for (const OptionRule& rule : rules_) {
        if (arg == rule.name || (!rule.short_name.empty() && arg == rule.short_name)) return &rule;
    }
    return nullptr;
}

bool CommandLine::parse(int argc, char** argv) {
    bool options_ended = false;
    for (int i = 0; i < argc; ++i) {
        std::string arg = argv[i];
        if (!options_ended && (arg == "--help" || arg == "-h")) {
            std::fputs(usage_.c_str(), stdout);
            exit_code_ = kExitOk;
            return false;
        }
        if (!options_ended && arg == "--") {
            options_ended = true;
            continue;
        }
        // A lone "-" and negative numbers ("-5" as a value to set) are
        // positional arguments, not options.
        const bool looks_like_option =
            !options_ended && arg.size() > 1 && arg[0] == '-' && !(arg[1] >= '0' && arg[1] <= '9') && arg[1] != '.';
        if (!looks_like_option) {
            positional_.push_back(arg);
            continue;
        }
        std::string inline_value;
        bool has_inline_value = false;
        const size_t equals = arg.find('=');
        if (arg.compare(0, 2, "--") == 0 && equals != std::string::npos) {
            inline_value = arg.substr(equals + 1);
            arg = arg.substr(0, equals);
            has_inline_value = true;
        }
        const OptionRule* rule = find(arg);
        if (rule == nullptr) {
            exit_code_ = fail(kExitUsage, "unknown option " + arg + " (see ornc-tool " + command_ + " --help)");
            return false;
        }
        std::string value;
        if (rule->takes_value) {
            if (has_inline_value) {
                value = inline_value;
            } else if (i + 1 < argc) {
                value = argv[++i];
            } else {
                exit_code_ = fail(kExitUsage, arg + " needs a value (see ornc-tool " + command_ + " --help)");
                return false;
            }
        } else if (has_inline_value) {
            exit_code_ = fail(kExitUsage, arg + " takes no value");
            return false;
        }
        if (!rule->repeatable && has(rule->name)) {
            exit_code_ = fail(kExitUsage, rule->name + " given twice");
            return false;
        }
        given_.emplace_back(rule->name, value);
    }
    if (positional_.size() < min_positionals_ || positional_.size() > max_positionals_) {
        exit_code_ = fail(kExitUsage, positional_.size() < min_positionals_
                                          ? "missing argument (see ornc-tool " + command_ + " --help)"
                                          : "too many arguments: '" + positional_[max_positionals_] +
                                                "' (see ornc-tool " + command_ + " --help)");
        return false;
    }
    return true;
}

bool CommandLine::has(const std::string& name) const {
    for (const auto& entry : given_) {
        if (entry.first == name) return true;
    }
    return false;
}

std::string CommandLine::value(const std::string& name, const std::string& fallback) const {
    std::string result = fallback;
    for (const auto& entry : given_) {
        if (entry.first == name) result = entry.second;
    }
    return result;
}

std::vector<std::string> CommandLine::values(const std::string& name) const {
    std::vector<std::string> result;
    for (const auto& entry : given_) {
        if (entry.first == name) result.push_back(entry.second);
    }
    return result;
}

int CommandLine::fail(int code, const std::string& text) const {
    std::fprintf(stderr, "ornc-tool %s: %s\n", command_.c_str(), text.c_str());
    return code;
}

int CommandLine::fail_status(const std::string& what, ornc_status_t status) const {
    return fail(kExitFailed, what + ": " + status_text(status));
}

std::string status_text(ornc_status_t status) {
    const char* message = ORNCGetErrorMessage(status);
    std::string text = (message != nullptr && message[0] != '\0') ? message : "Unknown status";
    return text + " (" + std::to_string(status) + ")";
}

bool parse_int(const std::string& text, long long* value) {
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    *value = std::strtoll(text.c_str(), &end, 0);
    return errno == 0 && end != nullptr && *end == '\0';
}

bool parse_double(const std::string& text, double* value) {
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    *value = std::strtod(text.c_str(), &end);
    return errno == 0 && end != nullptr && *end == '\0';
}

bool is_ipv4_address(const std::string& text) {
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

}  // namespace ornctool

namespace ornctool {

bool is_subnet_mask(const std::string& text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) return false;
    const uint32_t mask = ntohl(address.s_addr);
    return (mask & (~mask >> 1)) == 0;  // no zero bit above a one bit
}

std::string file_write_problem(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    struct stat info {};
    if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return std::strerror(EISDIR);
    if (stat(folder.c_str(), &info) != 0) return std::strerror(errno);
    if (!S_ISDIR(info.st_mode)) return std::strerror(ENOTDIR);
    if (access(folder.c_str(), W_OK) != 0) return std::strerror(errno);
    return "";
}

}  // namespace ornctool
