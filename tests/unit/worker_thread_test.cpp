// The periodic worker: activation, the stop hand-shake with a running call,
// destruction with its bounded wait, and the thread shims. Timing bounds are
// generous: they catch a worker that never runs or never stops, not jitter.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include "ORNBase.h"
#include "base/thread_shims.h"
#include "log_capture.h"
#include "process_probes.h"
#include "wait.h"

namespace {

using Clock = std::chrono::steady_clock;
using orntest::wait_until;
using namespace std::chrono_literals;

long elapsed_ms(Clock::time_point since) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
}

// Threads of this process. The first thread created may bring helper
// threads of a sanitizer runtime with it: one throw-away thread is made
// first so that they are part of every baseline.
int thread_count() {
    static const bool warmed_up = [] {
        std::thread([] {}).join();
        return true;
    }();
    (void)warmed_up;
    return orntest::thread_count();
}

struct Counter {
    std::atomic<int> calls{0};
    std::atomic<int> busy_ms{0};
    std::atomic<bool> inside{false};
};

void count_call(void* arg) {
    Counter* counter = static_cast<Counter*>(arg);
    counter->inside.store(true);
    counter->calls.fetch_add(1);
    if (counter->busy_ms.load() > 0) std::this_thread::sleep_for(std::chrono::milliseconds(counter->busy_ms.load()));
    counter->inside.store(false);
}

// True when no call starts in 80 ms once a pass in flight (30 ms) is over.
bool calls_stopped(const Counter& counter) {
    std::this_thread::sleep_for(30ms);
    const int calls = counter.calls.load();
    std::this_thread::sleep_for(80ms);
    return counter.calls.load() == calls;
}

TEST(Worker, StartedWorkerIsInactiveUntilActivated) {
    Counter counter;
    orn_thread_t worker;
    ASSERT_EQ(ORNThreadInit(&worker, count_call, &counter, 10), ORN_OK);
    ASSERT_NE(worker.priv, nullptr);
    const int threads_before = thread_count();
    ASSERT_EQ(ORNThreadStart(&worker), ORN_OK);
    EXPECT_EQ(thread_count(), threads_before + 1);
    std::this_thread::sleep_for(80ms);
    EXPECT_EQ(counter.calls.load(), 0);

    ORNThreadActive(&worker, 1);
    const auto activated = Clock::now();
    std::this_thread::sleep_for(300ms);
    // About one call per 10 ms of the time that passed: a loaded machine may
    // run the worker later than asked, never more often.
    ASSERT_TRUE(wait_until([&] { return counter.calls.load() >= 5; }, 3s)) << counter.calls.load();
    EXPECT_LE(counter.calls.load(), elapsed_ms(activated) / 10 + 5);

    // Starting again keeps the one thread and makes it inactive.
    EXPECT_EQ(ORNThreadStart(&worker), ORN_OK);
    EXPECT_EQ(thread_count(), threads_before + 1);
    EXPECT_TRUE(calls_stopped(counter));
    const int frozen = counter.calls.load();
    ORNThreadActive(&worker, 1);
    ASSERT_TRUE(wait_until([&] { return counter.calls.load() > frozen; }, 1s));
    ORNThreadActive(&worker, 0);
    EXPECT_TRUE(calls_stopped(counter));

    // Stopped, its thread gone: a start runs a fresh thread that calls again.
    EXPECT_EQ(ORNThreadStop(&worker), ORN_OK);
    ASSERT_TRUE(wait_until([&] { return thread_count() == threads_before; }, 1s));
    ASSERT_EQ(ORNThreadStart(&worker), ORN_OK);
    const int stopped = counter.calls.load();
    ORNThreadActive(&worker, 1);
    EXPECT_TRUE(wait_until([&] { return counter.calls.load() > stopped + 3; }, 2s)) << "the fresh thread calls on";
    ORNThreadDestroy(&worker);
    EXPECT_EQ(worker.priv, nullptr);
    EXPECT_TRUE(wait_until([&] { return thread_count() == threads_before; }, 1s));
}

