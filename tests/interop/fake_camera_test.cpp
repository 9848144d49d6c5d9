// Discovery of and images from a device no one here wrote: Aravis's fake
// GigE Vision camera (the support fixture starts it in a network namespace
// of the test's own and admits its model).
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <vector>

#include "ORNC.h"
#include "aravis_fake_camera.h"
#include "wait.h"

namespace {

using orntest::AravisFakeCamera;

TEST_F(AravisFakeCamera, IsFoundWithItsDetailsOnlyWhileTheModelFileAdmitsIt) {
    EXPECT_EQ(1, ORNCSysGetDeviceCount(&system_.sys));
    EXPECT_EQ("Fake", orntest::text_of(ORNCDeviceGetModelName, device_));
    EXPECT_EQ("Aravis", orntest::text_of(ORNCDeviceGetVendorName, device_));
    EXPECT_EQ(kSerial, orntest::device_serial(device_));
    EXPECT_EQ(kAddress, orntest::device_ip(device_));
    EXPECT_EQ("00:00:00:00:00:00", orntest::text_of(ORNCDeviceGetMACAddress, device_));
    EXPECT_EQ(device_, ORNCSysGetDeviceByIP(&system_.sys, kAddress));
    EXPECT_EQ(device_, ORNCSysGetDeviceByPattern(&system_.sys, "Aravis Fake"));
    EXPECT_EQ(device_, ORNCInterfaceGetDevice(&system_.sys, orntest::interface_named(&system_.sys, "lo"), 0));

    workdir_.remove_model_file();
    EXPECT_EQ(0, ORNCSysGetDeviceCount(&system_.sys));
    EXPECT_EQ(nullptr, ORNCSysGetDeviceBySerialNumber(&system_.sys, kSerial));
}

// The camera's images reach the callback whole through either stream
// receiver: its own sender (standard 16-bit block ids, single images) is
// the judge of our packet layout. It draws a diagonal ramp (a pixel's
// value depends on x + y only), so a packet placed at a wrong offset or
// missing breaks the ramp along its edges.
TEST_F(AravisFakeCamera, ImagesArriveWholeOnEitherStreamReceiver) {
    struct Frames {
        std::mutex lock;
        int images = 0, other_shape = 0, broken = 0, failed = 0;
        int count() {
            std::lock_guard<std::mutex> guard(lock);
            return images;
        }
    };
    for (const char* receiver : {"aravis", "own"}) {
        SCOPED_TRACE(receiver);
        orntest::ScopedEnv choice("ORNC_STREAM_RECEIVER", receiver);
        orntest::Handle handle;
        // A camera without 3D components: connected, the component table empty.
        ASSERT_EQ(ORNCConnectByDevice(handle.get(), device_), ORNC_ERR_PARAM_UNDEFINED);
        Frames frames;
        ORNCSetImageCallback(
            handle.get(),
            [](orn_image_t* image, void* userdata) {
                Frames* f = static_cast<Frames*>(userdata);
                std::lock_guard<std::mutex> guard(f->lock);
                ++f->images;
                if (image == nullptr || image->data == nullptr) {
                    ++f->failed;
                } else if (image->width != 512 || image->height != 512 || image->type != ORN_PIX_MONO8) {
                    ++f->other_shape;
                } else {
                    const auto* p = static_cast<const uint8_t*>(image->data);
                    for (int y = 0; y + 1 < 512; ++y) {
                        for (int x = 0; x + 1 < 512; ++x) f->broken += p[y * 512 + x + 1] != p[(y + 1) * 512 + x];
                    }
                }
            },
            &frames);
        ASSERT_EQ(ORNCStart(handle.get()), ORNC_OK);
        ASSERT_EQ(ORNCAcquisitionStartMode(handle.get(), -1, -1), ORNC_OK);  // its own modes
        const bool got = orntest::wait_until([&] { return frames.count() >= 5; }, std::chrono::seconds(5));
        EXPECT_EQ(ORNCStop(handle.get()), ORNC_OK);
        ORNCDisconnect(handle.get());
        ASSERT_TRUE(got);
        std::lock_guard<std::mutex> guard(frames.lock);
        EXPECT_EQ(std::vector<int>({frames.failed, frames.other_shape, frames.broken}), std::vector<int>({0, 0, 0}));
    }
}

}  // namespace
