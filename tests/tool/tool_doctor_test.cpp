// ornc-tool doctor against virtual sensors: the system values it reads from
// a root the test writes, and over a veth link with a 1500- and a 9000-byte
// MTU and with the sensor's stream packets held back by tc.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "private_network.h"
#include "temp_dir.h"
#include "tool_test_fixture.h"

namespace tooltest {
namespace {

TEST_F(ToolTest, DoctorJudgesTheSystemValuesBelowTheRootItIsGiven) {
    start_sensor(16, "TOOL-DOCTOR");
    const orntest::TempWorkDir root;
    for (const auto& value : std::vector<std::pair<std::string, std::string>>{{"proc/sys/net/core/rmem_max", "65536"},
                                                                              {"sys/class/net/lo/mtu", "1500"},
                                                                              {"sys/class/net/lo/speed", "10"}}) {
        std::filesystem::create_directories(std::filesystem::path(root.file(value.first)).parent_path());
        ASSERT_TRUE(orntest::write_file(root.file(value.first), value.second + "\n"));
    }
    ProgramResult r = tool({"doctor", "TOOL-DOCTOR", "--sys-root", root.path()});
    EXPECT_EQ(r.exit_code, 1) << report(r);
    expect_has(r.out,
               {"[problem] mtu        TOOL-DOCTOR: stream packets of", "bytes, MTU 1500 on lo: the packets do not fit",
                "fix: ip link set lo mtu 9000", "[problem] rmem_max   TOOL-DOCTOR: one frame is",
                "net.core.rmem_max is 65536: the socket cannot hold a frame",
                "fix: sysctl -w net.core.rmem_max=", "[problem] bandwidth  lo: 1 sensor sends", "over a 10 Mbit/s link",
                "fix: ornc-tool set TOOL-DOCTOR GevSCPD ",
                "[ok]      firewall   TOOL-DOCTOR: 3 of 3 stream test packets arrived", "3 problems found."});
    // The host's own values: loopback carries every packet size and speed.
    r = tool({"doctor", "--json"});
    expect_has(r.out, {R"({"check": "mtu", "severity": "ok", "subject": "TOOL-DOCTOR")",
                       R"({"check": "firewall", "severity": "ok")"});
}

// The sensor in a namespace of its own behind a veth pair; discovery asks
// only that adapter.
TEST(DoctorOverALink, SeesTheMtuAndTestPacketsThatNeverArrive) {
    std::string why;
    if (!orntest::enter_private_network(&why)) GTEST_SKIP() << why;
    const orntest::PeerNamespace peer("ornc-doc", "169.254.31.1", "169.254.31.2");
    ASSERT_TRUE(peer.ok());
    ornsim::SensorConfig config;
    config.address = "169.254.31.2";
    config.serial = "DOCTOR-VETH";
    const orntest::SensorProcess sensor(ORNSIM_SENSOR_BINARY, config, {}, peer.launcher());
    ASSERT_TRUE(sensor.ok());
    auto doctor = [] {
        return orntest::run_program(ORNC_TOOL_PATH, {"doctor", "DOCTOR-VETH"}, {{"ORNC_INTERFACES", "ornc-doc"}});
    };
    ProgramResult r = doctor();
    expect_has(r.out, {"[hint]    mtu        DOCTOR-VETH: stream packets of 1500 bytes, MTU 1500 on ornc-doc",
                       "fix: ip link set ornc-doc mtu 9000"});

    ASSERT_TRUE(orntest::run_command("ip link set ornc-doc mtu 9000") && peer.ip("link set ornc-dev mtu 9000"));
    r = doctor();
    std::smatch size;
    ASSERT_TRUE(std::regex_search(r.out, size,
                                  std::regex(R"(\[ok\] +mtu +DOCTOR-VETH: stream packets of (\d+) bytes, MTU 9000)")))
        << report(r);
    EXPECT_GT(std::stoi(size[1]), 1500) << "the packet size negotiated anew takes the larger MTU";

    // The sensor's packets other than its control answers (UDP port 3956)
    // and ARP are starved to 8 bit/s (and lost, with netem): the stream test
    // packets never arrive.
    const std::string tc = "tc -n " + peer.launcher().back() + " ";
    for (const char* rule :
         {"qdisc add dev ornc-dev root handle 1: htb default 20",
          "class add dev ornc-dev parent 1: classid 1:10 htb rate 1gbit",
          "class add dev ornc-dev parent 1: classid 1:20 htb rate 8bit ceil 8bit",
          "filter add dev ornc-dev parent 1: protocol ip prio 1 u32 match ip sport 3956 0xffff flowid 1:10",
          "filter add dev ornc-dev parent 1: protocol arp prio 2 u32 match u32 0 0 flowid 1:10"}) {
        ASSERT_TRUE(orntest::run_command(tc + rule)) << rule;
    }
    orntest::run_command(tc + "qdisc add dev ornc-dev parent 1:20 netem loss 100%");  // where the kernel has netem
    r = doctor();
    EXPECT_EQ(r.exit_code, 1) << report(r);
    expect_has(r.out, {"[problem] firewall   DOCTOR-VETH: 0 of 3 stream test packets from 169.254.31.2 arrived",
                       "fix: nft add rule inet filter input ip saddr 169.254.31.2 udp accept"});
}

// The sensor keeps its link-local address while the adapter moves to
// another subnet: strict reverse-path filtering hides it; without, it shows
// outside the subnet.
TEST(DoctorOverALink, NamesTheSubnetAndTheReversePathFilter) {
    std::string why;
    if (!orntest::enter_private_network(&why)) GTEST_SKIP() << why;
    const orntest::PeerNamespace peer("ornc-doc", "10.66.0.1", "169.254.32.2");
    ASSERT_TRUE(peer.ok());
    ASSERT_TRUE(peer.ip("route add 10.66.0.0/16 dev ornc-dev"));
    ornsim::SensorConfig config;
    config.address = "169.254.32.2";
    config.serial = "DOCTOR-SUBNET";
    const orntest::SensorProcess sensor(ORNSIM_SENSOR_BINARY, config, {}, peer.launcher());
    auto doctor = [](const char* rp_filter) {
        EXPECT_TRUE(orntest::run_command(std::string("sysctl -qw net.ipv4.conf.all.rp_filter=") + rp_filter +
                                         " net.ipv4.conf.ornc-doc.rp_filter=" + rp_filter));
        return orntest::run_program(ORNC_TOOL_PATH, {"doctor"}, {{"ORNC_INTERFACES", "ornc-doc"}});
    };
    ProgramResult r = doctor("1");
    expect_has(r.out, {"[hint]    rp_filter  ornc-doc: strict reverse-path filtering drops the answers",
                       "fix: sysctl -w net.ipv4.conf.all.rp_filter=2 net.ipv4.conf.ornc-doc.rp_filter=2"});
    r = doctor("0");  // no route leads to the sensor: loose filtering would drop it too
    expect_has(r.out, {"[problem] subnet     DOCTOR-SUBNET: 169.254.32.2 (link-local) is outside the subnets of "
                       "ornc-doc (10.66.0.1/16)",
                       "fix: give ornc-doc an address there: ip addr add 169.254.0.1/16 dev ornc-doc"});
}

}  // namespace
}  // namespace tooltest
