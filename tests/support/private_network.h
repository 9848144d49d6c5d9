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

// A second network namespace, named so that ip(8) reaches it, joined to the
// caller's by a veth pair with a 1500-byte MTU: `adapter` here holds
// `address`, "ornc-dev" there holds `peer_address` (both /16, up). Deleted,
// with the veth pair, at scope end. With `bridge`, `adapter` joins that
// bridge (made here, holding `address`, when missing) instead; the bridge's
// MAC address is fixed, so that it does not change as ports join.
class PeerNamespace {
public:
    PeerNamespace(const std::string& adapter, const std::string& address, const std::string& peer_address,
                  const std::string& bridge = "");
    ~PeerNamespace();
    PeerNamespace(const PeerNamespace&) = delete;
    PeerNamespace& operator=(const PeerNamespace&) = delete;

    bool ok() const { return ok_; }
    // `ip -n <namespace> arguments`; true when it succeeded.
    bool ip(const std::string& arguments) const { return run_command("ip -n " + name_ + " " + arguments); }
    // What runs a program inside the namespace: put before its argv.
    std::vector<std::string> launcher() const { return {"/usr/bin/env", "ip", "netns", "exec", name_}; }

private:
    std::string name_;
    bool created_ = false;
    bool ok_ = false;
};

}  // namespace orntest
