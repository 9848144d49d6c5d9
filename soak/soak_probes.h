// What the soak run watches in its own process: threads, open file
// descriptors and resident memory, read from /proc.
#pragma once

#include <dirent.h>

#include <cstdio>

namespace soak {

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
// The directory handle used for counting is one of them, every time.
inline int descriptor_count() { return count_entries("/proc/self/fd"); }

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

// AddressSanitizer keeps freed memory in quarantine, so resident memory
// says nothing about leaks there (LeakSanitizer checks at exit instead).
constexpr bool under_address_sanitizer() {
#if defined(__SANITIZE_ADDRESS__)
    return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return true;
#else
    return false;
#endif
#else
    return false;
#endif
}

}  // namespace soak
