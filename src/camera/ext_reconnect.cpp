// Automatic recovery after link loss (ORNCSetAutoReconnect): one worker
// thread per handle that enabled it, woken by the handle's device event
// sink when the link is lost.
//
// A recovery has three steps. (1) The dead connection is moved out of the
// handle into a scratch handle, the acquisition worker stopped first; the
// handle then answers as a disconnected one. (2) Out of the handle, at most
// once a second: discovery looks for the serial number, a second scratch
// handle connects to what it finds and the journal's writes are made again
// on it, once the dead connection is closed, and its acquisition started
// as the handle's ran. (3) The new connection is moved into the handle,
// its acquisition worker and the handle's event sink going again.
//
// Only steps (1) and (3) touch the handle, each marked `busy` and holding
// the handle's guard exclusively (handle_guard.h) while it replaces the
// connection fields; neither sends anything on the network (step (2)
// also opens the new connection's message channel for the sink). A
// disconnect, destroy or disable cancels the recovery and waits for no
// more than that mark (memory work, the stop of the acquisition worker,
// and a wait for the guard that gives up at the cancel), so it returns at
// once while any network work runs on. The worker ends by itself after
// it; callbacks run on the worker with no lock held, so they may enable,
// disable or disconnect.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ORNCExt.h"
#include "base/log.h"
#include "camera/acquisition_internal.h"
#include "camera/acquisition_state.h"
#include "camera/event_sinks.h"
#include "camera/frame_tracking.h"
#include "camera/handle_casts.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "camera/recovery.h"
#include "camera/write_journal.h"
#include "platform/PvDevice.h"
#include "platform/PvDeviceGEV.h"
#include "platform/PvDeviceInfo.h"

struct ORNCRecoveryWorker {
    std::mutex lock;
    std::condition_variable changed;
    ornc_priv_t* priv = nullptr;  // not touched once `stop` or `cancelled`, except while `busy`
    ornc_link_callback_t callback = nullptr;
    void* data = nullptr;
    bool stop = false;       // disabled or destroyed: the thread ends
    bool lost = false;       // a link loss waits for a recovery
    bool cancelled = false;  // the recovery in progress is abandoned
    bool busy = false;       // the worker is using the handle
    bool exited = false;
    std::thread thread;
};

struct ORNCRecovery {
    ORNCWriteJournal journal;
    std::string serial;
    std::shared_ptr<ORNCRecoveryWorker> worker;  // null while disabled; under WorkerLock()
};

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kAttemptPeriod = std::chrono::seconds(1);
constexpr auto kIdleWake = std::chrono::milliseconds(250);
constexpr auto kBusyWake = std::chrono::milliseconds(10);
constexpr auto kGuardRetry = std::chrono::milliseconds(1);
// A disabling call waits this long for the worker to end before leaving it
// to end by itself (it then touches nothing of the handle).
constexpr auto kJoinWait = std::chrono::milliseconds(80);

// Set while the worker connects its scratch handle: that connect is no
// connect of an application handle.
thread_local bool t_scratch_connect = false;

std::mutex& WorkerLock() {
    static std::mutex* lock = new std::mutex;  // intentionally never destroyed: sinks may call late
    return *lock;
}

std::shared_ptr<ORNCRecoveryWorker> ORNC_WorkerOf(ornc_priv_t* priv) {
    std::lock_guard<std::mutex> guard(WorkerLock());
    return priv->recovery != nullptr ? priv->recovery->worker : nullptr;
}

void ORNC_MapsOf(ornc_priv_t* priv, PvGenParameterArray* maps[ORNCWriteJournal::kMapCount]) {
    maps[ORNCWriteJournal::kDevice] = priv->lDeviceParams;
    maps[ORNCWriteJournal::kStream] = priv->lStreamParams;
    maps[ORNCWriteJournal::kCommunication] = priv->lCommunicationParams;
}

