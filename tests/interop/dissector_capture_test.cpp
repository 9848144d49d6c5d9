// Our wire read by Wireshark's GVCP/GVSP dissectors: the library drives a
// virtual sensor process over a veth pair (1500-byte MTU) into a network
// namespace of the test's own, tshark captures the adapter, and every
// frame of each scenario must dissect without a malformed packet, an
// expert warning or an IP fragment, both directions, while what the
// scenario sent is recognised. Skips without tshark or root.
#include <gtest/gtest.h>
#include <sys/types.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "environment.h"
#include "handles.h"
#include "private_network.h"
#include "run_program.h"
#include "sensor.h"
#include "temp_dir.h"
#include "wait.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kAdapter = "ornc-host";
constexpr const char* kHostAddress = "169.254.10.1";
constexpr const char* kSensorAddress = "169.254.10.2";
constexpr const char* kMovedAddress = "169.254.20.7";
constexpr const char* kSerial = "VSN0012";
constexpr int kFrames = 6;

// What a scenario does while the capture runs: discovery, control and
// FORCEIP, or a grab of some frames with these settings.
enum Drive : unsigned { kControl = 0, kGrab = 1, kMultipart = 2, kChunks = 4, kEvents = 8 };

struct Scenario {
    const char* name;
    unsigned drive;
    const char* loss;  // the sensor's share of stream packets dropped on first send, "" for none
    const char* seen;  // display filters, "; " between them, that must each match a frame
};

void PrintTo(const Scenario& s, std::ostream* out) { *out << s.name; }

// Wireshark's command-line reader and capture program ("" without them);
// the reader on a capture file, with `decode_as` rules.
const std::string kTshark = ORNC_TSHARK, kDumpcap = ORNC_DUMPCAP;
orntest::ProgramResult read_capture(const std::string& file, std::vector<std::string> args,
                                    const std::vector<std::string>& decode_as) {
    args.insert(args.begin(), {"-n", "-r", file});
    for (const std::string& rule : decode_as) args.insert(args.end(), {"-d", rule});
    return orntest::run_program(kTshark, args, {}, 120.0);
}

// How many frames match each of `filters`; empty when tshark could not tell.
std::vector<long> count_frames(const std::string& file, const std::vector<std::string>& filters,
                               const std::vector<std::string>& decode_as) {
    std::string statistic = "io,stat,0";
    for (const std::string& filter : filters) statistic += "," + filter;
    const orntest::ProgramResult result = read_capture(file, {"-q", "-z", statistic}, decode_as);
    // The one interval's row: "| 0.000 <> 4.2 | frames | bytes | frames | bytes ...".
    std::vector<long> counts;
    for (const std::string& line : orntest::lines_of(result.exit_code == 0 ? result.out : "")) {
        if (line.find("<>") == std::string::npos) continue;
        std::istringstream cells(line);
        std::string cell;
        counts.clear();
        for (int column = 0; std::getline(cells, cell, '|'); ++column) {
            if (column >= 2 && column % 2 == 0) counts.push_back(std::strtol(cell.c_str(), nullptr, 10));
        }
    }
    return counts.size() == filters.size() ? counts : std::vector<long>{};
}

// The distinct values of `field` in the frames matching `filter`, in order.
std::vector<std::string> field_values(const std::string& file, const std::string& field, const std::string& filter,
                                      const std::vector<std::string>& decode_as = {}) {
    std::vector<std::string> values;
    for (const std::string& line :
         orntest::lines_of(read_capture(file, {"-Y", filter, "-T", "fields", "-e", field}, decode_as).out)) {
        if (!line.empty() && std::find(values.begin(), values.end(), line) == values.end()) values.push_back(line);
    }
    return values;
}

// What the callbacks saw, from the acquisition thread.
struct Deliveries {
    std::atomic<int> frames{0}, failed{0}, events{0};
    void count(bool ok) { ++(ok ? frames : failed); }
};

