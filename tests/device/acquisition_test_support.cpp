#include "acquisition_test_support.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <thread>

#include "handles.h"
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

std::string whole_frame(const std::vector<ImageCopy>& parts, int width, int height, uint64_t* frame) {
    if (parts.size() != 3) return "parts: " + std::to_string(parts.size());
    const orn_pixel_t types[] = {ORN_PIX_ABC32F, ORN_PIX_MONO8, ORN_PIX_CONF8};
    const uint64_t f = orntest::frame_from_intensity(parts[1]);
    for (size_t i = 0; i < 3; ++i) {
        const std::string problem = parts[i].type != types[i] || parts[i].width != width || parts[i].height != height
                                        ? "not the sensor's"
                                        : orntest::check_part(parts[i], f);
        if (!problem.empty()) return "part " + std::to_string(i) + ": " + problem;
    }
    if (frame != nullptr) *frame = f;
    return "";
}

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

void SensorTest::acquire(int frames, Recorder& recorder, bool failures_allowed) {
    recorder.attach(connection_->get());
    ASSERT_EQ(acqtest::start(connection_->get(), 0, 0), ORNC_OK);
    const bool got = recorder.wait_frames(frames, std::chrono::seconds(20));
    EXPECT_EQ(stop(connection_->get()), ORNC_OK);
    ASSERT_TRUE(got) << "only " << recorder.frames() << " frames delivered";
    if (!failures_allowed) {
        EXPECT_EQ(recorder.null_calls(), 0);
    }
}

void Recorder::attach(ornc_t* ornc) {
    ornc_ = ornc;
    ORNCSetImageCallback(ornc, &Recorder::OnImage, this);
    ORNCSetImageVecCallback(ornc, &Recorder::OnVector, this);
}

void Recorder::OnImage(orn_image_t* image, void* self) {
    static_cast<Recorder*>(self)->record(image == nullptr,
                                         [&](Recorder& r) { r.images_.push_back(orntest::copy_of(*image)); });
}

void Recorder::OnVector(orn_image_vec_t* vec, void* self) {
    static_cast<Recorder*>(self)->record(vec == nullptr, [&](Recorder& r) {
        std::vector<ImageCopy> parts;
        for (int i = 0; i < vec->used; ++i) parts.push_back(orntest::copy_of(vec->image[i]));
        r.vectors_.push_back(std::move(parts));
    });
}

void Recorder::record(bool failed, const std::function<void(Recorder&)>& store) {
    if (held_) wait_until([&] { return !held_.load(); }, std::chrono::seconds(5));
    if (!failed && on_delivery) on_delivery();
    Delivered delivered;
    if (!failed && frame_info_) {
        delivered.status = ORNCGetFrameInfo(ornc_, &delivered.info);
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        delivered.host_ns = static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
    }
    std::lock_guard<std::mutex> guard(lock_);
    if (failed) {
        ++null_calls_;
    } else {
        store(*this);
        times_.push_back(std::chrono::steady_clock::now());
        if (frame_info_) delivered_.push_back(delivered);
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
std::vector<Delivered> Recorder::delivered() const { return locked_copy(delivered_); }
bool Recorder::wait_frames(int count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> guard(lock_);
    return changed_.wait_for(guard, timeout,
                             [&] { return static_cast<int>(vectors_.size() + images_.size()) >= count; });
}

ornc_status_t start(ornc_t* ornc, int acquisition_mode, int trigger_mode) {
    const ornc_status_t status = ORNCStart(ornc);
    return status != ORNC_OK ? status : ORNCAcquisitionStartMode(ornc, acquisition_mode, trigger_mode);
}

ornc_status_t stop(ornc_t* ornc) {
    const ornc_status_t status = ORNCAcquisitionStop(ornc);
    const ornc_status_t stopped = ORNCStop(ornc);
    return status != ORNC_OK ? status : stopped;
}

ornc_status_t trigger(ornc_t* ornc, Recorder& recorder) {
    recorder.hold(true);
    const ornc_status_t status = ORNCTriggerSoftware(ornc);
    recorder.hold(false);
    return status;
}

void EventRecorder::On(orn_uint64_t timestamp, ornc_param_list_t* list, void* self) {
    Event event;
    event.timestamp = timestamp;
    event.items = ORNCGetParameterListCount(list);
    for (int i = 0; i < event.items; ++i) {
        ornc_param_t* item = ORNCGetParameterListIndex(list, i);
        const std::string name = orntest::param_name(item);
        if (name == "EventFrameEndFrameID") event.frame_id_status = ORNCParamGetIntegerValue(item, &event.frame_id);
        if (name == "EventFrameEndTimestamp")
            event.timestamp_status = ORNCParamGetUIntegerValue(item, &event.timestamp_low);
    }
    EventRecorder* recorder = static_cast<EventRecorder*>(self);
    std::lock_guard<std::mutex> guard(recorder->lock_);
    recorder->events_.push_back(event);
}

std::vector<Event> EventRecorder::events() const {
    std::lock_guard<std::mutex> guard(lock_);
    return events_;
}

}  // namespace acqtest