// Exchanges everything a connect fills in (ORNCConnectByDevice).
void ORNC_SwapConnection(ornc_priv_t* a, ornc_priv_t* b) {
    using std::swap;
    swap(a->lDevice, b->lDevice);
    swap(a->lStream, b->lStream);
    swap(a->lBufferList, b->lBufferList);
    swap(a->lDeviceGEV, b->lDeviceGEV);
    swap(a->lStreamGEV, b->lStreamGEV);
    swap(a->lAcquisitionStart, b->lAcquisitionStart);
    swap(a->lAcquisitionStop, b->lAcquisitionStop);
    swap(a->lAcquisitionMode, b->lAcquisitionMode);
    swap(a->lTriggerMode, b->lTriggerMode);
    swap(a->lTriggerSource, b->lTriggerSource);
    swap(a->lTriggerSelector, b->lTriggerSelector);
    swap(a->lTriggerSoftware, b->lTriggerSoftware);
    swap(a->lFrameRate, b->lFrameRate);
    swap(a->lBandwidth, b->lBandwidth);
    swap(a->lDeviceParams, b->lDeviceParams);
    swap(a->lStreamParams, b->lStreamParams);
    swap(a->lCommunicationParams, b->lCommunicationParams);
    swap(a->comp_array, b->comp_array);
    swap(a->comp_count, b->comp_count);
    swap(a->param_source, b->param_source);
    swap(a->param_region, b->param_region);
    swap(a->param_component, b->param_component);
    swap(a->param_compenable, b->param_compenable);
    swap(a->param_pixelformat, b->param_pixelformat);
    swap(a->sources, b->sources);
    swap(a->regions, b->regions);
    swap(a->components, b->components);
    swap(a->pixelformats, b->pixelformats);
}

// Disconnects the scratch handle and leaves it as ORNCInit made it.
void ORNC_ClearScratch(ornc_t* scratch) {
    ORNCDisconnect(scratch);
    std::memset(scratch->priv, 0, sizeof *scratch->priv);
}

// The sink's link-loss hook; `data` is the handle's ornc_priv_t.
void ORNC_RecoveryLinkLost(void* data) {
    std::shared_ptr<ORNCRecoveryWorker> worker = ORNC_WorkerOf(static_cast<ornc_priv_t*>(data));
    if (worker != nullptr) {
        std::lock_guard<std::mutex> guard(worker->lock);
        worker->lost = true;
        worker->changed.notify_all();
    }
}

// The event sink registered with the current device, reporting link loss
// to the worker.
void ORNC_WatchLink(ornc_priv_t* priv) {
    ORNC_RearmEventSink(priv);
    if (priv->lEventSink != nullptr) {
        ornc_state::StoreField(&priv->lEventSink->m_link_lost_data, static_cast<void*>(priv));
        ornc_state::StoreField(&priv->lEventSink->m_link_lost_hook, &ORNC_RecoveryLinkLost);
    }
}

// True, marking the worker busy until ORNC_Leave, when the recovery may
// still use the handle.
bool ORNC_Enter(ORNCRecoveryWorker& worker) {
    std::lock_guard<std::mutex> guard(worker.lock);
    worker.busy = !worker.stop && !worker.cancelled;
    return worker.busy;
}

void ORNC_Leave(ORNCRecoveryWorker& worker) {
    std::lock_guard<std::mutex> guard(worker.lock);
    worker.busy = false;
    worker.changed.notify_all();
}

// Waits until `until`; false when the recovery was stopped or cancelled.
bool ORNC_PauseUntil(ORNCRecoveryWorker& worker, Clock::time_point until) {
    std::unique_lock<std::mutex> guard(worker.lock);
    return !worker.changed.wait_until(guard, until, [&] { return worker.stop || worker.cancelled; });
}

void ORNC_Tell(ORNCRecoveryWorker& worker, int up) {
    ornc_link_callback_t callback = nullptr;
    void* data = nullptr;
    {
        std::lock_guard<std::mutex> guard(worker.lock);
        if (worker.stop || worker.cancelled) {
            return;
        }
        callback = worker.callback;
        data = worker.data;
    }
    if (callback != nullptr) {
        callback(up, data);
    }
}

// An event sink with no callback (kept in the sinks' registry). It stays
// registered beside the handle's: taking it out would wait for a
// notification in progress, whose callback may wait for the guard.
ORNCDeviceEventSink* ORNC_ChannelOpener() {
    static ORNCDeviceEventSink* const opener = ORNCDeviceEventSink::Create();
    return opener;
}

// What ran on the handle when the link was lost.
struct Running {
    ornc_priv_t* handle = nullptr;  // only the user data of its acquisition worker once out of ORNC_Enter
    bool server = false;
    int period_ms = 0;
    ornc_acqui_state_t state{};
    std::vector<ORNCWriteJournal::Entry> writes;
    std::string serial;
};