class DissectedCapture : public ::testing::TestWithParam<Scenario> {
protected:
    void SetUp() override {
        std::string why;
        if (kTshark.empty() || kDumpcap.empty()) GTEST_SKIP() << "tshark or dumpcap is not installed";
        if (!orntest::enter_private_network(&why)) GTEST_SKIP() << why;
        peer_ = std::make_unique<orntest::PeerNamespace>(kAdapter, kHostAddress, kSensorAddress);
        ASSERT_TRUE(peer_->ok());
        // Wireshark's capture engine itself: it starts at once, where tshark first loads every dissector.
        capture_ = orntest::spawn({kDumpcap, "-q", "-i", kAdapter, "-w", file_});
        // The file gets its header once the adapter is open.
        ASSERT_TRUE(orntest::wait_until([&] { return !orntest::read_file(file_).empty(); }, 5s))
            << "tshark did not start capturing on " << kAdapter;
        ornsim::SensorConfig config;
        config.address = kSensorAddress;
        config.serial = kSerial;
        config.width = 160;
        config.height = 120;
        config.fps = 20;
        std::vector<std::string> loss;
        if (*GetParam().loss != '\0') loss = {"--loss", GetParam().loss};
        sensor_ = std::make_unique<orntest::SensorProcess>(ORNSIM_SENSOR_BINARY, config, loss, peer_->launcher());
        ASSERT_TRUE(sensor_->ok()) << "the sensor does not answer over the veth link";
    }

    void TearDown() override { stop_capture(); }
    // Ends the capture once the last packets are written.
    void stop_capture() {
        if (capture_ <= 0) return;
        std::this_thread::sleep_for(300ms);
        orntest::end_child(capture_);
        capture_ = -1;
    }

    void control() {
        orntest::SystemScope scope;
        ASSERT_EQ(ORNC_OK, ORNCSysFindDevices(&scope.sys));
        const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&scope.sys, kSerial);
        ASSERT_NE(nullptr, device);
        {
            orntest::Handle handle;
            ASSERT_EQ(ORNC_OK, ORNCConnectByDevice(handle.get(), device));
            EXPECT_EQ(ORNC_OK, ORNCParamSetStringValue(handle.param("DeviceUserID"), "dissected"));
            EXPECT_EQ(ORNC_OK, ORNCParamSetIntegerValue(handle.param("Width"), 128));
        }
        // The sensor can only bind an address its namespace holds.
        ASSERT_TRUE(peer_->ip(std::string("addr add ") + kMovedAddress + "/16 dev ornc-dev"));
        EXPECT_EQ(ORNC_OK, ORNCDeviceSetIPConfiguration(device, kMovedAddress, "255.255.0.0", "0.0.0.0"));
    }

    void grab(const Scenario& s) {
        orntest::Handle handle;
        ornc_t* ornc = handle.get();
        ASSERT_EQ(ORNC_OK, ORNCConnectBySerialNumber(ornc, nullptr, kSerial));
        ASSERT_EQ(ORNC_OK,
                  ORNCParamSetBooleanValue(handle.param("GevSCCFGMultiPartEnabled"), (s.drive & kMultipart) != 0));
        ASSERT_EQ(ORNC_OK, ORNCParamSetBooleanValue(handle.param("ChunkModeActive"), (s.drive & kChunks) != 0));
        const bool events = (s.drive & kEvents) != 0;
        if (events) {
            ASSERT_EQ(ORNC_OK, ORNCParamSetEnumValueByName(handle.param("EventSelector"), "FrameEnd"));
            ASSERT_EQ(ORNC_OK, ORNCParamSetEnumValueByName(handle.param("EventNotification"), "On"));
        }
        Deliveries seen;
        ORNCSetImageCallback(
            ornc, [](orn_image_t* i, void* d) { static_cast<Deliveries*>(d)->count(i); }, &seen);
        ORNCSetImageVecCallback(
            ornc, [](orn_image_vec_t* v, void* d) { static_cast<Deliveries*>(d)->count(v); }, &seen);
        ORNCSetEventCallback(
            ornc, [](orn_uint64_t, ornc_param_list_t*, void* d) { ++static_cast<Deliveries*>(d)->events; }, &seen);
        ASSERT_EQ(ORNC_OK, ORNCStart(ornc));
        ASSERT_EQ(ORNC_OK, ORNCAcquisitionStartMode(ornc, 0, 0));
        orntest::wait_until([&] { return seen.frames >= kFrames && (!events || seen.events > 0); }, 15s);
        EXPECT_EQ(ORNC_OK, ORNCAcquisitionStop(ornc));
        EXPECT_EQ(ORNC_OK, ORNCStop(ornc));
        EXPECT_GE(seen.frames, kFrames) << seen.failed << " failed transfers";
        EXPECT_TRUE(!events || seen.events > 0) << "no event reached the callback";
    }

    // Decode rules for the flow of one channel: the port the library wrote
    // last to its register (earlier ones are closed probe sockets, whose
    // numbers a later socket may take) and the sensor's ports sending to
    // it. Both ends: tshark tries the lower port first, and an ephemeral
    // port may be one another dissector claims (34962 is PROFINET's).
    void decode_flow(const char* channel, const char* dissector, std::vector<std::string>* rules) {
        const std::string field = std::string("gvcp.bootstrap.") + channel + ".hostport";
        const std::vector<std::string> writes = field_values(file_, "frame.number", field + " > 0");
        if (writes.empty()) return;
        const std::string port = field_values(file_, field, "frame.number == " + writes.back()).at(0);
        rules->push_back("udp.port==" + port + "," + dissector);
        const std::string from = std::string("ip.src == ") + kSensorAddress + " && udp.srcport != 3956";
        for (const std::string& source : field_values(file_, "udp.srcport", from + " && udp.dstport == " + port))
            rules->push_back("udp.port==" + source + "," + dissector);
    }

    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", nullptr};  // lo and the veth end
    orntest::TempWorkDir workdir_;
    const std::string file_ = workdir_.file("capture.pcapng");
    std::unique_ptr<orntest::PeerNamespace> peer_;  // ends last, after the capture and the sensor
    pid_t capture_ = -1;                            // tshark's
    std::unique_ptr<orntest::SensorProcess> sensor_;
};

