// Discovery of and images from a device no one here wrote: Aravis's fake
// GigE Vision camera (the support fixture starts it in a network namespace
// of the test's own and admits its model).
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "ORNC.h"
#include "aravis_fake_camera.h"

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
        std::vector<orn_image_t> shapes;
        int broken = 0, failed = 0;
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
                if (image == nullptr || image->data == nullptr) {
                    ++f->failed;
                    return;
                }
                const auto* p = static_cast<const uint8_t*>(image->data);
                const int w = image->width;
                for (int y = 0; y + 1 < image->height; ++y) {
                    for (int x = 0; x + 1 < w; ++x) {
                        f->broken += p[y * w + x + 1] != p[(y + 1) * w + x] ? 1 : 0;
                    }
                }
                f->shapes.push_back(orn_image_t{nullptr, image->width, image->height, image->type, 0, 0});
            },
            &frames);
        ASSERT_EQ(ORNCStart(handle.get()), ORNC_OK);
        ASSERT_EQ(ORNCAcquisitionStartMode(handle.get(), -1, -1), ORNC_OK);  // its own modes
        for (int i = 0; i < 100; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            std::lock_guard<std::mutex> guard(frames.lock);
            if (frames.shapes.size() >= 5) break;
        }
        EXPECT_EQ(ORNCStop(handle.get()), ORNC_OK);
        ORNCDisconnect(handle.get());
        std::lock_guard<std::mutex> guard(frames.lock);
        ASSERT_GE(frames.shapes.size(), 5u);
        EXPECT_EQ(frames.failed, 0);
        EXPECT_EQ(frames.broken, 0);
        for (const orn_image_t& shape : frames.shapes) {
            EXPECT_EQ(std::vector<int>({shape.width, shape.height, static_cast<int>(shape.type)}),
                      std::vector<int>({512, 512, static_cast<int>(ORN_PIX_MONO8)}));
        }
    }
}

}  // namespace
