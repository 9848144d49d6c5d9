// Helpers of the hostile-peer suites: this suite's loopback block, counts of
// the process's threads and open descriptors, and a bounded stopwatch.
#pragma once

#include <dirent.h>

#include <chrono>
#include <string>

namespace hostile {

// 127.0.70.<host>: the hostile suites' own block (lock ornc_loopback_70).
inline std::string address(int host) { return "127.0.70." + std::to_string(host); }

inline int count_entries(const char* directory) {
    DIR* dir = ::opendir(directory);
    if (dir == nullptr) return -1;
    int count = 0;
    while (const dirent* entry = ::readdir(dir)) {
        if (entry->d_name[0] != '.') ++count;
    }
    ::closedir(dir);
    return count;
}

inline int thread_count() { return count_entries("/proc/self/task"); }
inline int descriptor_count() { return count_entries("/proc/self/fd"); }

class Stopwatch {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace hostile
