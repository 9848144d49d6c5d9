#include "temp_dir.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace orntest {

TempWorkDir::TempWorkDir() {
    char current[4096];
    if (::getcwd(current, sizeof current) != nullptr) previous_ = current;
    path_ = (std::filesystem::temp_directory_path() / "ornc-test-XXXXXX").string();
    if (::mkdtemp(path_.data()) == nullptr || ::chdir(path_.c_str()) != 0) {
        std::perror("temporary working directory");
        std::abort();
    }
}

TempWorkDir::~TempWorkDir() {
    if (!previous_.empty() && ::chdir(previous_.c_str()) != 0) {
        std::perror("chdir back");
    }
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void TempWorkDir::write_model_file(const std::string& content) const {
    if (!write_file(file("genicam_devices.ini"), content)) {
        std::perror("genicam_devices.ini");
        std::abort();
    }
}

void TempWorkDir::remove_model_file() const { std::remove(file("genicam_devices.ini").c_str()); }

bool write_file(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    return static_cast<bool>(out << content) && static_cast<bool>(out.flush());
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace orntest
