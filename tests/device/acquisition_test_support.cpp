#include "acquisition_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "handles.h"
#include "scene.h"
#include "sensor.h"

namespace acqtest {

ornsim::SensorConfig sensor_config(int host, const std::string& serial, uint32_t width, uint32_t height, double fps) {
    return orntest::sensor_config(orntest::Block::acquisition, host, serial, width, height, fps);
}

ornc_status_t Connection::set_enum(const char* name, const char* entry) {
    return ORNCParamSetEnumValueByName(param(name), entry);
}
ornc_status_t Connection::set_int(const char* name, int value) { return ORNCParamSetIntegerValue(param(name), value); }
ornc_status_t Connection::set_bool(const char* name, bool value) {
    return ORNCParamSetBooleanValue(param(name), value ? 1 : 0);
}
std::string Connection::value(const char* name) { return orntest::value_text(param(name)); }

void Connection::configure_component(const char* component, bool enable, const char* pixel_format) {
    ASSERT_EQ(set_enum("ComponentSelector", component), ORNC_OK) << component;
    ASSERT_EQ(set_bool("ComponentEnable", enable), ORNC_OK) << component;
    if (pixel_format != nullptr) {
        ASSERT_EQ(set_enum("PixelFormat", pixel_format), ORNC_OK) << component << " " << pixel_format;
    }
}

void Connection::set_chunks(bool active) {
    ASSERT_EQ(set_bool("ChunkModeActive", active), ORNC_OK);
    for (const char* chunk : {"Timestamp", "FrameID"}) {
        ASSERT_EQ(set_enum("ChunkSelector", chunk), ORNC_OK);
        ASSERT_EQ(set_bool("ChunkEnable", active), ORNC_OK);
    }
}

void SensorTest::start_sensor(const ornsim::SensorConfig& config, bool connect) {
    start(config);
    if (!connect || HasFatalFailure()) return;
    connection_ = std::make_unique<Connection>(config.serial);
    ASSERT_EQ(connection_->status(), ORNC_OK);
}

namespace {

ImageCopy copy_of(const orn_image_t& image) {
    ImageCopy copy;
    copy.width = image.width;
    copy.height = image.height;
    copy.pixelsize = image.pixelsize;
    copy.type = image.type;
    copy.empty = image.data == nullptr;
    if (!copy.empty && image.width > 0 && image.height > 0 && image.pixelsize > 0) {
        const size_t size =
            static_cast<size_t>(image.width) * static_cast<size_t>(image.height) * static_cast<size_t>(image.pixelsize);
        const uint8_t* data = static_cast<const uint8_t*>(image.data);
        copy.bytes.assign(data, data + size);
    }
    return copy;
}

}  // namespace

void Recorder::attach(ornc_t* ornc) {
    ORNCSetImageCallback(ornc, &Recorder::OnImage, this);
    ORNCSetImageVecCallback(ornc, &Recorder::OnVector, this);
}

void Recorder::OnImage(orn_image_t* image, void* self) {
    static_cast<Recorder*>(self)->record(image == nullptr, [&](Recorder& r) { r.images_.push_back(copy_of(*image)); });
}

void Recorder::OnVector(orn_image_vec_t* vec, void* self) {
    static_cast<Recorder*>(self)->record(vec == nullptr, [&](Recorder& r) {
        std::vector<ImageCopy> parts;
        for (int i = 0; i < vec->used; ++i) parts.push_back(copy_of(vec->image[i]));
        r.vectors_.push_back(std::move(parts));
    });
}

void Recorder::record(bool failed, const std::function<void(Recorder&)>& store) {
    if (!failed && on_delivery) on_delivery();
    std::lock_guard<std::mutex> guard(lock_);
    if (failed) {
        ++null_calls_;
    } else {
        store(*this);
        times_.push_back(std::chrono::steady_clock::now());
    }
    changed_.notify_all();
}

int Recorder::frames() const {
    std::lock_guard<std::mutex> guard(lock_);
    return static_cast<int>(vectors_.size() + images_.size());
}
int Recorder::null_calls() const { return locked_copy(null_calls_); }
std::vector<std::vector<ImageCopy>> Recorder::vectors() const { return locked_copy(vectors_); }
std::vector<ImageCopy> Recorder::images() const { return locked_copy(images_); }
std::vector<std::chrono::steady_clock::time_point> Recorder::times() const { return locked_copy(times_); }
bool Recorder::wait_frames(int count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> guard(lock_);
    return changed_.wait_for(guard, timeout,
                             [&] { return static_cast<int>(vectors_.size() + images_.size()) >= count; });
}

uint64_t frame_from_intensity(const ImageCopy& intensity) {
    if (intensity.bytes.empty()) return 0;
    return (171u * intensity.bytes[0]) % 256u;  // 171 is the inverse of 3 modulo 256
}

std::string check_part(const ImageCopy& part, uint64_t f) {
    if (part.empty || part.bytes.empty()) return "empty image";
    const ornsim::SceneConfig scene{static_cast<uint32_t>(part.width), static_cast<uint32_t>(part.height),
                                    ornsim::kSceneDefaultC16ScaleMm, ornsim::kSceneDefaultC16OffsetMm};
    std::vector<uint8_t> expected;
    if (part.type == ORN_PIX_ABC32F) {
        expected.resize(ornsim::scene_abc32f_size(scene));
        ornsim::render_range_abc32f(scene, f, reinterpret_cast<float*>(expected.data()));
    } else if (part.type == ORN_PIX_MONO8 || part.type == ORN_PIX_CONF8) {
        expected.resize(ornsim::scene_mono8_size(scene));
        if (part.type == ORN_PIX_MONO8) ornsim::render_intensity8(scene, f, expected.data());
        if (part.type == ORN_PIX_CONF8) ornsim::render_confidence8(scene, f, expected.data());
    } else {
        return "pixel type " + std::to_string(part.type);
    }
    // The copy holds width x height x pixel size bytes.
    if (part.bytes.size() != expected.size()) {
        return "pixel size " + std::to_string(part.pixelsize) + ": " + std::to_string(part.bytes.size()) + " bytes";
    }
    const auto differ = std::mismatch(part.bytes.begin(), part.bytes.end(), expected.begin());
    if (differ.first == part.bytes.end()) return "";
    const size_t pixel = static_cast<size_t>(differ.first - part.bytes.begin()) / part.pixelsize;
    return "byte " + std::to_string(*differ.first) + " not " + std::to_string(*differ.second) + " at (" +
           std::to_string(pixel % part.width) + ", " + std::to_string(pixel / part.width) + ")";
}

std::string check_range_any_frame(const ImageCopy& range) {
    const uint64_t period = static_cast<uint64_t>(std::max(1, range.width / 2));
    std::string first_problem;
    for (uint64_t f = 0; f < period; ++f) {
        std::string problem = check_part(range, f);
        if (problem.empty()) return "";
        if (first_problem.empty()) first_problem = problem;
    }
    return "no frame number matches; frame 0: " + first_problem;
}

}  // namespace acqtest
