// Which devices the library offers: supported models, each listed once
// per adapter.
#include <cstdio>
#include <cstring>

#include "base/log.h"
#include "camera/device_search.h"

namespace {

constexpr const char* kBuiltInModels[] = {"lumenGAUGE", "planoGAUGE", "Tri_Bench", "profiMAP 70"};
constexpr const char* kModelFileName = "genicam_devices.ini";
constexpr int kModelFileLineSize = 1024;

bool ORNC_IsBuiltInModel(const char* model) {
    for (const char* known : kBuiltInModels) {
        if (std::strstr(model, known) != nullptr) {
            return true;
        }
    }
    return false;
}

// Each non-empty, non-comment line of the file is a model-name substring.
// Only line ends are trimmed: other blanks belong to the substring.
bool ORNC_IsModelInFile(const char* model) {
    FILE* file = std::fopen(kModelFileName, "r");
    if (file == nullptr) {
        return false;
    }
    bool supported = false;
    char line[kModelFileLineSize];
    while (!supported && std::fgets(line, sizeof line, file) != nullptr) {
        size_t length = std::strlen(line);
        while (length > 0 && (line[length - 1] == '\r' || line[length - 1] == '\n')) {
            line[--length] = '\0';
        }
        if (length == 0 || line[0] == '#') {
            continue;
        }
        supported = std::strstr(model, line) != nullptr;
    }
    std::fclose(file);
    return supported;
}

}  // namespace

bool ORNC_IsAllowedDevice(const PvDeviceInfo* pvdevice, const PvInterface* interf, int devcount, int devnr) {
    if (pvdevice == nullptr) {
        return false;
    }
    const char* model = pvdevice->GetModelName().GetAscii();
    if (!ORNC_IsBuiltInModel(model) && !ORNC_IsModelInFile(model)) {
        return false;
    }
    if (interf == nullptr || devcount < 1 || devnr <= 0) {
        return true;
    }
    for (int earlier = 0; earlier < devnr; ++earlier) {
        const PvDeviceInfo* other = interf->GetDeviceInfo(static_cast<uint32_t>(earlier));
        if (other == nullptr) {
            return true;
        }
        if (other->GetSerialNumber() == pvdevice->GetSerialNumber() &&
            other->GetModelName() == pvdevice->GetModelName()) {
            ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Removed double defined device %s %s", model,
                     pvdevice->GetSerialNumber().GetAscii());
            return false;
        }
    }
    return true;
}