// The handle's guard, held exclusively, for a worker marked busy; not held
// when the recovery was cancelled first. Tried, not waited for: a cancel
// ends the wait at once.
std::unique_lock<std::shared_mutex> ORNC_Exclusive(ORNCRecoveryWorker& worker) {
    std::unique_lock<std::shared_mutex> exclusive(worker.priv->guard->lock, std::try_to_lock);
    std::unique_lock<std::mutex> guard(worker.lock);
    while (!exclusive.owns_lock() && !worker.stop && !worker.cancelled) {
        worker.changed.wait_for(guard, kGuardRetry);
        exclusive.try_lock();
    }
    return exclusive;
}

// Step (1): the dead connection into `scratch`.
bool ORNC_TakeOut(ORNCRecoveryWorker& worker, ornc_t* scratch, Running* running) {
    if (!ORNC_Enter(worker)) {
        return false;
    }
    std::unique_lock<std::shared_mutex> exclusive = ORNC_Exclusive(worker);
    const bool taken = exclusive.owns_lock();
    if (taken) {
        ornc_priv_t* priv = worker.priv;
        // The dead connection is disconnected after this, against time-outs;
        // meanwhile the device's address is free for the new connection, or
        // for the application's own after a disconnect that ends the search.
        if (priv->lDeviceGEV != nullptr) {
            priv->lDeviceGEV->ReleaseAddress();
        }
        // Callbacks on the acquisition worker take no lock: it ends first.
        running->server = priv->acquisition_thread.priv != nullptr;
        if (running->server) {
            ORNC_RetireWorker(priv);
        }
        running->handle = priv;
        running->period_ms = ORNC_DeliveryPeriodMs(priv);
        running->state = ornc_state::Load(&priv->acquistate);
        running->writes = priv->recovery->journal.Snapshot();
        running->serial = priv->recovery->serial;
        PvGenParameterArray* maps[ORNCWriteJournal::kMapCount];
        ORNC_MapsOf(priv, maps);
        ORNCWriteJournal::Detach(maps);
        ORNC_SwapConnection(priv, scratch->priv);
        exclusive.unlock();
    }
    ORNC_Leave(worker);
    return taken;
}

// Step (2), one attempt: the device with the serial number, connected to
// `scratch` and given the writes again.
bool ORNC_ConnectScratch(ornc_t* scratch, const Running& running) {
    ornc_system_t sys{nullptr};
    if (running.serial.empty() || ORNCSysInit(&sys) != ORNC_OK) {
        return false;  // a device without a serial number cannot be told from another
    }
    const ornc_device_t* device = ORNCSysGetDeviceBySerialNumber(&sys, running.serial.c_str());
    if (device != nullptr) {
        t_scratch_connect = true;
        ORNCConnectByDevice(scratch, device);
        t_scratch_connect = false;
    }
    ORNCSysDestroy(&sys);
    // A failed component table still leaves a usable connection, as after any connect.
    if (scratch->priv->lDevice == nullptr || scratch->priv->lStream == nullptr) {
        return false;
    }
    PvGenParameterArray* maps[ORNCWriteJournal::kMapCount];
    ORNC_MapsOf(scratch->priv, maps);
    const int failed = ORNCWriteJournal::Replay(running.writes, maps);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Recovery wrote %d settings again, %d failed",
             static_cast<int>(running.writes.size()), failed);
    // Started as the handle ran, still out of the handle; its worker (the
    // handle its user data) runs idle until ORNC_PutBack activates it.
    if (running.server) {
        ORNThreadInit(&scratch->priv->acquisition_thread, ORNC_AcquisitionFunc, running.handle, running.period_ms);
    }
    ornc_acqui_state_t state = running.state;
    state.mode = ORNC_ACQUI_MODE_IDLE;
    state.triggered = 0;
    ornc_state::Store(&scratch->priv->acquistate, state);
    if (running.state.mode != ORNC_ACQUI_MODE_IDLE) {
        const int mode = running.state.mode == ORNC_ACQUI_MODE_CONT ? 0 : 1;
        const ornc_status_t status = ORNCAcquisitionStartMode(scratch, mode, static_cast<int>(running.state.trig));
        if (status != ORNC_OK) {
            ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Recovery could not start the acquisition %d",
                     static_cast<int>(status));
        }
    }
    // Idle until ORNC_PutBack: the start above only marked it active.
    if (running.server && ORNThreadStart(&scratch->priv->acquisition_thread) != ORN_OK) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_CONNECT, "ORNC: Recovery could not start the acquisition worker");
    }
    // The message channel opens now, for a sink that tells no one: the
    // handle's own joins it in ORNC_PutBack without a transaction.
    scratch->priv->lDevice->RegisterEventSink(ORNC_ChannelOpener());
    return true;
}

