// Parameter writes in text form, the way applications and configuration
// files set them: ORNCParamSetValue, ORNCParamSetEnumValueByName,
// ORNCParamSetStringValue, ORNCParamSetRegisterValue and the persistent-IP
// texts (ORNCIPMakePersistent), each against a real device: a virtual
// sensor in this process, on a loopback address of its own, serving its
// GenICam file plus the range-test features in plain memory. Every input
// is one write and one read-back over the control channel, so the run is
// bounded by the device round trips, not by the parser.
//
// Only features that keep the session usable and the traffic on loopback
// are written: never the privilege, heartbeat, or stream and message
// destinations (a fuzzed destination address could point the sensor's
// packets off this machine).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ORNC.h"
#include "sensor.h"
#include "temp_dir.h"
#include "test_genicam.h"

namespace {

constexpr const char* kDeviceFeatures[] = {
    "Width",
    "Height",
    "ExposureTime",
    "Gain",
    "AcquisitionFrameRate",
    "AcquisitionMode",
    "AcquisitionFrameCount",
    "TriggerMode",
    "TriggerActivation",
    "ComponentSelector",
    "ComponentEnable",
    "PixelFormat",
    "ChunkModeActive",
    "ChunkSelector",
    "ChunkEnable",
    "Scan3dCoordinateScale",
    "Scan3dCoordinateOffset",
    "DeviceUserID",
    "EventSelector",
    "GevPersistentIPAddress",
    "GevPersistentSubnetMask",
    "GevPersistentDefaultGateway",
};

class Session {
public:
    Session() {
        ::setenv("ORNC_INTERFACES", "lo", 1);
        // A block of this process's own, so that parallel runs never meet.
        ornsim::SensorConfig config;
        config.address = "127.63." + std::to_string(::getpid() % 250) + ".1";
        config.serial = "FUZZTEXT";
        config.mac = "02:63:00:00:00:01";
        xml_path_ = "/tmp/ornc-fuzz-param-" + std::to_string(::getpid()) + ".xml";
        orntest::write_file(xml_path_, orntest::range_test_xml(config));
        config.genicam_file = xml_path_;
        sensor_ = std::make_unique<orntest::SensorScope>(config);
        if (!sensor_->ok()) fail("sensor: " + sensor_->error());
        ORNCInit(&ornc_);
        if (ORNCConnectByIPAddress(&ornc_, nullptr, config.address.c_str()) != ORNC_OK) fail("connect failed");

        ornc_parameters_t* params = ORNCGetDeviceParams(&ornc_);
        for (const char* name : kDeviceFeatures) {
            if (ornc_param_t* param = ORNCParamsGetParamByName(params, name)) targets_.push_back(param);
        }
        ornc_category_t* range = ORNCParamsGetCategoryByName(params, "RangeTests");
        for (int i = 0; ornc_param_t* param = ORNCParamsGetParamInCategory(params, range, i); ++i) {
            targets_.push_back(param);
        }
        if (targets_.size() < 20) fail("too few parameters");
        alive_ = ORNCParamsGetParamByName(params, "SensorWidth");
        if (alive_ == nullptr) fail("no SensorWidth");
    }
    ~Session() {
        ORNCDisconnect(&ornc_);
        ORNCDestroy(&ornc_);
        sensor_.reset();
        std::remove(xml_path_.c_str());
    }

    const ornc_t* handle() const { return &ornc_; }
    ornc_param_t* target(uint8_t pick) const { return targets_[pick % targets_.size()]; }
    // A read-only feature that answers as long as the link holds.
    bool alive() const {
        int width = 0;
        return ORNCParamGetIntegerValue(alive_, &width) == ORNC_OK && width > 0;
    }

private:
    static void fail(const std::string& why) {
        std::fprintf(stderr, "fuzz_param_text: %s\n", why.c_str());
        std::abort();
    }

    std::string xml_path_;
    std::unique_ptr<orntest::SensorScope> sensor_;
    ornc_t ornc_{nullptr};
    std::vector<ornc_param_t*> targets_;
    ornc_param_t* alive_ = nullptr;
};

bool is_status(ornc_status_t status) { return status <= 0 && status > -1000; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Session session;
    if (size < 2) return 0;
    ornc_param_t* param = session.target(data[0]);
    const std::string text(reinterpret_cast<const char*>(data + 2), size - 2);  // may hold NULs: cut at the first
    ornc_status_t status = ORNC_OK;
    switch (data[1] % 5) {
        case 0:
            status = ORNCParamSetValue(param, text.c_str());
            break;
        case 1:
            status = ORNCParamSetEnumValueByName(param, text.c_str());
            break;
        case 2:
            status = ORNCParamSetStringValue(param, text.c_str());
            break;
        case 3:
            status = ORNCParamSetRegisterValue(param, text.data(), static_cast<int>(text.size()));
            break;
        case 4: {
            // Three texts separated by line feeds: address, mask, gateway.
            const size_t first = text.find('\n');
            const size_t second = first == std::string::npos ? first : text.find('\n', first + 1);
            const std::string ip = text.substr(0, first);
            const std::string mask = first == std::string::npos ? "" : text.substr(first + 1, second - first - 1);
            const std::string gateway = second == std::string::npos ? "" : text.substr(second + 1);
            status = ORNCIPMakePersistent(session.handle(), ip.c_str(), mask.c_str(), gateway.c_str(), 0);
            break;
        }
    }
    if (!is_status(status)) __builtin_trap();
    // The session survives every write: the value reads back as text into
    // buffers of every small size without overrunning them.
    char value[64];
    for (size_t room : {sizeof value, size_t{1}, size_t{0}}) {
        if (!is_status(ORNCParamGetValue(param, room == 0 ? nullptr : value, room))) __builtin_trap();
    }
    if (!session.alive()) __builtin_trap();
    return 0;
}
