// Virtual sensors on this process's own loopback block, and ornc-tool run
// against them with discovery limited to that block.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "ornsim/virtual_sensor.h"
#include "tool_runner.h"

namespace tooltest {

// 127.73.<pid % 250>.<host>: other suites and other developers' runs use
// other blocks, so sensors never meet.
inline std::string block_address(int host) {
    return "127.73." + std::to_string(::getpid() % 250) + "." + std::to_string(host);
}

// The report of a run for failure messages.
inline std::string report(const ToolResult& r) {
    return "exit " + std::to_string(r.exit_code) + "\n--- stdout\n" + r.out + "--- stderr\n" + r.err;
}

class ToolTest : public ::testing::Test {
protected:
    void TearDown() override {
        for (auto& sensor : sensors_) sensor->stop();
    }

    // Starts a sensor at block_address(host) with `serial`; fails the test
    // when it cannot bind.
    ornsim::VirtualSensor& start_sensor(int host, const std::string& serial, uint32_t width = 160,
                                        uint32_t height = 120, const std::string& mac = "02:00:00:00:73:01") {
        ornsim::SensorConfig config;
        config.address = block_address(host);
        config.serial = serial;
        config.mac = mac;
        config.width = width;
        config.height = height;
        config.fps = 50.0;
        auto sensor = std::make_unique<ornsim::VirtualSensor>(config);
        std::string error;
        EXPECT_TRUE(sensor->start(&error)) << error;
        sensors_.push_back(std::move(sensor));
        return *sensors_.back();
    }

    // Discovery asks every host of the block that a test in this folder
    // starts a sensor on (1 to 24).
    ToolResult tool(const std::vector<std::string>& args, double timeout_s = 60.0) {
        return run_program(ORNC_TOOL_PATH, args,
                           {{"ORNC_INTERFACES", "lo"},
                            {"ORNC_LOOPBACK_HOSTS", block_address(1) + "-" + block_address(24)},
                            {"ORNC_DISCOVERY_TIMEOUT_MS", "1000"}},
                           timeout_s);
    }

    // Runs the tool; it must succeed and print exactly `out`.
    void expect_output(const std::vector<std::string>& args, const std::string& out) {
        const ToolResult r = tool(args);
        EXPECT_EQ(r.exit_code, 0) << report(r);
        EXPECT_EQ(r.out, out) << report(r);
    }

    // Runs the tool; it must exit with `code` and say `message` on stderr.
    void expect_failure(const std::vector<std::string>& args, int code, const std::string& message) {
        const ToolResult r = tool(args);
        EXPECT_EQ(r.exit_code, code) << report(r);
        EXPECT_NE(r.err.find(message), std::string::npos) << report(r);
    }

    std::vector<std::unique_ptr<ornsim::VirtualSensor>> sensors_;
};

}  // namespace tooltest