// Step (3): the new connection into the handle, its worker running.
bool ORNC_PutBack(ORNCRecoveryWorker& worker, ornc_t* scratch) {
    if (!ORNC_Enter(worker)) {
        return false;
    }
    std::unique_lock<std::shared_mutex> exclusive = ORNC_Exclusive(worker);
    const bool installed = exclusive.owns_lock();
    if (installed) {
        ornc_priv_t* priv = worker.priv;
        ORNC_SwapConnection(priv, scratch->priv);
        std::swap(priv->acquisition_thread, scratch->priv->acquisition_thread);
        const ornc_acqui_state_t state = ornc_state::Load(&scratch->priv->acquistate);
        ornc_state::Store(&priv->acquistate, state);
        PvGenParameterArray* maps[ORNCWriteJournal::kMapCount];
        ORNC_MapsOf(priv, maps);
        priv->recovery->journal.Attach(maps);
        ORNC_WatchLink(priv);
        if (state.mode != ORNC_ACQUI_MODE_IDLE) {
            ORNC_NewAcquisitionForFrames(priv);
        }
        if (priv->acquisition_thread.priv != nullptr) {
            ORNC_ApplyDeliveryPacing(priv);
            ORNThreadActive(&priv->acquisition_thread, state.mode != ORNC_ACQUI_MODE_IDLE ? 1 : 0);
        }
        exclusive.unlock();
    }
    ORNC_Leave(worker);
    return installed;
}

void ORNC_Recover(ORNCRecoveryWorker& worker) {
    ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: Link lost, recovering");
    ORNC_Tell(worker, 0);
    // The dead connection is closed first: its heartbeat would keep the
    // control of a device that came back at the same address.
    ornc_t dead{static_cast<ornc_priv_t*>(std::calloc(1, sizeof(ornc_priv_t)))};
    ornc_t fresh{static_cast<ornc_priv_t*>(std::calloc(1, sizeof(ornc_priv_t)))};
    Running running;
    bool connected = false;
    if (dead.priv != nullptr && fresh.priv != nullptr && ORNC_TakeOut(worker, &dead, &running)) {
        ORNC_ClearScratch(&dead);
        for (Clock::time_point next = Clock::now(); !connected && ORNC_PauseUntil(worker, next);) {
            next = Clock::now() + kAttemptPeriod;
            connected = ORNC_ConnectScratch(&fresh, running);
            if (!connected) {
                ORNC_ClearScratch(&fresh);
            }
        }
    }
    const bool recovered = connected && ORNC_PutBack(worker, &fresh);
    for (ornc_t* scratch : {&fresh, &dead}) {
        if (scratch->priv != nullptr) {
            ORNCDisconnect(scratch);
            std::free(scratch->priv);
        }
    }
    if (recovered) {
        ORN_LOGF(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT, "ORNC: Link recovered");
        ORNC_Tell(worker, 1);
    }
}

void ORNC_RunWorker(std::shared_ptr<ORNCRecoveryWorker> worker) {
    std::unique_lock<std::mutex> guard(worker->lock);
    while (!worker->stop) {
        worker->changed.wait_for(guard, kIdleWake, [&] { return worker->stop || worker->lost; });
        if (worker->stop || !worker->lost) {
            continue;
        }
        worker->lost = false;
        worker->cancelled = false;
        guard.unlock();
        ORNC_Recover(*worker);
        guard.lock();
    }
    worker->exited = true;
    worker->changed.notify_all();
}

// Cancels the recovery in progress and waits until the worker no longer
// uses the handle; with `stop`, the worker also ends.
void ORNC_Cancel(ORNCRecoveryWorker& worker, bool stop) {
    std::unique_lock<std::mutex> guard(worker.lock);
    worker.cancelled = true;
    worker.lost = false;
    worker.stop = worker.stop || stop;
    worker.changed.notify_all();
    // Bounded: while busy the worker does memory work, stops the
    // acquisition worker, or waits for the guard until it sees the cancel.
    while (worker.busy) {
        worker.changed.wait_for(guard, kBusyWake);
    }
}

