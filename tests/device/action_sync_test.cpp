// Three virtual sensor processes, each in a network namespace of its own on
// a veth joined to one bridge in the test's namespace (link-local
// addresses; nothing leaves these namespaces): one scheduled action command
// fires one frame in each, stamped with the scheduled time; wrong keys or
// mask fire nothing; ornc-tool sync calls a skewed clock unsynchronised; and
// 1,000 actions at 20 per second lose no frame. Root only.
#include <gtest/gtest.h>
#include <time.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ORNCExt.h"
#include "environment.h"
#include "handles.h"
#include "private_network.h"
#include "run_program.h"
#include "sensor.h"
#include "wait.h"

namespace {

constexpr uint32_t kDeviceKey = 0x11, kGroupKey = 0x22, kGroupMask = 0x4;

int64_t realtime_ns() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// A connection triggered by action 1, counting its frames' timestamps (ns).
struct Triggered {
    ornc_t ornc{nullptr};
    std::mutex mutex;
    std::vector<int64_t> stamps;

    static void on_image(orn_image_t* image, void* self) { on_frame(image != nullptr, self); }
    static void on_vector(orn_image_vec_t* vec, void* self) { on_frame(vec != nullptr, self); }
    static void on_frame(bool ok, void* self) {
        auto* me = static_cast<Triggered*>(self);
        ornc_frame_info_t info{};
        if (!ok || ORNCGetFrameInfo(&me->ornc, &info) != ORNC_OK || info.timestamp_frequency == 0) return;
        std::lock_guard<std::mutex> lock(me->mutex);
        me->stamps.push_back(int64_t(info.timestamp * (1000000000.0 / double(info.timestamp_frequency))));
    }
    std::vector<int64_t> taken() {
        std::lock_guard<std::mutex> lock(mutex);
        return stamps;
    }
    void start(const ornc_device_t* device) {
        ASSERT_EQ(ORNCInit(&ornc), ORNC_OK);
        ASSERT_EQ(ORNCConnectByDevice(&ornc, device), ORNC_OK);
        const std::vector<std::pair<const char*, std::string>> settings = {
            {"TriggerMode", "On"},
            {"TriggerSource", "Action1"},
            {"ActionSelector", "1"},
            {"ActionGroupKey", std::to_string(kGroupKey)},
            {"ActionGroupMask", std::to_string(kGroupMask)},
            {"ActionDeviceKey", std::to_string(kDeviceKey)},
            {"PtpEnable", "true"}};
        for (const auto& setting : settings) {
            ASSERT_EQ(ORNCParamSetValueText(orntest::device_param(&ornc, setting.first), setting.second.c_str()),
                      ORNC_OK)
                << setting.first;
        }
        ORNCSetImageCallback(&ornc, on_image, this);
        ORNCSetImageVecCallback(&ornc, on_vector, this);
        ASSERT_EQ(ORNCStart(&ornc), ORNC_OK);
        ASSERT_EQ(ORNCAcquisitionStartMode(&ornc, -1, -1), ORNC_OK);
    }
    ~Triggered() {
        ORNCStop(&ornc);
        ORNCDisconnect(&ornc);
        ORNCDestroy(&ornc);
    }
};

class ThreeSensors : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why;
        if (!orntest::enter_private_network(&why)) GTEST_SKIP() << why;
    }
    // The sensors VSYNC1..3 on the bridge; the last one's clock `skew_ms` off.
    void start(int skew_ms) {
        for (int i = 0; i < 3; ++i) {
            ornsim::SensorConfig config;
            config.address = "169.254.0.1" + std::to_string(2 + i);
            config.serial = serials_[i];
            config.mac = "02:00:00:00:17:0" + std::to_string(i + 1);
            config.width = 64;
            config.height = 48;
            std::vector<std::string> extra;
            if (i == 2 && skew_ms != 0) extra = {"--clock-skew-ms", std::to_string(skew_ms)};
            peers_.push_back(std::make_unique<orntest::PeerNamespace>("ornc-s" + std::to_string(i), "169.254.0.1",
                                                                      config.address, "ornc-br"));
            ASSERT_TRUE(peers_.back()->ok());
            sensors_.push_back(std::make_unique<orntest::SensorProcess>(ORNSIM_SENSOR_BINARY, config, extra,
                                                                        peers_.back()->launcher()));
            ASSERT_TRUE(sensors_.back()->ok()) << serials_[i] << " never answered";
        }
    }
    orntest::ProgramResult sync(const std::vector<std::string>& options, double timeout_s) {
        std::vector<std::string> args = options;
        args.insert(args.begin(), {"sync", serials_[0], serials_[1], serials_[2]});
        return orntest::run_program(ORNC_TOOL_BINARY, args, {}, timeout_s);
    }

    const std::string serials_[3] = {"VSYNC1", "VSYNC2", "VSYNC3"};
    orntest::ScopedEnv interfaces_{"ORNC_INTERFACES", nullptr};    // every adapter of this namespace
    orntest::ScopedEnv quiet_{"ORNC_DISCOVERY_QUIET_MS", "1000"};  // a sensor stalled by a busy machine
    std::vector<std::unique_ptr<orntest::PeerNamespace>> peers_;   // end after the sensors
    std::vector<std::unique_ptr<orntest::SensorProcess>> sensors_;
};

