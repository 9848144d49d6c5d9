// A device whose control channel lies: the library is asked to connect to
// a proxy that relays a real virtual sensor but bends its acknowledges
// (wrong ids, lengths beyond the datagram, short or scrambled memory
// reads, denied writes, garbage or silence after a few honest answers).
// Whatever the lie, the connect returns a status in bounded time, a
// refused connect is logged, and the next device connects and works.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "ORNC.h"
#include "environment.h"
#include "handles.h"
#include "hostile_support.h"
#include "log_capture.h"
#include "loopback.h"
#include "lying_proxy.h"
#include "ornsim/virtual_sensor.h"
#include "process_probes.h"
#include "sensor.h"
#include "temp_dir.h"
#include "wait.h"

namespace {

using hostile::Lie;

// Aravis gives up on a dead peer after its retries (about 2.5 s per
// transaction); a connect that is still busy after this long hangs.
constexpr double kConnectBoundSeconds = 60.0;

const std::string kProxy = orntest::loopback(orntest::Block::hostile, 1);
const std::string kSensor = orntest::loopback(orntest::Block::hostile, 2);

class LyingControlPeer : public ::testing::Test {
protected:
    void SetUp() override {
        sensor_ = std::make_unique<orntest::SensorScope>(orntest::sensor_config(orntest::Block::hostile, 2, "HOST0002"),
                                                         false);
        ASSERT_TRUE(sensor_->ok()) << sensor_->error();
    }

    struct Outcome {
        ornc_status_t status = ORNC_ERROR;
        double seconds = 0;  // the connect call's
        int bent = 0;        // acks the proxy bent
    };

    // Connects through a proxy telling `lie`. The handle is disconnected
    // and destroyed before returning.
    Outcome connect_through(Lie lie) {
        Outcome outcome;
        hostile::LyingProxy proxy(kProxy, kSensor, lie);
        std::string error;
        EXPECT_TRUE(proxy.start(&error)) << error;
        orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", kProxy.c_str());
        orntest::SystemScope system;
        EXPECT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);
        const ornc_device_t* device = ORNCSysGetDeviceByIP(&system.sys, kProxy.c_str());
        EXPECT_NE(device, nullptr) << "the proxy relays discovery honestly";
        if (device == nullptr) return outcome;

        ornc_t ornc{nullptr};
        EXPECT_EQ(ORNCInit(&ornc), ORNC_OK);
        orntest::Stopwatch watch;
        outcome.status = ORNCConnectByDevice(&ornc, device);
        outcome.seconds = watch.seconds();
        if (outcome.status == ORNC_OK) {
            // Whatever the device said, every call answers with a status.
            char text[64];
            for (int i = 0; i < ORNCGetDeviceParamsCount(&ornc); ++i) {
                const ornc_status_t read =
                    ORNCParamGetValue(ORNCParamsGetParam(ORNCGetDeviceParams(&ornc), i), text, sizeof text);
                EXPECT_LE(read, 0);
            }
        }
        const ornc_status_t disconnected = ORNCDisconnect(&ornc);
        EXPECT_TRUE(outcome.status == ORNC_OK ? disconnected == ORNC_OK : disconnected <= 0) << disconnected;
        ORNCDestroy(&ornc);
        proxy.stop();
        outcome.bent = proxy.acks_bent();
        return outcome;
    }

    // The honest sensor, at its own address, after the lie.
    void expect_next_device_works() {
        orntest::ScopedEnv hosts("ORNC_LOOPBACK_HOSTS", kSensor.c_str());
        orntest::SystemScope system;
        ASSERT_EQ(ORNCSysFindDevices(&system.sys), ORNC_OK);
        const ornc_device_t* device = ORNCSysGetDeviceByIP(&system.sys, kSensor.c_str());
        ASSERT_NE(device, nullptr);
        hostile::expect_device_works(device, 320);
    }

    orntest::TempWorkDir workdir_;
    std::unique_ptr<orntest::SensorScope> sensor_;
};

// Lies that leave the library nothing it can use: the connect must fail,
// say so in the log, and leave the library ready for the next device. A
// second and third round end with as many threads and descriptors as the first
// (whose one-time allocations of Aravis and GLib settle there).
TEST_F(LyingControlPeer, EveryUnusableLieFailsTheConnectWithAStatusAndALogLineAndLeavesNothingBehind) {
    int threads = 0;
    int descriptors = 0;
    for (int round = 0; round < 3; ++round) {
        for (Lie lie : {Lie::kWrongAckIds, Lie::kShortMemoryReads, Lie::kCorruptDescription, Lie::kGarbageAfterFew,
                        Lie::kSilentAfterFew}) {
            SCOPED_TRACE(hostile::lie_name(lie));
            orntest::LogCapture log;
            const Outcome outcome = connect_through(lie);
            EXPECT_EQ(outcome.status, ORNC_ERR_DEVICE_CONNECT_FAILED);
            EXPECT_GT(outcome.bent, 0) << "the proxy told no lie";
            EXPECT_LT(outcome.seconds, kConnectBoundSeconds);
            EXPECT_GE(log.count_containing("ERROR: ORNC: Unable to connect to device"), 1);
            ASSERT_NO_FATAL_FAILURE(expect_next_device_works());
        }
        if (round == 0) {
            threads = orntest::thread_count();
            descriptors = orntest::descriptor_count();
        }
    }
    EXPECT_EQ(orntest::thread_count(), threads);
    EXPECT_EQ(orntest::descriptor_count(), descriptors);
}

// Lies that leave the data intact (an ack length field larger than its
// datagram, writes refused while reads answer): whether the connect is
// refused or not, it is bounded, every call answers, and the next device works.
TEST_F(LyingControlPeer, AnHonestRelayConnectsAndLiesAroundIntactDataNeverHangTheConnect) {
    // The harness itself works: an honest relay connects.
    const Outcome honest = connect_through(Lie::kNone);
    EXPECT_EQ(honest.status, ORNC_OK);
    EXPECT_EQ(honest.bent, 0);
    for (Lie lie : {Lie::kLengthLargerThanDatagram, Lie::kDeniedWrites}) {
        SCOPED_TRACE(hostile::lie_name(lie));
        const Outcome outcome = connect_through(lie);
        std::printf("%s: connect status %d after %.1f s\n", hostile::lie_name(lie), outcome.status, outcome.seconds);
        EXPECT_TRUE(outcome.status == ORNC_OK || outcome.status == ORNC_ERR_DEVICE_CONNECT_FAILED) << outcome.status;
        EXPECT_GT(outcome.bent, 0);
        EXPECT_LT(outcome.seconds, kConnectBoundSeconds);
        ASSERT_NO_FATAL_FAILURE(expect_next_device_works());
    }
}

}  // namespace
