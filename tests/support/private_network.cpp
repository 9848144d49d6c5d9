#include "private_network.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace orntest {

bool run_command(const std::string& command) {
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    return status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool enter_private_network(std::string* why_not) {
    if (::geteuid() != 0) {
        *why_not = "needs root for a network namespace";
        return false;
    }
    if (::unshare(CLONE_NEWNET) != 0) {
        *why_not = std::string("unshare(CLONE_NEWNET): ") + std::strerror(errno);
        return false;
    }
    if (!run_command("ip link set lo up")) {
        *why_not = "cannot bring up lo with ip(8)";
        return false;
    }
    return true;
}

pid_t spawn(const std::vector<std::string>& argv) {
    if (argv.empty()) return -1;
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        const int null_fd = ::open("/dev/null", O_WRONLY);
        if (null_fd >= 0) {
            ::dup2(null_fd, STDOUT_FILENO);
            ::dup2(null_fd, STDERR_FILENO);
        }
        ::execv(args[0], args.data());
        ::_exit(127);
    }
    return child;
}

void end_child(pid_t child) {
    if (child <= 0) return;
    ::kill(child, SIGTERM);
    for (int waited = 0; waited < 200; ++waited) {
        if (::waitpid(child, nullptr, WNOHANG) == child) return;
        ::usleep(10000);
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

PeerNamespace::PeerNamespace(const std::string& adapter, const std::string& address, const std::string& peer_address,
                             const std::string& bridge)
    : name_("ornc-peer-" + std::to_string(::getpid()) + "-" + adapter) {
    created_ = run_command("ip netns add " + name_);
    const bool bridged =
        bridge.empty() || run_command("ip link show " + bridge + " >/dev/null 2>&1") ||
        run_command("ip link add " + bridge + " address 02:00:00:00:00:01 type bridge && ip addr add " + address +
                    "/16 dev " + bridge + " && ip link set " + bridge + " up");
    ok_ = created_ && bridged &&
          run_command("ip link add " + adapter + " mtu 1500 type veth peer name ornc-dev netns " + name_) &&
          run_command(bridge.empty() ? "ip addr add " + address + "/16 dev " + adapter
                                     : "ip link set " + adapter + " master " + bridge) &&
          run_command("ip link set " + adapter + " up") && ip("addr add " + peer_address + "/16 dev ornc-dev") &&
          ip("link set ornc-dev mtu 1500 up") && ip("link set lo up");
}

PeerNamespace::~PeerNamespace() {
    if (created_) run_command("ip netns del " + name_);
}

}  // namespace orntest
