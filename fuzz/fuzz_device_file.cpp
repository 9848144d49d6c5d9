// The supported-device file: "genicam_devices.ini" in the working
// directory, one model-name substring per line, read anew for every device
// a discovery finds. The input is split into a model name (up to the first
// NUL, at most one slot of a discovery ack) and the file's bytes; the
// filter is asked about that model. Built-in names are admitted whatever
// the file says, and a model the file lists must come out admitted.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "camera/device_search.h"
#include "platform/PvDeviceInfoGEV.h"
#include "wire/gvcp_layout.h"

namespace {

// A private directory for the whole run, removed at exit. The filter reads
// the file from the working directory, so each input is checked inside it;
// the working directory is restored afterwards (libFuzzer reads and writes
// its corpus by relative paths).
class FileDirectory {
public:
    FileDirectory() {
        char pattern[] = "/tmp/ornc-fuzz-devfile-XXXXXX";
        if (::mkdtemp(pattern) == nullptr) std::abort();
        path_ = pattern;
        file_ = path_ + "/genicam_devices.ini";
    }
    ~FileDirectory() {
        std::remove(file_.c_str());
        ::rmdir(path_.c_str());
    }
    void write(const uint8_t* data, size_t size) const {
        FILE* file = std::fopen(file_.c_str(), "wb");
        if (file == nullptr) std::abort();
        if (size > 0 && std::fwrite(data, 1, size, file) != size) std::abort();
        std::fclose(file);
    }
    // Runs `check` with this directory as the working directory.
    template <typename Check>
    bool inside(Check check) const {
        const int previous = ::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (previous < 0 || ::chdir(path_.c_str()) != 0) std::abort();
        const bool result = check();
        if (::fchdir(previous) != 0) std::abort();
        ::close(previous);
        return result;
    }

private:
    std::string path_;
    std::string file_;
};

bool file_lists_model_exactly(const std::string& model, const uint8_t* data, size_t size) {
    // A line that equals the whole model (ends trimmed as the reader does).
    const std::string file(reinterpret_cast<const char*>(data), size);
    size_t start = 0;
    while (start < file.size()) {
        size_t end = file.find('\n', start);
        if (end == std::string::npos) end = file.size();
        std::string line = file.substr(start, end - start);
        while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
        if (line == model && !line.empty() && line[0] != '#' && line.find('\0') == std::string::npos &&
            end - start < 1000) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FileDirectory directory;
    const void* nul = std::memchr(data, 0, std::min<size_t>(size, gvcp::MODEL_NAME_SIZE));
    const size_t model_size = nul != nullptr ? static_cast<size_t>(static_cast<const uint8_t*>(nul) - data)
                                             : std::min<size_t>(size, gvcp::MODEL_NAME_SIZE - 1);
    const size_t file_offset = std::min(size, model_size + 1);

    gvcp::DiscoveredDevice found;
    found.identity.model.assign(reinterpret_cast<const char*>(data), model_size);
    found.identity.serial_number = "FUZZ0001";
    found.identity.ip_address = 0x7F000001;
    const PvDeviceInfoGEV device(found, nullptr);

    directory.write(data + file_offset, size - file_offset);
    const bool admitted = directory.inside([&] { return ORNC_IsAllowedDevice(&device, nullptr, 0, 0); });
    if (!admitted && file_lists_model_exactly(found.identity.model, data + file_offset, size - file_offset)) {
        __builtin_trap();  // a listed model was refused
    }
    if (!admitted && found.identity.model.find("lumenGAUGE") != std::string::npos) {
        __builtin_trap();  // built-in names never depend on the file
    }
    if (ORNC_IsAllowedDevice(nullptr, nullptr, 0, 0)) __builtin_trap();
    return 0;
}
