#include "acquisition_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <thread>

namespace acqtest {

std::string address(int host) { return "127.0.60." + std::to_string(host); }

ornsim::SensorConfig sensor_config(int host, const std::string& serial, uint32_t width, uint32_t height, double fps) {
    ornsim::SensorConfig config;
    config.address = address(host);
    config.serial = serial;
    config.mac = "02:00:00:00:60:" + std::to_string(10 + host % 90);
    config.width = width;
    config.height = height;
    config.fps = fps;
    return config;
}

bool wait_until(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

Connection::Connection(const std::string& serial) {
    if (ORNCInit(&ornc_) != ORNC_OK) return;
    status_ = ORNCConnectBySerialNumber(&ornc_, nullptr, serial.c_str());
}

Connection::~Connection() {
    ORNCDisconnect(&ornc_);
    ORNCDestroy(&ornc_);
}

ornc_param_t* Connection::param(const char* name) {
    ornc_param_t* p = ORNCParamsGetParamByName(ORNCGetDeviceParams(&ornc_), name);
    EXPECT_NE(p, nullptr) << "no device parameter " << name;
    return p;
}

ornc_status_t Connection::set_enum(const char* name, const char* entry) {
    return ORNCParamSetEnumValueByName(param(name), entry);
}
ornc_status_t Connection::set_int(const char* name, int value) { return ORNCParamSetIntegerValue(param(name), value); }
ornc_status_t Connection::set_bool(const char* name, bool value) {
    return ORNCParamSetBooleanValue(param(name), value ? 1 : 0);
}
std::string Connection::value(const char* name) { return camtest::value_text(param(name)); }

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

namespace {

ImageCopy copy_of(const orn_image_t& image) {
    ImageCopy copy;
    copy.width = image.width;
    copy.height = image.height;
    copy.pixelsize = image.pixelsize;
    copy.type = image.type;
    copy.empty = image.data == nullptr;
    if (!copy.empty && image.width > 0 && image.height > 0 && image.pixelsize > 0) {
        const size_t size = static_cast<size_t>(image.width) * static_cast<size_t>(image.height) *
                            static_cast<size_t>(image.pixelsize);
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
    Recorder* recorder = static_cast<Recorder*>(self);
    if (image != nullptr && recorder->on_delivery) recorder->on_delivery();
    std::lock_guard<std::mutex> guard(recorder->lock_);
    if (image == nullptr) {
        ++recorder->null_calls_;
    } else {
        recorder->images_.push_back(copy_of(*image));
        recorder->times_.push_back(std::chrono::steady_clock::now());
    }
    recorder->changed_.notify_all();
}

void Recorder::OnVector(orn_image_vec_t* vec, void* self) {
    Recorder* recorder = static_cast<Recorder*>(self);
    if (vec != nullptr && recorder->on_delivery) recorder->on_delivery();
    std::lock_guard<std::mutex> guard(recorder->lock_);
    if (vec == nullptr) {
        ++recorder->null_calls_;
    } else {
        std::vector<ImageCopy> parts;
        for (int i = 0; i < vec->used; ++i) parts.push_back(copy_of(vec->image[i]));
        recorder->vectors_.push_back(std::move(parts));
        recorder->times_.push_back(std::chrono::steady_clock::now());
    }
    recorder->changed_.notify_all();
}

int Recorder::frames() const {
    std::lock_guard<std::mutex> guard(lock_);
    return static_cast<int>(vectors_.size() + images_.size());
}
int Recorder::null_calls() const {
    std::lock_guard<std::mutex> guard(lock_);
    return null_calls_;
}
std::vector<std::vector<ImageCopy>> Recorder::vectors() const {
    std::lock_guard<std::mutex> guard(lock_);
    return vectors_;
}
std::vector<ImageCopy> Recorder::images() const {
    std::lock_guard<std::mutex> guard(lock_);
    return images_;
}
std::vector<std::chrono::steady_clock::time_point> Recorder::times() const {
    std::lock_guard<std::mutex> guard(lock_);
    return times_;
}
bool Recorder::wait_frames(int count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> guard(lock_);
    return changed_.wait_for(guard, timeout,
                             [&] { return static_cast<int>(vectors_.size() + images_.size()) >= count; });
}

// --- the scene -------------------------------------------------------------

namespace {
int64_t cu_of(const Scene& s) {
    const int64_t half = std::max<int64_t>(1, s.W / 2);
    return s.W / 4 + static_cast<int64_t>(s.f % static_cast<uint64_t>(half));
}
int64_t radius_of(const Scene& s) { return std::min(s.W, s.H) / 6; }
int64_t d2_of(const Scene& s, int u, int v) {
    const int64_t du = u - cu_of(s), dv = v - s.H / 2;
    return du * du + dv * dv;
}
}  // namespace

bool Scene::on_sphere(int u, int v) const { return d2_of(*this, u, v) < radius_of(*this) * radius_of(*this); }

bool Scene::valid(int u, int v) const {
    const bool border = u < 4 || v < 4 || u + 4 >= W || v + 4 >= H;
    const int64_t r = radius_of(*this);
    const int64_t du = u - cu_of(*this);
    const int64_t dv = v - H / 2;
    const bool shadow = r < du && du <= r + r / 2 && 2 * std::llabs(dv) <= r;
    return !border && !shadow;
}

void Scene::xyz(int u, int v, float out[3]) const {
    if (!valid(u, v)) {
        out[0] = out[1] = out[2] = std::numeric_limits<float>::quiet_NaN();
        return;
    }
    const double x = (u - (W - 1) / 2.0) * 0.5;
    const double y = (v - (H - 1) / 2.0) * 0.5;
    const int64_t r = radius_of(*this);
    const int64_t d2 = d2_of(*this, u, v);
    const double z = 1000.0 + 0.1 * x - (on_sphere(u, v) ? std::sqrt(static_cast<double>(r * r - d2)) * 0.5 : 0.0);
    out[0] = static_cast<float>(x);
    out[1] = static_cast<float>(y);
    out[2] = static_cast<float>(z);
}

uint8_t Scene::confidence(int u, int v) const {
    if (!valid(u, v)) return 0;
    if (on_sphere(u, v)) {
        const int64_t r = radius_of(*this);
        return static_cast<uint8_t>(255 - (55 * d2_of(*this, u, v)) / (r * r));
    }
    return static_cast<uint8_t>(100 + (100 * v) / H);
}

uint8_t Scene::intensity(int u, int v) const { return static_cast<uint8_t>((u + 2 * v + 3 * f) % 256); }

uint64_t frame_from_intensity(const ImageCopy& intensity) {
    if (intensity.bytes.empty()) return 0;
    return (171u * intensity.bytes[0]) % 256u;  // 171 is the inverse of 3 modulo 256
}

namespace {

std::string where(int u, int v) { return " at (" + std::to_string(u) + ", " + std::to_string(v) + ")"; }

std::string check_geometry(const ImageCopy& image, int pixelsize) {
    if (image.empty || image.bytes.empty()) return "empty image";
    if (image.pixelsize != pixelsize) return "pixel size " + std::to_string(image.pixelsize);
    return "";
}

}  // namespace

std::string check_range(const ImageCopy& range, uint64_t f) {
    std::string problem = check_geometry(range, 12);
    if (!problem.empty()) return problem;
    const Scene scene{range.width, range.height, f};
    for (int v = 0; v < range.height; ++v) {
        for (int u = 0; u < range.width; ++u) {
            float expected[3];
            float got[3];
            scene.xyz(u, v, expected);
            std::memcpy(got, &range.bytes[(static_cast<size_t>(v) * range.width + u) * 12], 12);
            for (int k = 0; k < 3; ++k) {
                const bool both_nan = std::isnan(expected[k]) && std::isnan(got[k]);
                if (!both_nan && !(std::fabs(expected[k] - got[k]) <= 1e-3f)) {
                    return "coordinate " + std::to_string(k) + " is " + std::to_string(got[k]) + " not " +
                           std::to_string(expected[k]) + where(u, v);
                }
            }
        }
    }
    return "";
}

std::string check_intensity(const ImageCopy& intensity, uint64_t f) {
    std::string problem = check_geometry(intensity, 1);
    if (!problem.empty()) return problem;
    const Scene scene{intensity.width, intensity.height, f};
    for (int v = 0; v < intensity.height; ++v) {
        for (int u = 0; u < intensity.width; ++u) {
            const uint8_t got = intensity.bytes[static_cast<size_t>(v) * intensity.width + u];
            if (got != scene.intensity(u, v)) return "intensity " + std::to_string(got) + where(u, v);
        }
    }
    return "";
}

std::string check_confidence(const ImageCopy& confidence, uint64_t f) {
    std::string problem = check_geometry(confidence, 1);
    if (!problem.empty()) return problem;
    const Scene scene{confidence.width, confidence.height, f};
    for (int v = 0; v < confidence.height; ++v) {
        for (int u = 0; u < confidence.width; ++u) {
            const uint8_t got = confidence.bytes[static_cast<size_t>(v) * confidence.width + u];
            if (got != scene.confidence(u, v)) {
                return "confidence " + std::to_string(got) + " not " + std::to_string(scene.confidence(u, v)) +
                       where(u, v);
            }
        }
    }
    return "";
}

std::string check_range_any_frame(const ImageCopy& range) {
    const uint64_t period = static_cast<uint64_t>(std::max(1, range.width / 2));
    std::string first_problem;
    for (uint64_t f = 0; f < period; ++f) {
        std::string problem = check_range(range, f);
        if (problem.empty()) return "";
        if (first_problem.empty()) first_problem = problem;
    }
    return "no frame number matches; frame 0: " + first_problem;
}

}  // namespace acqtest
