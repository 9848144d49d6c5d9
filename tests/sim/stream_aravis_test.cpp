// Aravis as the client of the whole virtual sensor: it connects by address on
// loopback, configures multipart and the components through the GenICam
// features, and receives frames through its own GVSP receiver. Every part is
// checked against the scene, under packet loss too (resends must make every
// frame complete). Aravis picks its receiver: its packet socket where the
// process may open one (the library's own UDP-socket path has its tests in
// tests/device).
#include <arv.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ornsim/components.h"
#include "ornsim/virtual_sensor.h"
#include "scene.h"

namespace {

using namespace ornsim;

constexpr uint32_t kWidth = 160;
constexpr uint32_t kHeight = 120;
constexpr guint64 kPopTimeoutUs = 3'000'000;

class StreamAravisTest : public ::testing::Test {
protected:
    // Starts the sensor and connects. Every test has its own device address
    // (127.0.3.x, apart from the other suites' sensors), so a sensor still
    // closing never answers the next test.
    void open(int test) {
        SensorConfig config;
        config.address = "127.0.3." + std::to_string(10 + 2 * test);
        config.width = kWidth;
        config.height = kHeight;
        config.fps = 25.0;
        sensor_ = std::make_unique<VirtualSensor>(config);
        std::string error;
        ASSERT_TRUE(sensor_->start(&error)) << error;

        GInetAddress* interface_address = g_inet_address_new_from_string("127.0.0.1");
        GInetAddress* device_address = g_inet_address_new_from_string(config.address.c_str());
        GError* gerror = nullptr;
        device_ = arv_gv_device_new(interface_address, device_address, &gerror);
        g_object_unref(interface_address);
        g_object_unref(device_address);
        ASSERT_NE(device_, nullptr) << (gerror ? gerror->message : "no device");
        camera_ = arv_camera_new_with_device(device_, &gerror);
        ASSERT_NE(camera_, nullptr) << (gerror ? gerror->message : "no camera");
    }

    void TearDown() override {
        if (camera_ != nullptr && acquiring_) arv_camera_stop_acquisition(camera_, nullptr);
        // Close the stream channel before Aravis frees its port: tests run in
        // parallel processes, and a port reused by another test's receiver must
        // not get this sensor's frames.
        if (device_ != nullptr && stream_ != nullptr)
            arv_device_set_integer_feature_value(device_, "GevSCPHostPort", 0, nullptr);
        if (stream_ != nullptr) g_object_unref(stream_);
        if (camera_ != nullptr) g_object_unref(camera_);
        if (device_ != nullptr) g_object_unref(device_);
        if (sensor_) sensor_->stop();
    }

    void set_string(const char* feature, const char* value) {
        GError* e = nullptr;
        arv_device_set_string_feature_value(device_, feature, value, &e);
        ASSERT_EQ(e, nullptr) << feature << "=" << value << ": " << e->message;
    }
    double get_float(const char* feature) {
        GError* e = nullptr;
        const double v = arv_device_get_float_feature_value(device_, feature, &e);
        EXPECT_EQ(e, nullptr) << feature << ": " << (e ? e->message : "");
        return v;
    }

    void enable_component(const char* name, const char* pixel_format, bool enable) {
        set_string("ComponentSelector", name);
        GError* e = nullptr;
        arv_device_set_boolean_feature_value(device_, "ComponentEnable", enable ? TRUE : FALSE, &e);
        ASSERT_EQ(e, nullptr) << name << ": " << e->message;
        if (enable) set_string("PixelFormat", pixel_format);
    }

    // Multipart with extended IDs, as the library configures it.
    void configure_multipart(const char* range_format, bool intensity, bool confidence) {
        set_string("GevGVSPExtendedIDMode", "On");
        GError* e = nullptr;
        arv_camera_gv_set_multipart(camera_, TRUE, &e);
        ASSERT_EQ(e, nullptr) << e->message;
        enable_component("Range", range_format, true);
        enable_component("Intensity", "Mono8", intensity);
        enable_component("Confidence", "Confidence8", confidence);
    }

    void start_stream(int packet_size) {
        GError* e = nullptr;
        arv_camera_gv_set_packet_size(camera_, packet_size, &e);
        ASSERT_EQ(e, nullptr) << e->message;
        set_string("AcquisitionMode", "Continuous");
        const gint payload = arv_camera_get_payload(camera_, &e);
        ASSERT_EQ(e, nullptr) << e->message;
        ASSERT_GT(payload, 0);
        stream_ = arv_camera_create_stream(camera_, nullptr, nullptr, &e);
        ASSERT_NE(stream_, nullptr) << (e ? e->message : "no stream");
        // By default Aravis sizes the UDP receive buffer to one frame; on a busy
        // machine its thread can sleep longer than that buffer lasts at link
        // speed. A fixed large buffer keeps the test about the protocol.
        // For the same reason frames are given a second (not 0.1 s) to complete
        // through resends before Aravis gives up on them.
        g_object_set(stream_, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size", 4 * 1024 * 1024,
                     "frame-retention", 1000000u, nullptr);
        for (int i = 0; i < 8; ++i)
            arv_stream_push_buffer(stream_, arv_buffer_new(static_cast<size_t>(payload), nullptr));
        arv_camera_start_acquisition(camera_, &e);
        ASSERT_EQ(e, nullptr) << e->message;
        acquiring_ = true;
    }

