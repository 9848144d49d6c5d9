#include "run_program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <thread>

#include "temp_dir.h"

extern char** environ;

namespace orntest {

ProgramResult run_program(const std::string& program, const std::vector<std::string>& args,
                          const std::map<std::string, std::string>& env, double timeout_s) {
    ProgramResult result;
    // The child writes into two scratch files, read once it has ended.
    char out_path[] = "/tmp/ornc-run-out.XXXXXX";
    char err_path[] = "/tmp/ornc-run-err.XXXXXX";
    const int out_fd = mkostemp(out_path, O_CLOEXEC);
    const int err_fd = mkostemp(err_path, O_CLOEXEC);

    std::vector<std::string> env_text;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string entry = *e;
        if (env.count(entry.substr(0, entry.find('='))) == 0) env_text.push_back(entry);
    }
    for (const auto& kv : env) env_text.push_back(kv.first + "=" + kv.second);
    std::vector<char*> envp;
    for (std::string& entry : env_text) envp.push_back(&entry[0]);
    envp.push_back(nullptr);
    std::vector<std::string> argv_text{program};
    argv_text.insert(argv_text.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : argv_text) argv.push_back(&arg[0]);
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out_fd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err_fd, STDERR_FILENO);
    pid_t pid = -1;
    const int spawned = out_fd < 0 || err_fd < 0
                            ? EBADF
                            : posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned == 0) {
        // Killed when it outlives its time.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeout_s);
        int status = 0;
        pid_t ended = 0;
        while ((ended = waitpid(pid, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (ended == 0) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
        }
        result.exit_code = ended == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.out = read_file(out_path);
        result.err = read_file(err_path);
    } else {
        result.err = std::string("cannot start ") + program + ": " + std::strerror(spawned);
    }
    for (int fd : {out_fd, err_fd}) {
        if (fd >= 0) close(fd);
    }
    unlink(out_path);
    unlink(err_path);
    return result;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

}  // namespace orntest
