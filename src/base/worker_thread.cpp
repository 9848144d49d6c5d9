// The periodic worker: one thread that calls a function, sleeps `delay` ms
// (or what is left of a period, ORN_ThreadSetDelay), and repeats,
// switchable between active and inactive without ending.
//
// Owner and worker meet only through the flags below, each written by one
// side and polled by the other; they are atomics so every poll sees the
// other side's latest write.
#include "base/worker_thread.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <new>
#include <thread>

#include "ORNBase.h"
#include "base/log.h"
#include "base/thread_shims.h"

struct orn_thread_priv_ {
    void* userdata = nullptr;
    orn_thread_func_t thread_func = nullptr;
    std::atomic<int> delay{0};                 // the owner may change it between passes
    std::atomic<bool> delay_is_period{false};  // counted from the start of a call
    std::atomic<int> thread_running{0};
    pthread_t thread_handle{};
    int thread_id = 0;
    std::atomic<int> thread_stop{0};
    std::atomic<int> thread_stopped{0};
    std::atomic<int> thread_no_interrupt{0};
    std::atomic<int> thread_inactive{1};
};

namespace {

constexpr unsigned kStopPollMs = 50;
constexpr unsigned kDestroyPollMs = 10;
constexpr int kDestroyPolls = 10;

int* ORN_ThreadWrapper(void* arg) {
    orn_thread_priv_* priv = static_cast<orn_thread_priv_*>(arg);
    // The stop flags were cleared by ORNThreadStart before this thread
    // existed: a stop or destroy that comes before the thread is first
    // scheduled is honoured instead of being wiped out here (which would
    // leave a destroy no choice but to signal the process).
    for (;;) {
        const auto began = std::chrono::steady_clock::now();
        bool called = false;
        if (priv->thread_inactive.load() == 0 && priv->thread_func != nullptr) {
            priv->thread_no_interrupt.store(1);
            priv->thread_func(priv->userdata);
            priv->thread_no_interrupt.store(0);
            called = true;
        }
        const int delay = priv->delay.load();
        if (called && priv->delay_is_period.load()) {
            const auto rest = began + std::chrono::milliseconds(delay) - std::chrono::steady_clock::now();
            if (rest.count() > 0) std::this_thread::sleep_for(rest);
        } else {
            Sleep(static_cast<unsigned>(delay));
        }
        if (priv->thread_stop.load() != 0) break;
    }
    priv->thread_running.store(0);
    priv->thread_stopped.store(1);  // the very last touch of the record
    return nullptr;
}

// Releases the resources of a thread that has ended, so that workers created
// and destroyed over months do not pile up finished threads.
void reap_finished_thread(orn_thread_priv_* priv) {
    if (priv->thread_handle != 0 && priv->thread_running.load() == 0) {
        pthread_join(priv->thread_handle, nullptr);
        priv->thread_handle = 0;
    }
}

}  // namespace

void ORN_ThreadSetDelay(orn_thread_t* thread, int delay, bool is_period) {
    if (thread == nullptr || thread->priv == nullptr) return;
    thread->priv->delay.store(delay);
    thread->priv->delay_is_period.store(is_period);
}

bool ORN_ThreadAwaitEnd(orn_thread_t* thread, int timeout_ms) {
    if (thread == nullptr || thread->priv == nullptr) return true;
    const orn_thread_priv_* priv = thread->priv;
    if (priv->thread_running.load() == 0) return true;
    for (int waited = 0; priv->thread_stopped.load() == 0; waited += static_cast<int>(kDestroyPollMs)) {
        if (waited >= timeout_ms) return false;
        Sleep(kDestroyPollMs);
    }
    return true;
}

extern "C" {

orn_status_t ORNThreadInit(orn_thread_t* thread, orn_thread_func_t thread_func, void* userdata, int delay) {
    if (thread == nullptr) return ORN_ERROR;
    thread->priv = nullptr;
    orn_thread_priv_* priv = new (std::nothrow) orn_thread_priv_;
    if (priv == nullptr) return ORN_ERR_OUT_OF_MEMORY;
    priv->userdata = userdata;
    priv->thread_func = thread_func;
    priv->delay = delay;
    thread->priv = priv;
    return ORN_OK;
}

orn_status_t ORNThreadStart(orn_thread_t* thread) {
    if (thread == nullptr || thread->priv == nullptr) return ORN_ERROR;
    orn_thread_priv_* priv = thread->priv;
    priv->thread_inactive.store(1);
    if (priv->thread_running.load() != 0) return ORN_OK;
    reap_finished_thread(priv);
    // A new run starts with no stop request and not ended.
    priv->thread_stop.store(0);
    priv->thread_stopped.store(0);
    priv->thread_handle = CreateThread(nullptr, 0, ORN_ThreadWrapper, priv, 0, &priv->thread_id);
    if (priv->thread_handle != 0) {
        priv->thread_running.store(1);
        priv->thread_inactive.store(1);
        return ORN_OK;
    }
    priv->thread_running.store(0);
    return ORN_ERROR;
}

void ORNThreadActive(orn_thread_t* thread, int active) {
    if (thread == nullptr || thread->priv == nullptr) return;
    thread->priv->thread_inactive.store(active == 0 ? 1 : 0);
}

orn_status_t ORNThreadStop(orn_thread_t* thread) {
    if (thread == nullptr || thread->priv == nullptr) return ORN_OK;
    orn_thread_priv_* priv = thread->priv;
    priv->thread_inactive.store(1);
    // A running call is always allowed to finish.
    while (priv->thread_no_interrupt.load() != 0) Sleep(kStopPollMs);
    // The thread ends only once a stop was asked for, so clearing
    // thread_stopped is safe on the first request alone: a repeated one
    // (a disconnect after ORNCStop) could erase the mark of a thread that
    // has already ended, and ORNThreadDestroy would then wait out its bound
    // and signal a thread that is gone.
    if (priv->thread_stop.load() == 0) {
        priv->thread_stopped.store(0);
        priv->thread_stop.store(1);
    }
    return ORN_OK;
}

void ORNThreadDestroy(orn_thread_t* thread) {
    if (thread == nullptr || thread->priv == nullptr) return;
    orn_thread_priv_* priv = thread->priv;
    priv->thread_stop.store(1);
    bool stopped = false;
    for (int cnt = 0; cnt < kDestroyPolls; ++cnt) {
        if (priv->thread_stopped.load() != 0) {
            stopped = true;
            break;
        }
        ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC, "ORNThread: Trying to stop, cnt %d", cnt);
        Sleep(kDestroyPollMs);
    }
    if (!stopped && priv->thread_stopped.load() == 0) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_MISC, "ORNThread: Still not stopped");
        // Last resort for a thread that will not end: with default signal
        // dispositions this affects the whole process.
        const int terminated = TerminateThread(priv->thread_handle, 0);
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_MISC, "ORNThread: Terminate %d", terminated);
        // A thread that survived the signal still reads the record: it is
        // left to it rather than freed under it.
        if (priv->thread_handle != 0 && priv->thread_running.load() != 0) {
            thread->priv = nullptr;
            return;
        }
    }
    // The loop has ended (or never ran): reclaim the thread itself.
    if (priv->thread_handle != 0) pthread_join(priv->thread_handle, nullptr);
    delete priv;
    thread->priv = nullptr;
}

void ORNCSleep(int ms) { usleep(static_cast<useconds_t>(static_cast<uint32_t>(ms) * 1000u)); }

}  // extern "C"
