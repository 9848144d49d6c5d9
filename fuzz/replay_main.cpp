// Runs a fuzz target's entry point once per file, without libFuzzer: the
// kept crash inputs (fuzz/regressions/<target>/) and the seed corpus replay
// under any compiler and any sanitizer build, as an ordinary test.
// Arguments are files or directories (every regular file inside, sorted).
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool is_directory(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::vector<std::string> files_in(const std::string& dir) {
    std::vector<std::string> files;
    DIR* handle = ::opendir(dir.c_str());
    if (handle == nullptr) return files;
    while (const dirent* entry = ::readdir(handle)) {
        const std::string name = entry->d_name;
        if (name.empty() || name[0] == '.') continue;  // also .gitkeep
        const std::string path = dir + "/" + name;
        if (!is_directory(path)) files.push_back(path);
    }
    ::closedir(handle);
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (is_directory(arg)) {
            const std::vector<std::string> inside = files_in(arg);
            inputs.insert(inputs.end(), inside.begin(), inside.end());
        } else {
            inputs.push_back(arg);
        }
    }
    for (const std::string& path : inputs) {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
            return 1;
        }
        // An exact-size copy: a read past the input's end is caught by ASan.
        const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::vector<uint8_t> data(bytes.begin(), bytes.end());
        std::fprintf(stderr, "replay: %s (%zu bytes)\n", path.c_str(), data.size());
        LLVMFuzzerTestOneInput(data.empty() ? nullptr : data.data(), data.size());
    }
    std::fprintf(stderr, "replay: %zu inputs, no crash\n", inputs.size());
    return 0;
}
