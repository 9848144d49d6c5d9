// A real Ethernet-like link for the benchmarks: a veth pair (1500-byte MTU,
// the Ethernet default) from the program's network namespace into a second
// one made for virtual sensors, which run there in this process. Needs
// root; the pair and the namespace are removed when the link goes.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "ornsim/virtual_sensor.h"

namespace bench {

// Runs a command through the shell, output discarded; true when it exited with 0.
inline bool run(const std::string& command) {
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    return status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Moves the program into a network namespace of its own holding only
// loopback, brought up. Call before any thread starts.
inline bool enter_own_network() { return unshare(CLONE_NEWNET) == 0 && run("ip link set lo up"); }

class SensorLink {
public:
    static constexpr const char* kHostAdapter = "ornc-bench";

    // `host_cidr`: the address of this side's end, e.g. "169.254.1.1/16".
    explicit SensorLink(const std::string& host_cidr) : name_("ornc-bench-" + std::to_string(getpid())) {
        const std::string host = kHostAdapter;
        ok_ = run("ip netns add " + name_) &&
              run("ip link add " + host + " type veth peer name ornc-dev netns " + name_) &&
              run("ip addr add " + host_cidr + " dev " + host) && run("ip link set " + host + " mtu 1500 up") &&
              run("ip -n " + name_ + " link set ornc-dev mtu 1500 up") && run("ip -n " + name_ + " link set lo up");
    }
    ~SensorLink() {
        run(std::string("ip link del ") + kHostAdapter);  // both ends at once, before the namespace goes
        run("ip netns del " + name_);
    }
    SensorLink(const SensorLink&) = delete;
    SensorLink& operator=(const SensorLink&) = delete;

    bool ok() const { return ok_; }
    bool add_address(const std::string& cidr) const {
        return run("ip -n " + name_ + " addr add " + cidr + " dev ornc-dev");
    }

    // Starts a sensor from a thread inside the sensor namespace, so that
    // its sockets and threads live there; null when it cannot start.
    std::unique_ptr<ornsim::VirtualSensor> start(const ornsim::SensorConfig& config) const {
        std::unique_ptr<ornsim::VirtualSensor> started;
        std::thread starter([&] {
            const int ns = open(("/run/netns/" + name_).c_str(), O_RDONLY | O_CLOEXEC);
            if (ns < 0) return;
            const bool entered = setns(ns, CLONE_NEWNET) == 0;
            close(ns);
            if (!entered) return;
            auto sensor = std::make_unique<ornsim::VirtualSensor>(config);
            std::string error;
            if (sensor->start(&error)) started = std::move(sensor);
        });
        starter.join();
        return started;
    }

private:
    std::string name_;
    bool ok_ = false;
};

}  // namespace bench
