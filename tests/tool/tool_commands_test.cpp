// ornc-tool end to end: each subcommand run as a child process against
// virtual sensors on loopback, its output and its exit code.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <regex>
#include <sstream>
#include <thread>

#include "environment.h"
#include "handles.h"
#include "temp_dir.h"
#include "tool_test_fixture.h"

namespace tooltest {
namespace {

// The line of `text` that contains `needle`, or "".
std::string line_with(const std::string& text, const std::string& needle) {
    for (const std::string& line : lines_of(text)) {
        if (line.find(needle) != std::string::npos) return line;
    }
    return "";
}

// The parameter line of `params` output for `name`, split into words.
std::vector<std::string> param_row(const std::string& out, const std::string& name) {
    for (const std::string& line : lines_of(out)) {
        std::istringstream words(line);
        const std::vector<std::string> row{std::istream_iterator<std::string>(words), {}};
        if (!row.empty() && row[0] == name) return row;
    }
    return {};
}

TEST_F(ToolTest, ListShowsEveryDeviceInAlignedColumnsAndBriefLines) {
    start_sensor(2, "TOOL-A");
    start_sensor(3, "TOOL-B");
    const ProgramResult r = run_ok({"list"});
    EXPECT_NE(r.out.find("Supported devices (2):"), std::string::npos) << r.out;
    const std::string header = line_with(r.out, "SERIAL");
    const std::string row_a = line_with(r.out, "TOOL-A");
    const std::string row_b = line_with(r.out, "TOOL-B");
    ASSERT_FALSE(header.empty() || row_a.empty() || row_b.empty()) << r.out;
    // Every column starts at the same place in the header and the rows.
    for (const char* column : {"SERIAL", "IP", "MAC", "ACCESS"}) {
        std::smatch word;
        ASSERT_TRUE(std::regex_search(header, word, std::regex(std::string(" ") + column + "( |$)"))) << column;
        const size_t at = static_cast<size_t>(word.position(0)) + 1;
        for (const std::string& row : {row_a, row_b}) {
            EXPECT_EQ(row[at - 1], ' ') << column << "\n" << r.out;
            EXPECT_NE(row[at], ' ') << column << "\n" << r.out;
        }
    }
    expect_has(row_a, {block_address(2), block_mac(2), "lumenGAUGE Virtual 3D", " open"});
    EXPECT_EQ(row_a.rfind("  lo ", 0), 0u) << "the adapter column comes first: " << row_a;

    std::vector<std::string> lines = lines_of(run_ok({"list", "--brief"}).out);
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (std::vector<std::string>{"TOOL-A\t" + block_address(2) + "\tlumenGAUGE Virtual 3D",
                                               "TOOL-B\t" + block_address(3) + "\tlumenGAUGE Virtual 3D"}));
}

TEST_F(ToolTest, InfoFindsADeviceBySerialAddressOrPattern) {
    start_sensor(4, "TOOL-INFO");
    const std::pair<std::string, std::string> fields[] = {{"Serial number", "TOOL-INFO"},
                                                          {"IP address", block_address(4)},
                                                          {"MAC address", block_mac(4)},
                                                          {"GigE Vision version", "2.1"},
                                                          {"Vendor", "ORNC Virtual Sensors"},
                                                          {"Access", "open"},
                                                          {"Adapter ", "lo"}};
    for (const std::string& key : {std::string("TOOL-INFO"), block_address(4), std::string("Virtual 3D")}) {
        const ProgramResult r = run_ok({"info", key});
        for (const auto& [label, value] : fields) expect_has(line_with(r.out, label), {value});
    }
    const ProgramResult r =
        expect_failure({"info", "NO-SUCH-SERIAL"}, 3, "no supported device matches 'NO-SUCH-SERIAL'");
    EXPECT_NE(r.err.find("genicam_devices.ini"), std::string::npos) << "a hidden model is mentioned\n" << r.err;
    EXPECT_EQ(r.out, "");
}

TEST_F(ToolTest, ParamsPrintsTheTreeWithTypesAccessAndValues) {
    start_sensor(5, "TOOL-PARAMS");
    ProgramResult r = run_ok({"params", "TOOL-PARAMS"});
    EXPECT_EQ(param_row(r.out, "Width"), (std::vector<std::string>{"Width", "Integer", "RW", "160"}));
    EXPECT_EQ(param_row(r.out, "SensorHeight"), (std::vector<std::string>{"SensorHeight", "UInteger", "RO", "120"}));
    EXPECT_EQ(param_row(r.out, "AcquisitionMode"),
              (std::vector<std::string>{"AcquisitionMode", "Enumeration", "RW", "Continuous"}));
    EXPECT_EQ(param_row(r.out, "AcquisitionStart"), (std::vector<std::string>{"AcquisitionStart", "Command", "WO"}));
    EXPECT_NE(r.out.find("AcquisitionControl (Acquisition Control)\n"), std::string::npos) << r.out;
    std::smatch count;
    ASSERT_TRUE(std::regex_search(r.out, count, std::regex("(\\d+) parameters shown")));
    const int all = std::stoi(count[1]);

    r = run_ok({"params", "TOOL-PARAMS", "--category", "AnalogControl"});
    EXPECT_EQ(param_row(r.out, "Gain").size(), 4u) << r.out;
    EXPECT_TRUE(param_row(r.out, "Width").empty()) << "another category leaked in\n" << r.out;

    r = run_ok({"params", "TOOL-PARAMS", "--visibility", "Beginner"});
    ASSERT_TRUE(std::regex_search(r.out, count, std::regex("(\\d+) parameters shown")));
    EXPECT_LT(std::stoi(count[1]), all);
    EXPECT_FALSE(param_row(r.out, "Width").empty());

    EXPECT_FALSE(
        param_row(run_ok({"params", "TOOL-PARAMS", "--map", "communication"}).out, "HeartbeatTimeout").empty());
    // 64-bit counters show their value.
    r = tool({"params", "TOOL-PARAMS", "--map", "stream"});
    EXPECT_EQ(param_row(r.out, "BlockCount"), (std::vector<std::string>{"BlockCount", "Other", "RO", "0"})) << r.out;

    expect_failure({"params", "TOOL-PARAMS", "--category", "NoSuchCategory"}, 1, "no category 'NoSuchCategory'");
    expect_failure({"params", "TOOL-PARAMS", "--visibility", "everyone"}, 2, "");
}

TEST_F(ToolTest, GetAndSetGoThroughTheTextFormAndReportRefusals) {
    start_sensor(6, "TOOL-SET");
    expect_output({"set", "TOOL-SET", "Width", "96"}, "Width = 96\n");
    expect_output({"get", "TOOL-SET", "Width"}, "96\n");
    // Numbers are clamped into the range, never refused.
    expect_output({"set", "TOOL-SET", "Width", "100000"}, "Width = 160\n");
    expect_output({"set", "TOOL-SET", "AcquisitionMode", "SingleFrame"}, "AcquisitionMode = SingleFrame\n");
    expect_output({"get", "TOOL-SET", "AcquisitionMode", "--number"}, "1\n");
    expect_output({"set", "TOOL-SET", "AcquisitionMode", "0"}, "AcquisitionMode = Continuous\n");
    expect_output({"set", "TOOL-SET", "ChunkModeActive", "True"}, "ChunkModeActive = true\n");
    run_ok({"set", "TOOL-SET", "ExposureTime", "2500.5"});
    EXPECT_NEAR(std::atof(run_ok({"get", "TOOL-SET", "ExposureTime"}).out.c_str()), 2500.5, 1e-3);

    struct Refusal {
        std::vector<std::string> args;
        const char* message;
    };
    for (const Refusal& refusal :
         {Refusal{{"set", "TOOL-SET", "Width", "96abc"}, "Parameter has invalid value (-209)"},
          Refusal{{"set", "TOOL-SET", "SensorWidth", "100"}, "Parameter is not writeable (-205)"},
          Refusal{{"set", "TOOL-SET", "AcquisitionMode", "Sometimes"},
                  "Parameter has invalid value (-209); AcquisitionMode takes one of Continuous (0), SingleFrame (1), "
                  "MultiFrame (2)"},
          Refusal{{"set", "TOOL-SET", "Width", "x"}, "Width takes a number in 16..160 px"},
          Refusal{{"set", "TOOL-SET", "DeviceUserID", "a-name-longer-than-sixteen"}, "at most 16 characters"},
          Refusal{{"set", "TOOL-SET", "AcquisitionStart", "1"},
                  "AcquisitionStart is a command, it has no value: run "
                  "ornc-tool exec"},
          Refusal{{"get", "TOOL-SET", "NoSuchFeature"}, "Parameter is undefined (-219)"},
          Refusal{{"get", "TOOL-SET", "AcquisitionStart"}, "Wrong type of parameter (-210)"}}) {
        EXPECT_EQ(expect_failure(refusal.args, 1, refusal.message).out, "");
    }
    // The refused writes changed nothing.
    expect_output({"get", "TOOL-SET", "Width"}, "160\n");
}

TEST_F(ToolTest, ReadingCommandsFallBackToAMonitorWhileAnotherHandleControls) {
    start_sensor(14, "TOOL-MON");
    orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", block_address(14).c_str());
    orntest::Handle controller;
    ASSERT_EQ(ORNCConnectBySerialNumber(controller.get(), nullptr, "TOOL-MON"), ORNC_OK);
    ProgramResult r = run_ok({"get", "TOOL-MON", "Width"});
    EXPECT_EQ(r.out, "160\n");
    EXPECT_EQ(lines_of(r.err),
              std::vector<std::string>{
                  "ornc-tool: another application controls TOOL-MON; connected as a monitor (read only)"});
    r = tool({"components", "TOOL-MON"});
    EXPECT_NE(r.out.find("The selected component only"), std::string::npos) << report(r);
    expect_failure({"set", "TOOL-MON", "Width", "96"}, 1, "Connect to device failed (-201)");
}

TEST_F(ToolTest, ExecSendsACommandAndRefusesOtherKinds) {
    start_sensor(7, "TOOL-EXEC");
    // The timestamp commands leave their mark in the device after the tool
    // has gone: a reset restarts the clock at 0, a latch copies it to
    // GevTimestampValue (1 GHz ticks, 64 bits wide).
    auto latch = [&]() -> long long {
        expect_output({"exec", "TOOL-EXEC", "GevTimestampControlLatch"}, "GevTimestampControlLatch executed\n");
        return std::atoll(run_ok({"get", "TOOL-EXEC", "GevTimestampValue"}).out.c_str());
    };
    expect_output({"exec", "TOOL-EXEC", "GevTimestampControlReset"}, "GevTimestampControlReset executed\n");
    const long long first = latch();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const long long second = latch();
    EXPECT_LT(first, 3000000000LL) << "the clock restarted at the reset";
    EXPECT_GE(second - first, 300000000LL) << "the second latch took the clock again";

    expect_failure({"exec", "TOOL-EXEC", "Width"}, 1,
                   "Width is not a command (type Integer): Parameter type mismatch (-206)");
}

TEST_F(ToolTest, ComponentsListsEnablesAndDisables) {
    start_sensor(8, "TOOL-COMP");
    ProgramResult r = run_ok({"components", "TOOL-COMP"});
    EXPECT_EQ(param_row(r.out, "0"),
              (std::vector<std::string>{"0", "0", "0", "0", "Range", "Coord3D_ABC32f", "(0x026000C0)", "yes"}));
    EXPECT_EQ(param_row(r.out, "1"), (std::vector<std::string>{"1", "0", "0", "0", "Range", "Coord3D_C16",
                                                               "(0x011000B8)", "other", "format"}));
    EXPECT_EQ(param_row(r.out, "2").back(), "yes");
    EXPECT_EQ(param_row(r.out, "3")[4], "Confidence");
    expect_has(r.out, {"4 component entries."});

    expect_has(run_ok({"components", "TOOL-COMP", "disable", "Intensity", "3"}).out,
               {"Intensity disabled\n3 disabled\n"});
    r = tool({"components", "TOOL-COMP"});
    EXPECT_EQ(param_row(r.out, "2").back(), "no") << r.out;
    EXPECT_EQ(param_row(r.out, "3").back(), "no") << r.out;

    r = run_ok({"components", "TOOL-COMP", "enable", "Range:Coord3D_C16", "Intensity"});
    EXPECT_EQ(param_row(r.out, "0").back(), "format") << r.out;
    EXPECT_EQ(param_row(r.out, "1").back(), "yes") << r.out;
    EXPECT_EQ(param_row(r.out, "2").back(), "yes") << r.out;

    expect_failure({"components", "TOOL-COMP", "enable", "Colour"}, 1,
                   "no component 'Colour': Element not found (-16); the device offers Range:Coord3D_ABC32f, "
                   "Range:Coord3D_C16, Intensity:Mono8, Confidence:Confidence8 (or an index 0..3)");
    // A bad COMPONENT anywhere in the list switches nothing.
    expect_failure({"components", "TOOL-COMP", "disable", "Intensity", "Range:Mono8"}, 1, "no component 'Range:Mono8'");
    EXPECT_EQ(param_row(tool({"components", "TOOL-COMP"}).out, "2").back(), "yes");
    expect_failure({"components", "TOOL-COMP", "toggle", "0"}, 2, "");
    expect_failure({"components", "TOOL-COMP", "enable"}, 2, "");
}

TEST_F(ToolTest, IpconfigMovesTheDeviceAndStoresThePersistentAddress) {
    ornsim::VirtualSensor& sensor = start_sensor(9, "TOOL-IP");
    ProgramResult r = run_ok({"ipconfig", "TOOL-IP", "--ip", block_address(10), "--mask", "255.0.0.0"});
    EXPECT_EQ(r.out, "TOOL-IP: " + block_address(9) + " -> " + block_address(10) + " mask 255.0.0.0 gateway 0.0.0.0\n");
    EXPECT_EQ(sensor.current_address(), block_address(10));
    expect_output({"list", "--brief"}, "TOOL-IP\t" + block_address(10) + "\tlumenGAUGE Virtual 3D\n");

    r = run_ok({"ipconfig", block_address(10), "--ip", block_address(11), "--mask", "255.255.0.0", "--gateway",
                block_address(1), "--persistent"});
    EXPECT_NE(r.out.find("persistent IP " + block_address(11) + " mask 255.255.0.0"), std::string::npos) << r.out;
    EXPECT_EQ(sensor.current_address(), block_address(11));
    expect_output({"get", "TOOL-IP", "GevPersistentSubnetMask"}, "255.255.0.0\n");
    expect_output({"get", "TOOL-IP", "GevPersistentSubnetMask", "--number"}, std::to_string(0xFFFF0000u) + "\n");

    expect_failure({"ipconfig", "TOOL-IP", "--ip", "127.300.0.1", "--mask", "255.0.0.0"}, 2,
                   "IP address invalid (-217)");
    expect_failure({"ipconfig", "TOOL-IP", "--ip", block_address(12)}, 2, "");
    expect_failure({"ipconfig", "TOOL-IP", "--ip", block_address(12), "--mask", "255.0.255.0"}, 2,
                   "'255.0.255.0' is not a subnet mask");
    EXPECT_EQ(sensor.current_address(), block_address(11)) << "refused calls move nothing";
}

TEST_F(ToolTest, DescribeAndLongParamsShowWhatAValueMayBe) {
    start_sensor(13, "TOOL-DESCRIBE");
    expect_has(run_ok({"describe", "TOOL-DESCRIBE", "AcquisitionMode"}).out,
               {"\nKind          Enumeration", "\nAccess        RW", "\nValue         Continuous (0)",
                "\nEntries       Continuous = 0", "\n              MultiFrame = 2  \"Multi Frame\"",
                "\nCategory      AcquisitionControl", "\nTooltip       Number of frames sent"});
    expect_has(line_with(tool({"describe", "TOOL-DESCRIBE", "PixelFormat"}).out, "Selected by"),
               {"ComponentSelector (now Range)"});
    expect_has(tool({"describe", "TOOL-DESCRIBE", "ComponentSelector"}).out,
               {"\nSelects       ComponentEnable, ComponentIDValue, PixelFormat\n"});
    expect_has(tool({"describe", "TOOL-DESCRIBE", "GevCurrentSubnetMask", "--map", "device"}).out,
               {"Value         255.0.0.0 (4278190080)"});
    const ProgramResult r = tool({"params", "TOOL-DESCRIBE", "--long", "--category", "ImageFormatControl"});
    EXPECT_EQ(param_row(r.out, "Width"), (std::vector<std::string>{"Width", "Integer", "RW", "160", "16..160", "px"}))
        << r.out;
    expect_failure({"describe", "TOOL-DESCRIBE", "NoSuchFeature"}, 1, "Parameter is undefined (-219)");
    expect_failure({"dump-xml", "TOOL-DESCRIBE", "missing-folder/device.xml"}, 2,
                   "missing-folder/device.xml: No such file or directory");
}

TEST_F(ToolTest, SensorsOwnTheirMacAndAnAmbiguousPatternIsNamed) {
    for (int host : {14, 15}) {
        ornsim::SensorConfig config =
            orntest::sensor_config(orntest::Block::tool, host, "TOOL-MAC-" + std::to_string(host));
        config.mac = "";
        ASSERT_EQ(sensors_.add(config), "");
    }
    const std::string mac_a = line_with(tool({"info", "TOOL-MAC-14"}).out, "MAC address");
    const std::string mac_b = line_with(tool({"info", "TOOL-MAC-15"}).out, "MAC address");
    EXPECT_NE(mac_a.find(" 02:"), std::string::npos) << "locally administered: " << mac_a;
    EXPECT_NE(mac_a, mac_b);
    const ProgramResult r = run_ok({"info", "TOOL-MAC"});
    EXPECT_NE(r.err.find("'TOOL-MAC' also matches TOOL-MAC-1"), std::string::npos) << report(r);
    // The library's log goes to stderr: stdout keeps only the answer.
    const ProgramResult verbose = tool({"--verbose", "get", "TOOL-MAC-14", "DeviceSerialNumber"});
    EXPECT_EQ(verbose.out, "TOOL-MAC-14\n") << report(verbose);
    EXPECT_NE(verbose.err.find("INFO"), std::string::npos) << report(verbose);
}

TEST_F(ToolTest, HelpUsageErrorsExitCodesAndAnEmptyList) {
    ProgramResult r = run_ok({"--help"});
    for (const char* command :
         {"list", "info", "params", "describe", "get", "set", "exec", "components", "ipconfig", "dump-xml", "doctor"}) {
        EXPECT_NE(r.out.find(std::string("  ") + command + " "), std::string::npos) << command;
        const ProgramResult help = run_ok({command, "--help"});
        EXPECT_EQ(help.out.rfind(std::string("Usage: ornc-tool ") + command, 0), 0u) << help.out;
        EXPECT_EQ(help.err, "");
    }
    expect_failure({}, 2, "");
    expect_failure({"fly"}, 2, "unknown command 'fly'");
    expect_failure({"list", "--colour"}, 2, "unknown option --colour");
    expect_failure({"get", "SERIAL"}, 2, "missing argument");
    // One version, the package's: that of the SONAME, pkg-config and find_package.
    expect_output({"--version"},
                  std::string("ornc-tool ") + ORNC_PROJECT_VERSION + ", libORNC " + ORNC_PROJECT_VERSION + "\n");
    expect_failure({"--interface", "nosuchif0", "list"}, 2, "no adapter 'nosuchif0'");
    expect_failure({"--loopback-hosts", "garbage", "list"}, 2, "--loopback-hosts takes");

    // No sensor runs in this case: list says so and succeeds.
    r = run_ok({"list"});
    expect_has(r.out, {"No supported device found.", "lo "});  // the loopback adapter is listed
    expect_output({"list", "--brief"}, "");
}

}  // namespace
}  // namespace tooltest
