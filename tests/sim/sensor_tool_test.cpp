// ornc-virtual-sensor as a user runs it: options, errors, and a clean exit on
// SIGINT and SIGTERM with every socket released.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "gvcp_test_client.h"

namespace {

const std::string kSensor = ORNSIM_SENSOR_BINARY;

struct CommandResult {
  int status = -1;
  std::string output;
};

CommandResult run(const std::string& command_line) {
  CommandResult r;
  FILE* pipe = ::popen(("timeout -k 2 20 " + command_line + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return r;
  char buffer[4096];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) r.output.append(buffer, n);
  int status = ::pclose(pipe);
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}

TEST(SensorTool, HelpListsTheOptionsAndBadOptionsAreRefused) {
  CommandResult help = run(kSensor + " --help");
  EXPECT_EQ(help.status, 0);
  for (const char* option : {"--address", "--serial", "--model", "--vendor", "--mac", "--genicam", "--width",
                             "--height", "--fps", "--loss", "--refuse-writes", "--silent-after", "--ack-delay",
                             "--cut-frame-every", "--event-flood"})
    EXPECT_NE(help.output.find(option), std::string::npos) << option;

  CommandResult unknown = run(kSensor + " --bogus 1");
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.output.find("unknown option"), std::string::npos) << unknown.output;
  CommandResult missing = run(kSensor + " --address");
  EXPECT_EQ(missing.status, 2);
  CommandResult bad_value = run(kSensor + " --loss 2");
  EXPECT_EQ(bad_value.status, 2);
  EXPECT_NE(bad_value.output.find("invalid value"), std::string::npos) << bad_value.output;
  for (const char* bad : {" --cut-frame-every -1", " --cut-frame-every x", " --event-flood -5"}) {
    CommandResult refused = run(kSensor + bad);
    EXPECT_EQ(refused.status, 2) << bad;
    EXPECT_NE(refused.output.find("invalid value"), std::string::npos) << bad << ": " << refused.output;
  }
  CommandResult bad_address = run(kSensor + " --address 300.1.1.1");
  EXPECT_EQ(bad_address.status, 1);
  EXPECT_NE(bad_address.output.find("invalid IPv4 address"), std::string::npos) << bad_address.output;
}

TEST(SensorTool, RunsUntilSignalledThenExitsCleanly) {
  for (const char* signal : {"INT", "TERM"}) {
    const std::string address = ornsim_test::unique_loopback_address(33);
    // Started, asked over GVCP, signalled, then the same address is free again.
    const std::string script =
        "sh -c '" + kSensor + " --address " + address + " --serial VS-TOOL & pid=$!; "
        "sleep 1; kill -" + signal + " $pid; wait $pid; echo exit=$?'";
    ornsim_test::GvcpClient client(ornsim_test::ipv4(address));
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
    CommandResult again = run("sh -c '" + kSensor + " --address " + address + " & p=$!; sleep 0.3; kill -INT $p; wait $p'");
    EXPECT_EQ(again.status, 0) << again.output;
  }
}

}  // namespace
