// Thread primitives with the names and argument lists of the Windows thread
// API, on POSIX threads, so that the worker reads the same on every
// platform. Exported by name for binary compatibility; not part of the
// public headers.
#pragma once

#include <pthread.h>

#include <cstddef>

#include "ORNBase.h"

extern "C" {

// Starts lpStartAddress(lpParameter) on a new joinable thread. Returns the
// thread, or 0 when it could not be created. The attribute, stack size,
// flags and id arguments are accepted and ignored.
ORN_API pthread_t CreateThread(void* lpThreadAttributes, size_t dwStackSize, int* (*lpStartAddress)(void*),
                               void* lpParameter, int dwCreationFlags, int* lpThreadId);

// Sends SIGHUP, then SIGQUIT, then SIGKILL to the thread, stopping at the
// first that is delivered. Returns 1 when one was delivered, else 0. A zero
// thread is refused (0) without signalling anything.
ORN_API int TerminateThread(pthread_t thread, int exitcode);

// Waits ms milliseconds; a signal shortens the wait.
ORN_API void Sleep(unsigned int ms);

}  // extern "C"
