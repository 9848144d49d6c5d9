// ornc-virtual-sensor as a process. As a user runs it: options, errors, and a
// clean exit on SIGINT and SIGTERM with every socket released. And against
// clients nobody here wrote: Aravis's arv-tool-0.8 and arv-test-0.8 run
// against it inside a network namespace that the test creates (their
// discovery broadcasts on every adapter, so they must not see the machine's
// own network); those need root (unshare -n) and the Aravis tools, and skip
// cleanly without them.
#include <arv.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "gvcp_client.h"
#include "loopback.h"
#include "private_network.h"
#include "run_program.h"
#include "sensor.h"
#include "temp_dir.h"
#include "test_genicam.h"

namespace {

const std::string kSensor = ORNSIM_SENSOR_BINARY;
const std::string kArvTest = ORNSIM_ARV_TEST;
const std::string kArvTestConfig = ORNSIM_ARV_TEST_CONFIG;
const std::string kDeviceId = "ORNC Virtual Sensors-lumenGAUGE Virtual 3D-VS000001";

struct CommandResult {
    int status = -1;
    std::string output;
};

// Runs a shell command line, bounded by `timeout_s`: its exit status and
// combined output.
CommandResult run(const std::string& command_line, int timeout_s = 20) {
    const orntest::ProgramResult r = orntest::run_program(
        "/bin/sh", {"-c", "timeout -k 5 " + std::to_string(timeout_s) + " " + command_line + " 2>&1"}, {},
        timeout_s + 10);
    return {r.exit_code, r.out + r.err};
}

TEST(SensorTool, HelpListsTheOptionsAndBadOptionsAreRefused) {
    CommandResult help = run(kSensor + " --help");
    EXPECT_EQ(help.status, 0);
    for (const char* option :
         {"--address", "--serial", "--model", "--vendor", "--mac", "--genicam", "--width", "--height", "--fps",
          "--loss", "--refuse-writes", "--silent-after", "--silent-for", "--return-address", "--power-cycle",
          "--ack-delay", "--cut-frame-every", "--event-flood"})
        EXPECT_NE(help.output.find(option), std::string::npos) << option;

    // Usage errors exit with 2, a configuration the sensor cannot use with 1.
    struct Refused {
        const char* options;
        int status;
        const char* says;
    };
    for (const Refused& r : {Refused{" --bogus 1", 2, "unknown option"},
                             {" --address", 2, ""},
                             {" --loss 2", 2, "invalid value"},
                             {" --cut-frame-every -1", 2, "invalid value"},
                             {" --cut-frame-every x", 2, "invalid value"},
                             {" --event-flood -5", 2, "invalid value"},
                             {" --silent-for 1", 2, "needs --silent-after"},
                             {" --silent-after 0 --power-cycle", 2, "need --silent-for"},
                             {" --silent-after 0 --silent-for 1 --return-address 10.1", 2, "invalid value"},
                             {" --address 300.1.1.1", 1, "invalid IPv4 address"},
                             {" --address 127.0.31.9 --mac 02:00:zz:00:00:01", 1, "invalid MAC address"},
                             {" --address 127.0.31.9 --genicam /nonexistent/sensor.xml", 1, "GenICam file"}}) {
        CommandResult result = run(kSensor + r.options);
        EXPECT_EQ(result.status, r.status) << r.options;
        EXPECT_NE(result.output.find(r.says), std::string::npos) << r.options << ": " << result.output;
    }
}

TEST(SensorTool, RunsUntilSignalledThenExitsCleanly) {
    for (const char* signal : {"INT", "TERM"}) {
        const std::string address = orntest::loopback(orntest::Block::sim, 4);
        // Started, asked over GVCP, signalled, then the same address is free again.
        const std::string script = "sh -c '" + kSensor + " --address " + address +
                                   " --serial VS-TOOL & pid=$!; "
                                   "sleep 1; kill -" +
                                   signal + " $pid; wait $pid; echo exit=$?'";
        orntest::GvcpClient client(orntest::ipv4(address));
        FILE* pipe = ::popen(("timeout -k 2 20 " + script + " 2>&1").c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::string output;
        char line[512];
        bool answered = false;
        while (std::fgets(line, sizeof line, pipe) != nullptr) {
            output += line;
            if (std::string(line).find("listening") != std::string::npos) answered = client.discovery().received;
        }
        ::pclose(pipe);
        EXPECT_TRUE(answered) << output;
        EXPECT_NE(output.find(std::string("stopped (SIG") + signal + ")"), std::string::npos) << output;
        EXPECT_NE(output.find("exit=0"), std::string::npos) << output;
        CommandResult again =
            run("sh -c '" + kSensor + " --address " + address + " & p=$!; sleep 0.3; kill -INT $p; wait $p'");
        EXPECT_EQ(again.status, 0) << again.output;
    }
}

// Aravis's clients discover by broadcast on every adapter: each case runs in
// a network namespace of its own where a veth pair carries link-local
// addresses, the sensor process on 169.254.1.2 and the clients on
// 169.254.1.1, so they reach the sensor and nothing else.
class AravisConformance : public ::testing::Test {
protected:
    void SetUp() override {
        if (run("sh -c 'command -v arv-tool-0.8'", 10).status != 0)
            GTEST_SKIP() << "arv-tool-0.8 (aravis-tools-cli) is not installed";
        std::string why;
        if (!orntest::enter_private_network(&why)) GTEST_SKIP() << why;
        ASSERT_TRUE(orntest::run_command(
            "ip link add ornc-host type veth peer name ornc-dev && ip addr add 169.254.1.1/16 brd + dev ornc-host && "
            "ip addr add 169.254.1.2/16 brd + dev ornc-dev && ip link set ornc-host mtu 9000 up && "
            "ip link set ornc-dev mtu 9000 up"));
    }
    // `client` (a shell command line) against the sensor started with `extra` options.
    CommandResult against_sensor(const std::string& client, int timeout_s, const std::vector<std::string>& extra = {}) {
        orntest::SensorProcess sensor(kSensor, config_, extra);
        if (!sensor.ok()) return {-1, "the sensor did not answer"};
        return run(client, timeout_s);
    }

    ornsim::SensorConfig config_ = [] {
        ornsim::SensorConfig config;
        config.address = "169.254.1.2";
        return config;
    }();
};

TEST_F(AravisConformance, ArvToolListsTheSensorAndReadsAndWritesItsFeatures) {
    CommandResult r =
        against_sensor("arv-tool-0.8 && arv-tool-0.8 -n '" + kDeviceId +
                           "' control DeviceModelName DeviceSerialNumber Width=320 Width Height PayloadSize "
                           "ComponentSelector=Intensity PixelFormat GevSCPSPacketSize && "
                           "arv-tool-0.8 -n '" +
                           kDeviceId + "' control SensorWidth=100",
                       60);
    EXPECT_EQ(r.status, 0) << r.output;
    // PayloadSize: 320 x 480 x Coord3D_ABC32f; PixelFormat: the selected component's; a read-only feature is
    // refused by the device itself.
    for (const std::string& part :
         {kDeviceId + " (169.254.1.2)", std::string("DeviceModelName = lumenGAUGE Virtual 3D"),
          std::string("DeviceSerialNumber = VS000001"), std::string("Width = 320"),
          std::string("PayloadSize = 1843200"), std::string("PixelFormat = Mono8"),
          std::string("SensorWidth write error"), std::string("write-protect")})
        EXPECT_NE(r.output.find(part), std::string::npos) << part << "\n" << r.output;
}

TEST_F(AravisConformance, AnotherGenicamFileDescribesFeaturesInPlainMemory) {
    // The tests' GenICam file: its features live in the sensor's plain memory.
    const orntest::TempWorkDir dir;
    ASSERT_TRUE(orntest::write_file(dir.file("test.xml"), orntest::range_test_xml(config_)));
    CommandResult r = against_sensor("arv-tool-0.8 -n '" + kDeviceId +
                                         "' control TestWide=4321 TestString=left-bench && "
                                         "echo second-connection && arv-tool-0.8 -n '" +
                                         kDeviceId + "' control TestWide TestString",
                                     60, {"--genicam", dir.file("test.xml")});
    EXPECT_EQ(r.status, 0) << r.output;
    // The second connection reads back what the first one stored.
    size_t second = r.output.find("second-connection");
    ASSERT_NE(second, std::string::npos) << r.output;
    EXPECT_NE(r.output.find("TestWide = 4321", second), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("TestString = left-bench", second), std::string::npos) << r.output;
}

// The GenICam schema 1.1 that arv-test bundles, cut out of its executable.
std::string bundled_schema_1_1() {
    const std::string binary = orntest::read_file(kArvTest);
    const std::string ns = "targetNamespace=\"http://www.genicam.org/GenApi/Version_1_1\"";
    size_t at = binary.find(ns);
    if (at == std::string::npos) return "";
    size_t begin = binary.rfind("<?xml", at);
    size_t end = binary.find("</xs:schema>", at);
    if (begin == std::string::npos || end == std::string::npos) return "";
    return binary.substr(begin, end + 12 - begin);
}

TEST_F(AravisConformance, GenicamFileLoadsPlainAndZippedAndValidatesAgainstSchema11) {
    if (access(kArvTest.c_str(), X_OK) != 0) GTEST_SKIP() << "arv-test-0.8 not found at " << kArvTest;
    for (const char* options : {"", "--zip-genicam"}) {
        CommandResult r = against_sensor("arv-tool-0.8 -n '" + kDeviceId + "' genicam", 60,
                                         *options ? std::vector<std::string>{options} : std::vector<std::string>{});
        ASSERT_EQ(r.status, 0) << r.output;
        size_t begin = r.output.find("<?xml");
        size_t end = r.output.find("</RegisterDescription>");
        ASSERT_NE(begin, std::string::npos) << options << r.output;
        ASSERT_NE(end, std::string::npos) << options;
        std::string xml = r.output.substr(begin, end + 22 - begin);

        std::string xsd = bundled_schema_1_1();
        ASSERT_FALSE(xsd.empty());
        ArvXmlSchema* schema = arv_xml_schema_new_from_memory(xsd.data(), xsd.size());
        ASSERT_NE(schema, nullptr);
        int line = 0, column = 0;
        GError* error = nullptr;
        EXPECT_TRUE(arv_xml_schema_validate(schema, xml.data(), xml.size(), &line, &column, &error))
            << options << " line " << line << ":" << column << " " << (error != nullptr ? error->message : "");
        if (error != nullptr) g_error_free(error);
        g_object_unref(schema);
    }
}

TEST_F(AravisConformance, ArvTestReportsSuccessForEveryTestIncludingMultipartAndChunks) {
    if (access(kArvTest.c_str(), X_OK) != 0) GTEST_SKIP() << "arv-test-0.8 not found at " << kArvTest;
    // Both Aravis receivers. The UDP socket one gets a 200 Mbit/s link: a
    // frame then spreads over tens of milliseconds, and a receiver thread that
    // a loaded machine deschedules for a few milliseconds still finds its
    // packets in the socket buffer. 320 x 240 is what the configuration expects.
    struct Mode {
        std::vector<std::string> sensor_options;
        const char* arv_test_options;
    };
    for (const Mode& mode : {Mode{{"--width", "320", "--height", "240", "--link-speed", "200"}, ""},
                             Mode{{"--width", "320", "--height", "240"}, "--packet-socket"}}) {
        SCOPED_TRACE(mode.arv_test_options);
        CommandResult r =
            against_sensor(kArvTest + " " + mode.arv_test_options + " -c " + kArvTestConfig, 240, mode.sensor_options);
        ASSERT_EQ(r.status, 0) << r.output;
        ASSERT_NE(r.output.find("Found 1 device"), std::string::npos) << r.output;
        EXPECT_EQ(r.output.find("FAILURE"), std::string::npos) << r.output;
        EXPECT_EQ(r.output.find("NoSupport"), std::string::npos) << r.output;
        int successes = 0;
        for (size_t at = r.output.find("SUCCESS"); at != std::string::npos; at = r.output.find("SUCCESS", at + 1))
            ++successes;
        for (const char* test : {"Genicam:Load", "Properties:SensorSizeCheck", "MultipleAcquisitionA:BufferCheck",
                                 "MultipleAcquisitionA:FrameRate", "SingleAcquisition:BufferCheck",
                                 "SoftwareTrigger:BufferCheck", "MultipleAcquisitionB:FrameRate", "Multipart:Enable",
                                 "Multipart:BufferCheck", "Chunks:BufferCheck", "GigEVision:StreamChannel"}) {
            size_t at = r.output.find(test);
            ASSERT_NE(at, std::string::npos) << test << "\n" << r.output;
            size_t eol = r.output.find('\n', at);
            EXPECT_NE(r.output.substr(at, eol - at).find("SUCCESS"), std::string::npos)
                << r.output.substr(at, eol - at);
        }
        EXPECT_GE(successes, 18) << r.output;
    }
}

}  // namespace
