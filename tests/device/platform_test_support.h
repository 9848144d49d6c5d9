// Helpers shared by the platform tests: the device's registers read around
// the node map, a connected virtual sensor with its stream (Rig), and the
// check of arriving images against the sensor's scene.
#pragma once

#include <arv.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "ornsim/virtual_sensor.h"
#include "platform/IPvImage.h"
#include "platform/PvBuffer.h"
#include "platform/PvDeviceGEV.h"
#include "platform/PvGenBoolean.h"
#include "platform/PvGenCommand.h"
#include "platform/PvGenEnum.h"
#include "platform/PvGenInteger.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvStreamGEV.h"
#include "scene_check.h"
#include "sensor.h"
#include "temp_dir.h"
#include "test_genicam.h"
#include "wire/gvcp_layout.h"

namespace platform_test {

inline std::string describe(const PvResult& result) {
    return std::string(result.GetCodeString().GetAscii()) + ": " + result.GetDescription().GetAscii();
}

template <typename T>
struct Freer {
    void operator()(T* object) const { T::Free(object); }
};
using DevicePtr = std::unique_ptr<PvDevice, Freer<PvDevice>>;
using StreamPtr = std::unique_ptr<PvStream, Freer<PvStream>>;

// The device's registers, read and written around the node map.
inline uint32_t read_register(PvDevice* device, uint32_t address) {
    guint32 value = 0;
    EXPECT_TRUE(arv_device_read_register(device->GetArvDevice(), address, &value, nullptr));
    return value;
}
inline void write_register(PvDevice* device, uint32_t address, uint32_t value) {
    EXPECT_TRUE(arv_device_write_register(device->GetArvDevice(), address, value, nullptr));
}

// What a node's getter reports; the getter must succeed. The output
// starts as `unset`, so that one left untouched shows; Node comes from the
// getter, so a derived node may be passed.
template <typename T, typename Node>
T got(const std::common_type_t<Node>* node, PvResult (Node::*get)(T&) const, T unset = T()) {
    const PvResult result = (node->*get)(unset);
    EXPECT_TRUE(result.IsOK()) << describe(result);
    return unset;
}

// One sensor (with the built-in description, or with `description`), its
// connected device and (after open_stream) its stream and buffers.
// Everything is released in reverse order by the destructor.
class Rig {
public:
    explicit Rig(const char* address, uint32_t width = 160, uint32_t height = 120, double fps = 50.0,
                 const std::string& description = "") {
        ornsim::SensorConfig config;
        config.address = address;
        config.width = width;
        config.height = height;
        config.fps = fps;
        if (!description.empty()) {
            config.genicam_file = dir_.file("description.xml");
            EXPECT_TRUE(orntest::write_file(config.genicam_file, description));
        }
        sensor_ = std::make_unique<orntest::SensorScope>(config, false);
        EXPECT_TRUE(sensor_->ok()) << sensor_->error();
        if (!sensor_->ok()) return;
        PvResult result;
        device_.reset(PvDevice::CreateAndConnect(PvString(address), &result));
        EXPECT_NE(device_, nullptr) << describe(result);
    }
    ~Rig() { close(); }
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;

    bool ready() const { return device_ != nullptr; }
    ornsim::VirtualSensor& sensor() { return sensor_->sensor(); }
    PvDevice* device() { return device_.get(); }
    PvStream* stream() { return stream_.get(); }
    PvGenParameterArray* parameters() { return device_->GetParameters(); }
    std::vector<std::unique_ptr<PvBuffer>>& buffers() { return buffers_; }
    uint32_t read_register(uint32_t address) { return platform_test::read_register(device(), address); }

