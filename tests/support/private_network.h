// Network namespaces made by a test for itself, so that what it sends can
// reach nothing but its own peers, and child processes started by a test.
// Namespaces need root (CAP_SYS_ADMIN); the caller skips when one cannot
// be made and is told why.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace orntest {

// Moves the calling thread (and the processes it starts later) into a new
// network namespace that holds only the loopback adapter, brought up.
bool enter_private_network(std::string* why_not);

// Runs a command through the shell; true when it exited with 0.
bool run_command(const std::string& command);

// Starts `argv[0]` with those arguments as a child process (its output
// discarded); -1 on failure.
pid_t spawn(const std::vector<std::string>& argv);
// Ends a child started by spawn (SIGTERM, then SIGKILL after 2 s) and reaps it.
void end_child(pid_t child);

}  // namespace orntest