    SceneConfig scene() {
        return SceneConfig{kWidth, kHeight, static_cast<float>(get_float("Scan3dCoordinateScale")),
                           static_cast<float>(get_float("Scan3dCoordinateOffset"))};
    }

    // Checks one part of a buffer against the scene of `frame_id`.
    void expect_part(ArvBuffer* buffer, guint part, uint32_t component, uint32_t pixel_format, const SceneConfig& sc,
                     uint64_t frame_id) {
        SCOPED_TRACE("part " + std::to_string(part) + " of frame " + std::to_string(frame_id));
        EXPECT_EQ(arv_buffer_get_part_component_id(buffer, part), component);
        EXPECT_EQ(arv_buffer_get_part_pixel_format(buffer, part), pixel_format);
        EXPECT_EQ(arv_buffer_get_part_width(buffer, part), static_cast<gint>(kWidth));
        EXPECT_EQ(arv_buffer_get_part_height(buffer, part), static_cast<gint>(kHeight));
        size_t size = 0;
        const auto* data = static_cast<const uint8_t*>(arv_buffer_get_part_data(buffer, part, &size));
        std::vector<uint8_t> expected;
        if (pixel_format == kPixelFormatCoord3D_ABC32f) {
            expected.resize(scene_abc32f_size(sc));
            render_range_abc32f(sc, frame_id, reinterpret_cast<float*>(expected.data()));
        } else if (pixel_format == kPixelFormatCoord3D_C16) {
            expected.resize(scene_c16_size(sc));
            render_range_c16(sc, frame_id, reinterpret_cast<uint16_t*>(expected.data()));
        } else if (pixel_format == kPixelFormatConfidence8) {
            expected.resize(scene_mono8_size(sc));
            render_confidence8(sc, frame_id, expected.data());
        } else {
            expected.resize(scene_mono8_size(sc));
            render_intensity8(sc, frame_id, expected.data());
        }
        ASSERT_EQ(size, expected.size());
        ASSERT_NE(data, nullptr);
        // Aravis neither bounds-checks part sizes nor fails undersized buffers,
        // so compare the bytes, not just the status.
        size_t differing = 0;
        for (size_t i = 0; i < size; ++i) differing += data[i] != expected[i];
        EXPECT_EQ(differing, 0u);
    }

    // Pops `count` frames; each must be complete and match the scene.
    void receive_multipart(int count, uint32_t range_format, bool intensity, bool confidence) {
        const SceneConfig sc = scene();
        for (int n = 0; n < count; ++n) {
            ArvBuffer* buffer = arv_stream_timeout_pop_buffer(stream_, kPopTimeoutUs);
            ASSERT_NE(buffer, nullptr) << "no frame within 3 s (frame " << n << ")";
            EXPECT_EQ(arv_buffer_get_status(buffer), ARV_BUFFER_STATUS_SUCCESS) << "frame " << n;
            if (arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS) {
                EXPECT_EQ(arv_buffer_get_payload_type(buffer), ARV_BUFFER_PAYLOAD_TYPE_MULTIPART);
                const uint64_t frame_id = arv_buffer_get_frame_id(buffer);
                const guint expected_parts = 1u + (intensity ? 1u : 0u) + (confidence ? 1u : 0u);
                EXPECT_EQ(arv_buffer_get_n_parts(buffer), expected_parts);
                if (arv_buffer_get_n_parts(buffer) == expected_parts) {
                    guint part = 0;
                    expect_part(buffer, part++, kRangeComponentId, range_format, sc, frame_id);
                    if (intensity) expect_part(buffer, part++, kIntensityComponentId, kPixelFormatMono8, sc, frame_id);
                    if (confidence)
                        expect_part(buffer, part++, kConfidenceComponentId, kPixelFormatConfidence8, sc, frame_id);
                }
            }
            arv_stream_push_buffer(stream_, buffer);
        }
    }

    std::unique_ptr<VirtualSensor> sensor_;
    ArvDevice* device_ = nullptr;
    ArvCamera* camera_ = nullptr;
    ArvStream* stream_ = nullptr;
    bool acquiring_ = false;
};

TEST_F(StreamAravisTest, MultipartFramesWithEveryComponentCompleteUnderPacketLoss) {
    ASSERT_NO_FATAL_FAILURE(open(1));
    FaultSwitches faults;
    faults.stream_loss_ratio = 0.01;
    sensor_->set_faults(faults);
    ASSERT_NO_FATAL_FAILURE(configure_multipart("Coord3D_ABC32f", true, true));
    ASSERT_NO_FATAL_FAILURE(start_stream(1500));
    receive_multipart(8, kPixelFormatCoord3D_ABC32f, true, true);
    const SensorCounters c = sensor_->counters();
    EXPECT_GT(c.packets_dropped, 0u) << "1% loss over eight frames of about 185 packets must drop some";
    EXPECT_GT(c.resend_requests, 0u);
    EXPECT_GE(c.packets_resent, 1u);
}

TEST_F(StreamAravisTest, QuantisedRangeWithOneComponentAndJumboPackets) {
    ASSERT_NO_FATAL_FAILURE(open(2));
    ASSERT_NO_FATAL_FAILURE(configure_multipart("Coord3D_C16", false, true));
    ASSERT_NO_FATAL_FAILURE(start_stream(8192));
    receive_multipart(4, kPixelFormatCoord3D_C16, false, true);
}

}  // namespace