void ORNC_StopWorker(ornc_priv_t* priv) {
    std::shared_ptr<ORNCRecoveryWorker> worker;
    {
        std::lock_guard<std::mutex> guard(WorkerLock());
        if (priv->recovery != nullptr) {
            worker = std::move(priv->recovery->worker);
        }
    }
    if (worker == nullptr) {
        return;
    }
    ORNC_Cancel(*worker, true);
    bool exited = false;
    if (worker->thread.get_id() != std::this_thread::get_id()) {
        std::unique_lock<std::mutex> guard(worker->lock);
        exited = worker->changed.wait_for(guard, kJoinWait, [&] { return worker->exited; });
    }
    if (exited) {
        worker->thread.join();
    } else {
        worker->thread.detach();  // ends after its network work, without the handle
    }
}

ORNCRecovery* ORNC_RecoveryOf(ornc_priv_t* priv) {
    if (priv->recovery == nullptr) {
        priv->recovery = new (std::nothrow) ORNCRecovery;
    }
    return priv->recovery;
}

}  // namespace

void ORNC_RecoveryConnected(ornc_priv_t* priv, const PvDeviceInfo* info) {
    if (t_scratch_connect || ORNC_RecoveryOf(priv) == nullptr) {
        return;
    }
    PvGenParameterArray* maps[ORNCWriteJournal::kMapCount];
    ORNC_MapsOf(priv, maps);
    priv->recovery->journal.Clear();
    priv->recovery->journal.Attach(maps);
    priv->recovery->serial = info != nullptr ? info->GetSerialNumber().str() : std::string();
    if (priv->lDevice != nullptr && ORNC_WorkerOf(priv) != nullptr) {
        ORNC_WatchLink(priv);
    }
}

void ORNC_RecoveryCancel(ornc_priv_t* priv) {
    std::shared_ptr<ORNCRecoveryWorker> worker = ORNC_WorkerOf(priv);
    if (worker != nullptr) {
        ORNC_Cancel(*worker, false);
    }
}

void ORNC_RecoveryRelease(ornc_priv_t* priv) {
    if (priv->recovery == nullptr) {
        return;
    }
    ORNC_StopWorker(priv);
    if (priv->lEventSink != nullptr) {
        ornc_state::StoreField(&priv->lEventSink->m_link_lost_hook, static_cast<void (*)(void*)>(nullptr));
    }
    PvGenParameterArray* maps[ORNCWriteJournal::kMapCount];
    ORNC_MapsOf(priv, maps);
    if (priv->lDevice != nullptr) {
        ORNCWriteJournal::Detach(maps);  // a handle destroyed while connected
    }
    std::lock_guard<std::mutex> guard(WorkerLock());
    delete priv->recovery;
    priv->recovery = nullptr;
}

extern "C" {

ornc_status_t ORNCSetAutoReconnect(const ornc_t* ornc, int enable, ornc_link_callback_t callback, void* data) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    ornc_priv_t* priv = ornc->priv;
    if (enable == 0) {
        ORNC_StopWorker(priv);
        return ORNC_OK;
    }
    if (ORNC_RecoveryOf(priv) == nullptr) {
        return ORNC_ERR_OUT_OF_MEMORY;
    }
    if (std::shared_ptr<ORNCRecoveryWorker> running = ORNC_WorkerOf(priv)) {
        std::lock_guard<std::mutex> guard(running->lock);
        running->callback = callback;
        running->data = data;
        return ORNC_OK;
    }
    std::shared_ptr<ORNCRecoveryWorker> worker = std::make_shared<ORNCRecoveryWorker>();
    worker->priv = priv;
    worker->callback = callback;
    worker->data = data;
    try {
        worker->thread = std::thread(ORNC_RunWorker, worker);
    } catch (const std::exception&) {
        return ORNC_ERROR;
    }
    {
        std::lock_guard<std::mutex> guard(WorkerLock());
        priv->recovery->worker = worker;
    }
    if (priv->lDevice != nullptr) {
        ORNC_WatchLink(priv);
    }
    return ORNC_OK;
}

}  // extern "C"