    // The feature `name` as a Node; a missing one fails the test (gtest
    // reports the exception).
    template <typename Node = PvGenParameter>
    Node* node(const char* name) {
        Node* typed = dynamic_cast<Node*>(parameters()->Get(name));
        if (typed == nullptr) throw std::runtime_error(std::string("no feature of that kind: ") + name);
        return typed;
    }
    template <typename Node, typename Value>
    void set(const char* name, const Value& value) {
        ASSERT_TRUE(node<Node>(name)->SetValue(value).IsOK()) << name;
    }
    void set_enum(const char* name, const char* value) { set<PvGenEnum>(name, PvString(value)); }
    void set_bool(const char* name, bool value) { set<PvGenBoolean>(name, value); }

    // Multipart on (as connect does it) with every component, or single
    // images of `component` alone; `component` selected, in `pixel_format`.
    void configure(bool multipart, const char* component, const char* pixel_format) {
        set<PvGenInteger>("GevStreamChannelSelector", 0);
        set_bool("GevSCCFGMultiPartEnabled", multipart);
        for (const char* each : {"Range", "Intensity", "Confidence"}) {
            set_enum("ComponentSelector", each);
            set_bool("ComponentEnable", multipart || std::string(each) == component);
        }
        set_enum("ComponentSelector", component);
        set_enum("PixelFormat", pixel_format);
    }

    // Opens the stream (which points the channel at it) and queues `count`
    // buffers of `size` bytes (0: the payload size).
    void open_stream(size_t count, uint32_t size = 0) {
        PvResult result;
        stream_.reset(PvStream::CreateAndOpen(PvString(sensor().current_address().c_str()), &result));
        ASSERT_NE(stream_, nullptr) << describe(result);
        const uint32_t payload = size != 0 ? size : device_->GetPayloadSize();
        ASSERT_GT(payload, 0u);
        for (size_t i = 0; i < count; ++i) {
            buffers_.emplace_back(new PvBuffer);
            ASSERT_TRUE(buffers_.back()->Alloc(payload).IsOK());
            ASSERT_TRUE(stream_->QueueBuffer(buffers_.back().get()).IsOK());
        }
    }

    void start() {
        ASSERT_TRUE(device_->StreamEnable().IsOK());
        ASSERT_TRUE(node<PvGenCommand>("AcquisitionStart")->Execute().IsOK());
    }
    void stop() {
        if (device_ != nullptr && device_->IsConnected()) {
            PvGenCommand* command = dynamic_cast<PvGenCommand*>(parameters()->Get("AcquisitionStop"));
            if (command != nullptr) command->Execute();  // none in the tests' own description
            device_->StreamDisable();
        }
    }

    // Stops and closes everything (closing the stream releases its buffers).
    void close() {
        stop();
        stream_.reset();
        buffers_.clear();
        device_.reset();
        sensor_.reset();
    }

private:
    orntest::TempWorkDir dir_;
    std::unique_ptr<orntest::SensorScope> sensor_;
    DevicePtr device_;
    StreamPtr stream_;
    std::vector<std::unique_ptr<PvBuffer>> buffers_;
};

inline uint64_t block_id(PvBuffer* buffer) { return arv_buffer_get_frame_id(buffer->GetArvBuffer()); }

// Expects `image` to be the W x H `format` rendering of the sensor's scene
// for frame `f`, byte for byte (the support's scene check; platform pixel
// types carry the same codes as the library's).
inline void expect_scene(IPvImage* image, PvPixelType format, uint32_t W, uint32_t H, uint64_t f) {
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(image->GetPixelType(), format);
    ASSERT_EQ(image->GetWidth(), W);
    ASSERT_EQ(image->GetHeight(), H);
    orntest::ImageCopy copy;
    copy.empty = image->GetDataPointer() == nullptr;
    copy.width = static_cast<int>(W);
    copy.height = static_cast<int>(H);
    copy.pixelsize = format == PvPixelCoord3D_ABC32f ? 12 : 1;
    copy.type = format;
    if (!copy.empty) copy.bytes.assign(image->GetDataPointer(), image->GetDataPointer() + W * H * copy.pixelsize);
    EXPECT_EQ(orntest::check_part(copy, f), "") << "format 0x" << std::hex << format << std::dec << ", frame " << f;
}

}  // namespace platform_test