TEST(Worker, StopWaitsForTheRunningCallToReturnAndIsHarmlessWithoutAWorker) {
    Counter counter;
    counter.busy_ms.store(250);
    orn_thread_t worker;
    ASSERT_EQ(ORNThreadInit(&worker, count_call, &counter, 10), ORN_OK);
    ASSERT_EQ(ORNThreadStart(&worker), ORN_OK);
    ORNThreadActive(&worker, 1);
    ASSERT_TRUE(wait_until([&] { return counter.inside.load(); }, 2s));

    EXPECT_EQ(ORNThreadStop(&worker), ORN_OK);
    EXPECT_FALSE(counter.inside.load());  // the 250 ms call ended before Stop returned
    const int calls = counter.calls.load();
    ORNThreadDestroy(&worker);
    EXPECT_EQ(counter.calls.load(), calls);
    // Stop on a handle without a worker (priv NULL) is harmless.
    EXPECT_EQ(ORNThreadStop(&worker), ORN_OK);
    EXPECT_EQ(ORNThreadStop(nullptr), ORN_OK);
}

// Stopped, ended, then stopped again before the destroy (a stop of the
// acquisition followed by a disconnect): the second stop must not make the
// ended thread look as if it were still running. (A destroy that does not
// end a running worker signals it, which ends the process: the other cases
// destroy running workers.)
TEST(Worker, DestroyOfAnEndedWorkerStoppedTwiceSendsNoSignal) {
    orntest::LogCapture log;
    Counter counter;
    orn_thread_t worker;
    const int baseline = thread_count();
    ASSERT_EQ(ORNThreadInit(&worker, count_call, &counter, 10), ORN_OK);
    ASSERT_EQ(ORNThreadStart(&worker), ORN_OK);
    ORNThreadStop(&worker);
    ASSERT_TRUE(wait_until([&] { return thread_count() == baseline; }, 1s)) << thread_count();
    ORNThreadStop(&worker);
    ORNThreadDestroy(&worker);
    EXPECT_EQ(worker.priv, nullptr);
    EXPECT_LE(log.count_containing("ORNThread: Trying to stop, cnt "), 10);
    EXPECT_EQ(log.count_containing("Still not stopped") + log.count_containing("ORNThread: Terminate"), 0);
}

TEST(Worker, DestroyOfANeverStartedWorkerWaitsTheFullBound) {
    orntest::LogCapture log;
    orn_thread_t worker;
    ASSERT_EQ(ORNThreadInit(&worker, nullptr, nullptr, 10), ORN_OK);
    const auto start = Clock::now();
    ORNThreadDestroy(&worker);
    const long waited = elapsed_ms(start);
    EXPECT_TRUE(waited >= 95 && waited < 2000) << waited;
    EXPECT_EQ(worker.priv, nullptr);
    EXPECT_EQ(log.count_containing("ORNThread: Trying to stop, cnt "), 10);
    EXPECT_EQ(log.count_containing("ORNThread: Trying to stop, cnt 9"), 1);
    EXPECT_EQ(log.count_containing("WARNING: ORNThread: Still not stopped"), 1);
    EXPECT_EQ(log.count_containing("WARNING: ORNThread: Terminate 0"), 1);  // no thread: nothing signalled
}

TEST(Worker, AWorkerThatWillNotEndIsSignalledAsLastResort) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static Counter counter;
            counter.busy_ms.store(60000);
            orn_thread_t worker;
            ORNThreadInit(&worker, count_call, &counter, 10);
            ORNThreadStart(&worker);
            ORNThreadActive(&worker, 1);
            while (!counter.inside.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            ORNThreadDestroy(&worker);  // the call never returns: SIGHUP ends the process
            std::this_thread::sleep_for(std::chrono::seconds(5));
            std::exit(0);
        },
        ::testing::KilledBySignal(SIGHUP), "");
}

TEST(ThreadShims, SleepAndThreadCreation) {
    auto start = Clock::now();
    Sleep(0);
    EXPECT_LT(elapsed_ms(start), 50);
    start = Clock::now();
    Sleep(150);
    const long slept = elapsed_ms(start);
    EXPECT_TRUE(slept >= 145 && slept < 1500) << slept;

    start = Clock::now();
    ORNCSleep(20);
    EXPECT_GE(elapsed_ms(start), 19);

    static std::atomic<int> ran{0};
    int id = 12345;
    pthread_t thread = CreateThread(
        nullptr, 0,
        [](void* arg) -> int* {
            ran.store(*static_cast<int*>(arg));
            return nullptr;
        },
        &id, 0, &id);
    ASSERT_NE(thread, static_cast<pthread_t>(0));
    pthread_join(thread, nullptr);
    EXPECT_EQ(ran.load(), 12345);
    EXPECT_EQ(id, 12345);  // the id argument is never written
    EXPECT_EQ(CreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr), static_cast<pthread_t>(0));
    EXPECT_EQ(TerminateThread(0, 0), 0);
}

}  // namespace
