// A fresh temporary directory that is the working directory for one scope,
// removed with everything in it at the end, and whole-file reads and writes.
#pragma once

#include <string>

namespace orntest {

class TempWorkDir {
public:
    TempWorkDir();
    ~TempWorkDir();
    TempWorkDir(const TempWorkDir&) = delete;
    TempWorkDir& operator=(const TempWorkDir&) = delete;

    // Writes "genicam_devices.ini" (the file of admitted models) with exactly these bytes.
    void write_model_file(const std::string& content) const;
    void remove_model_file() const;
    // `name` inside the directory.
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
    std::string previous_;
};

// False when the file could not be written completely.
bool write_file(const std::string& path, const std::string& content);
// The file's bytes; "" when it cannot be read.
std::string read_file(const std::string& path);

}  // namespace orntest