TEST_F(ThreeSensors, OneScheduledActionOneFrameEachAndWrongKeysNone) {
    start(0);
    orntest::SystemScope system;
    orntest::wait_until(
        [&] { return ORNCSysFindDevices(&system.sys) == ORNC_OK && ORNCSysGetDeviceCount(&system.sys) >= 3; },
        std::chrono::seconds(5));
    Triggered triggered[3];
    for (int i = 0; i < 3; ++i) {
        const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&system.sys, serials_[i].c_str());
        ASSERT_NE(device, nullptr) << serials_[i];
        triggered[i].start(device);
    }
    const uint32_t wrong[3][3] = {{kDeviceKey + 1, kGroupKey, kGroupMask},
                                  {kDeviceKey, kGroupKey + 1, kGroupMask},
                                  {kDeviceKey, kGroupKey, ~kGroupMask}};
    int acknowledged = -1;
    for (const auto& keys : wrong) {
        EXPECT_EQ(ORNCSysSendActionCommand(&system.sys, keys[0], keys[1], keys[2], 0, &acknowledged), ORNC_OK);
        EXPECT_EQ(acknowledged, 0) << keys[0] << "/" << keys[1] << "/" << keys[2];
    }
    const int64_t when = realtime_ns() + 300 * 1000000LL;  // ahead of a stall of a busy machine
    EXPECT_EQ(ORNCSysSendActionCommand(&system.sys, kDeviceKey, kGroupKey, kGroupMask, uint64_t(when), &acknowledged),
              ORNC_OK);
    EXPECT_EQ(acknowledged, 3);
    orntest::wait_until(
        [&] { return triggered[0].taken().size() + triggered[1].taken().size() + triggered[2].taken().size() >= 3; },
        std::chrono::seconds(3));
    orntest::wait_until([] { return false; }, std::chrono::milliseconds(300));  // a stray frame would come by now
    for (Triggered& t : triggered) {
        const std::vector<int64_t> stamps = t.taken();
        ASSERT_EQ(stamps.size(), 1u) << "one frame for the one matching action";
        EXPECT_NEAR(double(stamps[0] - when), 0.0, 1e6) << "ns from the scheduled time";
    }
    const orntest::ProgramResult tool = orntest::run_program(
        ORNC_TOOL_BINARY, {"action", "--device-key", "0x11", "--group-key", "0x22", "--mask", "4", "--at", "+100"});
    EXPECT_NE(tool.out.find(" (in 100 ms): 3 acknowledged"), std::string::npos) << tool.out << tool.err;
}

TEST_F(ThreeSensors, SyncCallsASkewedClockUnsynchronised) {
    start(5);
    const orntest::ProgramResult run = sync({"--shots", "3", "--lead-ms", "300"}, 60);
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("3/3 shots with a frame from each of 3 devices"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("VSYNC1 169.254.0.12: PTP Slave"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("VSYNC3 169.254.0.14: PTP Uncalibrated, offset from master 5000000 ns: unsynchronised"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("1 device unsynchronised"), std::string::npos) << run.out;
}

TEST_F(ThreeSensors, ThousandActionsAtTwentyPerSecondLoseNoFrame) {
    start(0);
    const orntest::ProgramResult run = sync({"--shots", "1000", "--interval-ms", "50", "--lead-ms", "400"}, 180);
    EXPECT_EQ(run.exit_code, 0) << run.err << run.out.substr(run.out.size() > 3000 ? run.out.size() - 3000 : 0);
    EXPECT_NE(run.out.find("1000/1000 shots with a frame from each of 3 devices"), std::string::npos);
}

}  // namespace
