// What a test or the soak run watches in its own process to tell that
// nothing was left behind: threads, open file descriptors and resident
// memory, read from /proc.
#pragma once

#include <dirent.h>

#include <chrono>
#include <cstdio>
#include <thread>

namespace orntest {

inline int count_directory_entries(const char* directory) {
    DIR* dir = ::opendir(directory);
    if (dir == nullptr) return -1;
    int count = 0;
    while (const dirent* entry = ::readdir(dir)) {
        if (entry->d_name[0] != '.') ++count;
    }
    ::closedir(dir);
    return count;
}

inline int thread_count() { return count_directory_entries("/proc/self/task"); }
// The directory handle used for counting is one of them, every time.
inline int descriptor_count() { return count_directory_entries("/proc/self/fd"); }

// The thread count once it has dropped to `expected` (threads that end
// asynchronously, such as GLib's workers, may need a moment), or after `limit`.
inline int settled_thread_count(int expected, std::chrono::milliseconds limit) {
    const auto stop = std::chrono::steady_clock::now() + limit;
    while (thread_count() > expected && std::chrono::steady_clock::now() < stop) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return thread_count();
}

inline long resident_kb() {
    FILE* status = std::fopen("/proc/self/status", "r");
    if (status == nullptr) return -1;
    char line[256];
    long kb = -1;
    while (std::fgets(line, sizeof line, status) != nullptr) {
        if (std::sscanf(line, "VmRSS: %ld kB", &kb) == 1) break;
    }
    std::fclose(status);
    return kb;
}

}  // namespace orntest
