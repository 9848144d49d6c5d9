#include "base/thread_shims.h"

#include <sys/select.h>

#include <csignal>
#include <initializer_list>
#include <new>

namespace {

// pthread start routines return void*, the shim's routine returns int*:
// calling through a cast function pointer would be undefined, so the
// routine and its argument travel in a small record.
struct StartRecord {
    int* (*routine)(void*);
    void* argument;
};

void* start_trampoline(void* raw) {
    StartRecord* record = static_cast<StartRecord*>(raw);
    int* (*routine)(void*) = record->routine;
    void* argument = record->argument;
    delete record;
    routine(argument);
    return nullptr;
}

}  // namespace

extern "C" {

pthread_t CreateThread(void* /*lpThreadAttributes*/, size_t /*dwStackSize*/, int* (*lpStartAddress)(void*),
                       void* lpParameter, int /*dwCreationFlags*/, int* /*lpThreadId*/) {
    if (lpStartAddress == nullptr) return 0;
    StartRecord* record = new (std::nothrow) StartRecord{lpStartAddress, lpParameter};
    if (record == nullptr) return 0;
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, start_trampoline, record) != 0) {
        delete record;
        return 0;
    }
    return thread;
}

int TerminateThread(pthread_t thread, int /*exitcode*/) {
    // pthread_kill on a zero handle dereferences it inside the C library.
    if (thread == 0) return 0;
    for (int signal_number : {SIGHUP, SIGQUIT, SIGKILL}) {
        if (pthread_kill(thread, signal_number) == 0) return 1;
    }
    return 0;
}

void Sleep(unsigned int ms) {
    struct timeval tv;
    tv.tv_sec = static_cast<time_t>(ms / 1000);
    tv.tv_usec = static_cast<suseconds_t>((ms % 1000) * 1000);
    select(0, nullptr, nullptr, nullptr, &tv);
}

}  // extern "C"
