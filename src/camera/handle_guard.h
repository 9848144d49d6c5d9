// The guard of a handle's connection fields (what ORNCConnectByDevice
// fills in). While the handle is in use only an automatic recovery
// (ext_reconnect.cpp) replaces them, holding the guard exclusively; every
// entry point that reads them holds it shared for its whole run, with one
// line: `ORNCReading reading(ornc);`.
//
// A thread takes a handle's guard once: a call made while the thread
// already holds it (an entry point calling another) takes nothing again,
// and neither do the calls of the application's callbacks on the
// handle's acquisition worker (ORNCDelivering). A recovery stops that
// worker before it replaces anything and starts it only after, so those
// calls never overlap a replacement, and no shared lock is ever taken
// twice in one thread (which could wait forever behind a waiting
// recovery).
#pragma once

#include <shared_mutex>

#include "camera/ornc_priv.h"

struct ORNCHandleGuard {
    std::shared_mutex lock;
};

// The handle whose guard this thread holds or needs not hold.
inline thread_local const ornc_priv_t* t_guarded_priv = nullptr;

// Marks `priv` as guarded on this thread from construction to destruction.
class ORNCGuarded {
public:
    explicit ORNCGuarded(const ornc_priv_t* priv) : outer_(t_guarded_priv) { t_guarded_priv = priv; }
    ~ORNCGuarded() { t_guarded_priv = outer_; }
    ORNCGuarded(const ORNCGuarded&) = delete;
    ORNCGuarded& operator=(const ORNCGuarded&) = delete;

private:
    const ornc_priv_t* outer_;
};

// Holds `ornc`'s guard shared (nothing for a null or uninitialised handle).
class ORNCReading {
public:
    explicit ORNCReading(const ornc_t* ornc)
        : guard_(ornc != nullptr && ornc->priv != nullptr && ornc->priv != t_guarded_priv ? ornc->priv->guard
                                                                                          : nullptr),
          marked_(guard_ != nullptr ? ornc->priv : t_guarded_priv) {
        if (guard_ != nullptr) {
            guard_->lock.lock_shared();
        }
    }
    ~ORNCReading() {
        if (guard_ != nullptr) {
            guard_->lock.unlock_shared();
        }
    }
    ORNCReading(const ORNCReading&) = delete;
    ORNCReading& operator=(const ORNCReading&) = delete;

private:
    ORNCHandleGuard* guard_;
    ORNCGuarded marked_;
};

// The application's callbacks on `priv`'s acquisition worker.
using ORNCDelivering = ORNCGuarded;
