// Helpers shared by the platform tests: temporary files, the process
// resources a connect cycle must give back, and Aravis's fake camera as a
// child process on a loopback address.
#pragma once

#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace platform_test {

inline int count_entries(const char* directory) {
    DIR* dir = opendir(directory);
    if (dir == nullptr) {
        return -1;
    }
    int count = 0;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.') {
            ++count;
        }
    }
    closedir(dir);
    return count;
}

inline int open_file_descriptors() { return count_entries("/proc/self/fd"); }
inline int running_threads() { return count_entries("/proc/self/task"); }

// Threads that end asynchronously (GLib's workers) may need a moment.
inline int settled_threads(int expected, std::chrono::milliseconds limit) {
    const auto stop = std::chrono::steady_clock::now() + limit;
    int threads = running_threads();
    while (threads > expected && std::chrono::steady_clock::now() < stop) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        threads = running_threads();
    }
    return threads;
}

// A file under the test's temporary directory, removed on destruction.
class TempFile {
public:
    explicit TempFile(const std::string& name) {
        const char* base = std::getenv("TMPDIR");
        path_ = std::string(base != nullptr ? base : "/tmp") + "/ornc_platform_" + std::to_string(getpid()) + "_" + name;
    }
    ~TempFile() { std::remove(path_.c_str()); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    const std::string& path() const { return path_; }
    bool write(const std::string& content) const {
        FILE* file = std::fopen(path_.c_str(), "wb");
        if (file == nullptr) {
            return false;
        }
        const bool ok = std::fwrite(content.data(), 1, content.size(), file) == content.size();
        return std::fclose(file) == 0 && ok;
    }
    std::string read() const {
        std::string content;
        FILE* file = std::fopen(path_.c_str(), "rb");
        if (file == nullptr) {
            return content;
        }
        char chunk[4096];
        size_t got = 0;
        while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
            content.append(chunk, got);
        }
        std::fclose(file);
        return content;
    }

private:
    std::string path_;
};

// Aravis's fake GigE Vision camera, listening on one loopback address.
// The process is killed and reaped on destruction.
class FakeCamera {
public:
    FakeCamera(const std::string& binary, const std::string& address) {
        if (access(binary.c_str(), X_OK) != 0) {
            return;
        }
        pid_ = fork();
        if (pid_ == 0) {
            const int null_fd = open_null();
            if (null_fd >= 0) {
                dup2(null_fd, STDOUT_FILENO);
                dup2(null_fd, STDERR_FILENO);
            }
            execl(binary.c_str(), binary.c_str(), "-i", address.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~FakeCamera() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            int status = 0;
            const auto stop = std::chrono::steady_clock::now() + std::chrono::seconds(5);
            while (waitpid(pid_, &status, WNOHANG) == 0) {
                if (std::chrono::steady_clock::now() > stop) {
                    kill(pid_, SIGKILL);
                    waitpid(pid_, &status, 0);
                    break;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        }
    }
    FakeCamera(const FakeCamera&) = delete;
    FakeCamera& operator=(const FakeCamera&) = delete;

    bool started() const { return pid_ > 0; }
    // False once the process has exited (for instance because another
    // program holds its port).
    bool running() {
        if (pid_ <= 0) {
            return false;
        }
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return false;
        }
        return true;
    }

private:
    static int open_null() {
        FILE* null_file = std::fopen("/dev/null", "w");
        return null_file != nullptr ? fileno(null_file) : -1;
    }
    pid_t pid_ = -1;
};

}  // namespace platform_test
