// Helpers of the acquisition tests: sensors on this suite's loopback block,
// a connected library handle with parameter shortcuts (and a fixture that
// starts a sensor and connects), recorders that copy what the image
// and event callbacks receive (the data is only valid during the callback),
// and a check of their contents against the scene the sensor renders (whose
// formulas tests/python checks).
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ORNC.h"
#include "ORNCExt.h"
#include "handles.h"
#include "scene_check.h"
#include "sensor.h"
#include "wait.h"

namespace acqtest {

using orntest::ImageCopy;

// A sensor of the acquisition block (lock ornc_loopback_60) at `host`
// with a small frame whose content checks are quick; `fps` free-run rate.
ornsim::SensorConfig sensor_config(int host, const std::string& serial, uint32_t width = 128, uint32_t height = 96,
                                   double fps = 20.0);

using orntest::wait_until;

// "" when `parts` are one whole multipart frame of the scene: Range
// (Coord3D_ABC32f), Intensity and Confidence of `width` x `height`, byte
// for byte; the frame number (modulo 256) in *frame.
std::string whole_frame(const std::vector<ImageCopy>& parts, int width, int height, uint64_t* frame = nullptr);

// An initialised handle connected by serial number (discovery limited to
// the sensor's address by SensorScope); disconnected and destroyed at the
// end of its scope.
class Connection : public orntest::Handle {
public:
    explicit Connection(const std::string& serial)
        : status_(ORNCConnectBySerialNumber(get(), nullptr, serial.c_str())) {}

    ornc_status_t status() const { return status_; }
    ornc_status_t set_enum(const char* name, const char* entry);
    ornc_status_t set_int(const char* name, int value);
    ornc_status_t set_bool(const char* name, bool value);
    std::string value(const char* name);
    // Selects `component` (Range, Intensity, Confidence) and writes its
    // enable flag and, when given, its pixel format.
    void configure_component(const char* component, bool enable, const char* pixel_format = nullptr);
    void set_chunks(bool active);

private:
    const ornc_status_t status_;
};

// A fixture whose tests start a sensor and, unless told not to, connect to it.
class Recorder;
class SensorTest : public orntest::SensorTest {
protected:
    void start_sensor(const ornsim::SensorConfig& config, bool connect = true);
    // Continuous acquisition on connection_ into `recorder` until `frames`
    // deliveries in all, then stopped; unless allowed, no transfer may fail.
    void acquire(int frames, Recorder& recorder, bool failures_allowed = false);

    std::unique_ptr<Connection> connection_;
};

// One non-null delivery: ORNCGetFrameInfo's status and record, and the
// host's CLOCK_REALTIME (ns), taken inside the callback.
struct Delivered {
    ornc_status_t status = ORNC_ERROR;
    ornc_frame_info_t info{};
    int64_t host_ns = 0;
};

// What the callbacks received, in order. Callbacks run on the worker
// thread; the test thread reads under the lock.
class Recorder {
public:
    // With `frame_info`, each delivery's ORNCGetFrameInfo is recorded (it
    // may ask the device for its clock inside the callback).
    explicit Recorder(bool frame_info = false) : frame_info_(frame_info) {}
    // Installs this recorder's image and vector callbacks on `ornc`.
    void attach(ornc_t* ornc);

    int frames() const;      // non-null deliveries (images or vectors)
    int null_calls() const;  // failed transfers (either callback with null)
    std::vector<std::vector<ImageCopy>> vectors() const;
    std::vector<ImageCopy> images() const;
    // Time of each non-null delivery.
    std::vector<std::chrono::steady_clock::time_point> times() const;
    std::vector<Delivered> delivered() const;  // with frame_info
    bool wait_frames(int count, std::chrono::milliseconds timeout) const;
    // Called inside the callback (on the worker thread) before recording.
    std::function<void()> on_delivery;
    // While held, every callback waits (up to 5 s) before it records, and
    // so before the library ends a pending software trigger.
    void hold(bool held) { held_ = held; }

private:
    static void OnImage(orn_image_t* image, void* self);
    static void OnVector(orn_image_vec_t* vec, void* self);
    // Counts a failed transfer, or stores a delivery with `store`.
    void record(bool failed, const std::function<void(Recorder&)>& store);
    template <typename T>
    T locked_copy(const T& member) const {
        std::lock_guard<std::mutex> guard(lock_);
        return member;
    }

    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    std::vector<std::vector<ImageCopy>> vectors_;
    std::vector<ImageCopy> images_;
    std::vector<std::chrono::steady_clock::time_point> times_;
    std::vector<Delivered> delivered_;
    ornc_t* ornc_ = nullptr;
    const bool frame_info_;
    int null_calls_ = 0;
    std::atomic<bool> held_{false};
};

// ORNCStart, then ORNCAcquisitionStartMode: the first status that is not ORNC_OK.
ornc_status_t start(ornc_t* ornc, int acquisition_mode, int trigger_mode);
// ORNCAcquisitionStop and ORNCStop, both: the first status that is not ORNC_OK.
ornc_status_t stop(ornc_t* ornc);

// A software trigger whose image `recorder` cannot take before the call has
// returned. The library marks the trigger pending after the command went
// out; an image delivered before that would leave it pending (busy).
ornc_status_t trigger(ornc_t* ornc, Recorder& recorder);

// One call of the event callback: its timestamp, its number of data
// parameters and EventFrameEndFrameID and EventFrameEndTimestamp read
// through the 32-bit parameter API inside the callback (the features span
// the 64-bit range, so a value beyond 32 bits is ORNC_ERR_OUT_OF_RANGE);
// -1 and ORNC_ERROR when the event has no such parameter.
struct Event {
    uint64_t timestamp = 0;
    int items = 0;
    ornc_status_t frame_id_status = ORNC_ERROR;
    int frame_id = -1;
    ornc_status_t timestamp_status = ORNC_ERROR;
    unsigned int timestamp_low = 0;
};

// What the event callback received, in order.
class EventRecorder {
public:
    void attach(ornc_t* ornc) { ORNCSetEventCallback(ornc, &EventRecorder::On, this); }
    std::vector<Event> events() const;
    size_t size() const { return events().size(); }

private:
    static void On(orn_uint64_t timestamp, ornc_param_list_t* list, void* self);
    mutable std::mutex lock_;
    std::vector<Event> events_;
};

}  // namespace acqtest
