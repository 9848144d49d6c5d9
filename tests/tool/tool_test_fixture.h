// ornc-tool run as a child process against virtual sensors on the tool
// suite's loopback block, with discovery limited to that block.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "run_program.h"
#include "sensor.h"

namespace tooltest {

using orntest::lines_of;
using orntest::ProgramResult;

inline std::string block_address(int host) { return orntest::loopback(orntest::Block::tool, host); }
inline std::string block_mac(int host) { return orntest::loopback_mac(orntest::Block::tool, host); }

// Every one of `parts` occurs in `text`.
inline void expect_has(const std::string& text, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
}

// The report of a run for failure messages.
inline std::string report(const ProgramResult& r) {
    return "exit " + std::to_string(r.exit_code) + "\n--- stdout\n" + r.out + "--- stderr\n" + r.err;
}

class ToolTest : public ::testing::Test {
protected:
    // A sensor at block_address(host) (MAC block_mac(host)) with `serial`.
    ornsim::VirtualSensor& start_sensor(int host, const std::string& serial, uint32_t width = 160,
                                        uint32_t height = 120) {
        EXPECT_EQ(sensors_.add(orntest::sensor_config(orntest::Block::tool, host, serial, width, height, 50.0)), "");
        return sensors_[started_++];
    }

    // Discovery asks every host of the block that a test in this folder
    // starts a sensor on (1 to 24).
    ProgramResult tool(const std::vector<std::string>& args, double timeout_s = 60.0) {
        return orntest::run_program(ORNC_TOOL_PATH, args, tool_environment(), timeout_s);
    }
    std::map<std::string, std::string> tool_environment() const {
        return {{"ORNC_INTERFACES", "lo"},
                {"ORNC_LOOPBACK_HOSTS", block_address(1) + "-" + block_address(24)},
                {"ORNC_DISCOVERY_TIMEOUT_MS", "1000"}};
    }

    // Runs the tool; it must succeed (and print exactly `out`).
    ProgramResult run_ok(const std::vector<std::string>& args, double timeout_s = 60.0) {
        ProgramResult r = tool(args, timeout_s);
        EXPECT_EQ(r.exit_code, 0) << report(r);
        return r;
    }
    void expect_output(const std::vector<std::string>& args, const std::string& out) {
        EXPECT_EQ(run_ok(args).out, out);
    }

    // Runs the tool; it must exit with `code` and say `message` on stderr.
    ProgramResult expect_failure(const std::vector<std::string>& args, int code, const std::string& message) {
        ProgramResult r = tool(args);
        EXPECT_EQ(r.exit_code, code) << report(r);
        EXPECT_NE(r.err.find(message), std::string::npos) << report(r);
        return r;
    }

    orntest::SensorFleet sensors_;
    size_t started_ = 0;
};

}  // namespace tooltest