TEST_P(DissectedCapture, EveryFrameDissectsCleanAndIsRecognised) {
    const Scenario& s = GetParam();
    if (s.drive == kControl) {
        control();
    } else {
        grab(s);
    }
    stop_capture();

    std::vector<std::string> decode_as;
    decode_flow("scpx", "gvsp", &decode_as);
    decode_flow("mcp", "gvcp", &decode_as);
    const std::string warnings = "_ws.expert.severity >= 0x00600000";  // warning or error
    std::vector<std::string> filters{"_ws.malformed", warnings, "ip.flags.mf == 1 || ip.frag_offset > 0"};
    for (std::string seen = s.seen; !seen.empty();) {
        filters.push_back(seen.substr(0, seen.find("; ")));
        seen.erase(0, filters.back().size() + 2);
    }
    const std::vector<long> counts = count_frames(file_, filters, decode_as);
    ASSERT_EQ(filters.size(), counts.size()) << "tshark could not read the capture";
    std::string shown;  // a few of the frames at fault, as Wireshark summarises them
    const std::vector<std::string> faulty = field_values(file_, "_ws.col.Info", warnings, decode_as);
    for (size_t i = 0; i < faulty.size() && i < 3; ++i) shown += "\n  " + faulty[i];
    EXPECT_EQ(0, counts[0]) << "malformed frames, e.g." << shown;
    EXPECT_EQ(0, counts[1]) << "frames with expert warnings, e.g." << shown;
    EXPECT_EQ(0, counts[2]) << "IP fragments";
    for (size_t i = 3; i < filters.size(); ++i) EXPECT_GT(counts[i], 0) << "no frame matches " << filters[i];
}

// GVSP packet formats with the extended-id bit (the library asks for 64-bit
// ids): 0x81 leader, 0x82 trailer, 0x83 image payload, 0x87 multipart payload.
INSTANTIATE_TEST_SUITE_P(
    Scenarios, DissectedCapture,
    ::testing::Values(
        Scenario{"DiscoveryControlAndForceIP", kControl, "",
                 "gvcp.cmd.command == 0x0002; gvcp.ack == 0x0003; gvcp.cmd.command == 0x0080; gvcp.ack == 0x0081; "
                 "gvcp.cmd.command == 0x0082; gvcp.ack == 0x0083; gvcp.cmd.command == 0x0084; gvcp.ack == 0x0085; "
                 "gvcp.cmd.command == 0x0086; gvcp.ack == 0x0087; gvcp.cmd.command == 0x0004; gvcp.ack == 0x0005"},
        Scenario{"MultipartWithChunks", kGrab | kMultipart | kChunks, "",
                 "gvsp.format == 0x81 && gvsp.numparts == 4; gvsp.format == 0x87; "
                 "gvsp.format == 0x82 && gvsp.payloadtype == 0x400a && gvsp.chunklayoutidhex"},
        Scenario{"SingleImageWithChunks", kGrab | kChunks, "",
                 "gvsp.format == 0x81 && gvsp.payloadtype == 0x4001; gvsp.format == 0x83; "
                 "gvsp.format == 0x82 && gvsp.sizey == 120"},
        Scenario{"ResendsUnderLoss", kGrab | kMultipart, "0.05",
                 "gvcp.cmd.command == 0x0040; gvsp.flag.packetresend == 1; gvsp.format == 0x82"},
        Scenario{"EventsWithExtendedIds", kGrab | kMultipart | kEvents, "",
                 "gvcp.cmd.command == 0x00c2 && gvcp.cmd.flag.64bitid == 1; gvcp.ack == 0x00c3"}),
    [](const ::testing::TestParamInfo<Scenario>& p) { return std::string(p.param.name); });

}  // namespace
