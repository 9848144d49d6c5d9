// The process-wide logger: a level mask and a category mask decide whether
// a message is written; written lines go to the console, a log file opened
// for appending, and an application-supplied sink.
//
// The masks and switches are atomics so that ORNDoLog stays a few loads on
// the acquisition thread. The file, its name and the sink pointer sit behind
// one mutex: without it a log line from the acquisition thread could write
// to a file that the application is closing at that moment.
#include <sys/time.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "ORNBase.h"

namespace {

constexpr size_t kLogNameSize = 512;
constexpr size_t kTimeStampSize = 64;
constexpr size_t kExternalLineSize = 4096;
constexpr size_t kExternalMessageLimit = 4000;

std::atomic<int> g_logenable{0};
std::atomic<int> g_loglevel{0};
std::atomic<int> g_logcat{ORN_LOGCAT_MASK_ALL};
std::atomic<int> g_logcon{1};

std::mutex g_log_mutex;  // guards the three below
char g_logname[kLogNameSize];
FILE* g_logfile = nullptr;
orn_log_func_t g_logexternal = nullptr;

// The word of the highest level bit present.
const char* level_word(orn_loglevel_t level) {
    if (level & ORN_LOGLVL_FATAL) return "FATAL";
    if (level & ORN_LOGLVL_SEVERE) return "SEVERE";
    if (level & ORN_LOGLVL_ERROR) return "ERROR";
    if (level & ORN_LOGLVL_WARN) return "WARNING";
    if (level & ORN_LOGLVL_INFO) return "INFO";
    return "UNKNOWN";
}

void close_file_locked() {
    if (g_logfile != nullptr) {
        std::fclose(g_logfile);
        g_logfile = nullptr;
    }
}

// Reopens the file under the one lock: a line logged meanwhile waits for
// the new file instead of finding none.
orn_status_t restart_locked(int log_console) {
    close_file_locked();
    g_logenable.store(1);
    g_logcon.store(log_console);
    if (g_logname[0] == '\0') return ORN_OK;
    g_logfile = std::fopen(g_logname, "a");
    return g_logfile != nullptr ? ORN_OK : ORN_ERR_OPEN_FILE_APPEND;
}

}  // namespace

extern "C" {

void ORNLogSetLevel(orn_loglevel_t loglevel) { g_loglevel.store(loglevel); }

void ORNLogSetCategory(orn_logcategory_t logcategory) { g_logcat.store(logcategory); }

void ORNLogSetExternal(orn_log_func_t func) {
    std::lock_guard<std::mutex> lock(g_log_mutex);
    g_logexternal = func;
}

void ORNLogStop(void) {
    std::lock_guard<std::mutex> lock(g_log_mutex);
    close_file_locked();
    g_logenable.store(0);
}

orn_status_t ORNLogStart(int log_console) {
    std::lock_guard<std::mutex> lock(g_log_mutex);
    return restart_locked(log_console);
}

orn_status_t ORNLogStartFilename(const char* name, int log_console) {
    std::lock_guard<std::mutex> lock(g_log_mutex);
    ORNStringCopy(g_logname, name != nullptr ? name : "", kLogNameSize);
    return restart_locked(log_console);
}

void ORNLogSetFilename(const char* name) {
    if (name == nullptr) name = "";
    std::lock_guard<std::mutex> lock(g_log_mutex);
    if (std::strcmp(name, g_logname) == 0) return;
    ORNStringCopy(g_logname, name, kLogNameSize);
    if (g_logfile != nullptr) {
        // Renaming while a file is open ends logging until the next start.
        close_file_locked();
        g_logenable.store(0);
    }
}

orn_bool_t ORNDoLog(orn_loglevel_t loglvl, orn_logcategory_t logcat) {
    return g_logenable.load(std::memory_order_relaxed) != 0 &&
           (g_loglevel.load(std::memory_order_relaxed) & loglvl) != 0 &&
           (g_logcat.load(std::memory_order_relaxed) & logcat) != 0;
}

void ORNLog(orn_loglevel_t loglvl, orn_logcategory_t logcat, const char* msg) {
    if (ORNDoLog(loglvl, logcat)) ORNLogMsg(loglvl, logcat, msg);
}

void ORNLogMsg(orn_loglevel_t loglvl, orn_logcategory_t /*logcat*/, const char* msg) {
    if (msg == nullptr) msg = "";
    const char* word = level_word(loglvl);
    const bool to_console = (loglvl & ORN_LOGLVL_FATAL) != 0 || g_logcon.load() != 0;

    orn_log_func_t external = nullptr;
    char stamp[kTimeStampSize] = "";
    {
        std::lock_guard<std::mutex> lock(g_log_mutex);
        external = g_logexternal;
        if (g_logfile != nullptr || external != nullptr) ORNTimeToString(stamp, sizeof stamp);
        if (to_console) {
            std::printf("%s: %s\n", word, msg);
            std::fflush(stdout);
        }
        if (g_logfile != nullptr) {
            std::fprintf(g_logfile, "%s\t%s: %s\n", stamp, word, msg);
            std::fflush(g_logfile);
        }
    }
    if (external == nullptr) return;

    // The sink gets the line outside the lock, so it may log in turn.
    char line[kExternalLineSize];
    if (std::strlen(msg) > kExternalMessageLimit) {
        std::snprintf(line, sizeof line, "%s: Message exceeds internal buffer size\n", word);
    } else {
        std::snprintf(line, sizeof line, "%s\t%s: %s", stamp, word, msg);
    }
    external(line);
}

void ORNTimeToString(char* text, size_t size) {
    if (text == nullptr || size == 0) return;
    if (size < 32) {
        text[0] = '\0';
        return;
    }
    struct timeval now;
    gettimeofday(&now, nullptr);
    // Rounded in the current rounding mode; 999.5 ms and above print as 1000.
    const int millis = static_cast<int>(std::nearbyint(static_cast<double>(now.tv_usec) / 1000.0));
    const time_t seconds = now.tv_sec;
    struct tm local;
    if (localtime_r(&seconds, &local) == nullptr) return;
    const size_t len = std::strftime(text, size, "%Y:%m:%d %H:%M:%S", &local);
    std::snprintf(text + len, size - len, ".%03d", millis);
}

}  // extern "C"
