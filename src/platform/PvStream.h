// The receiving end of a device's stream channel, with its own node map
// of statistics and settings.
//
// Ownership: CreateAndOpen returns an object the caller releases with
// PvStream::Free (which closes first when needed). The stream never owns
// the buffers queued into it: it keeps a record of each so that the
// caller can get every one back (on abort) before deleting it.
//
// Threads: the receiver (platform::StreamReceiver: our own, or Aravis's
// with ORNC_STREAM_RECEIVER=aravis) receives on a thread of its own; the
// queued-buffer record is guarded by the stream's lock. RetrieveBuffer may
// block in one thread while another queues or aborts.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/PvBuffer.h"
#include "platform/PvDeviceInfo.h"
#include "platform/PvGenParameterArray.h"
#include "platform/PvResult.h"
#include "platform/PvString.h"

namespace platform {
class StreamReceiver;
}

class PvStream {
public:
    // Opens the stream of the device discovery described; that device
    // must be connected (PvDevice::CreateAndConnect) first. Null on
    // failure, with the reason in `*result` when non-null.
    static PvStream* CreateAndOpen(const PvDeviceInfo* device_info, PvResult* result);
    // The same for the connected device at `ip`.
    static PvStream* CreateAndOpen(const PvString& ip, PvResult* result);
    // Closes (when open) and deletes. Null is accepted.
    static void Free(PvStream* stream);

    virtual ~PvStream();
    PvStream(const PvStream&) = delete;
    PvStream& operator=(const PvStream&) = delete;

    // Stops reception and forgets the queued buffers (they are not
    // returned; their memory stays with their owners). NOT_CONNECTED when
    // not open. The node map dies here.
    PvResult Close();
    bool IsOpen() const { return receiver_ != nullptr; }

    // Null when not open.
    PvGenParameterArray* GetParameters() const { return parameters_.get(); }

    // How many buffers may be queued at once.
    uint32_t GetQueuedBufferMaximum() const { return kQueuedBufferMaximum; }
    // Buffers queued and not yet retrieved, aborted ones included (they
    // still wait to be retrieved).
    uint32_t GetQueuedBufferCount() const;

    // Hands `buffer` (allocated, not queued) to the receiver.
    // INVALID_PARAMETER for null, unallocated or already queued buffers,
    // NOT_CONNECTED when closed, GENERIC_ERROR when the queue is full.
    PvResult QueueBuffer(PvBuffer* buffer);

    // Takes back one buffer: the oldest aborted one first, else the next
    // completed transfer, waiting up to `timeout_ms` (woken as soon as a
    // transfer completes or buffers are aborted). The call's result is
    // OK when a buffer comes back, TIMEOUT when none came in time,
    // NOT_CONNECTED when closed, INVALID_PARAMETER for a null `buffer`.
    // With a buffer, `*operation_result` (when non-null) says how its
    // transfer went: OK for a complete frame that fits the buffer,
    // ABORTED for a buffer returned by AbortQueuedBuffers, a failure
    // (NETWORK_ERROR for missing packets, GENERIC_ERROR for a frame that
    // does not fit) otherwise. A failed buffer carries no image.
    PvResult RetrieveBuffer(PvBuffer** buffer, PvResult* operation_result, uint32_t timeout_ms = 0xFFFFFFFFu);
    // Takes every queued buffer away from the receiver, including the one
    // being filled; each comes back through RetrieveBuffer with ABORTED.
    // A RetrieveBuffer blocked in another thread returns promptly with
    // one of them. Returns once what the device sent before is drained
    // (or after a bounded wait while it keeps sending), so that none of it
    // lands in a buffer queued afterwards.
    PvResult AbortQueuedBuffers();

    // The packets the receiver asked for again for the completed frame
    // `block_id` (see platform::ResentPacketLedger), waiting briefly for
    // the receiving thread to account for it. False when not known.
    bool FindResentPackets(uint64_t block_id, uint32_t* packets);

    // --- platform side -------------------------------------------------
    static constexpr uint32_t kQueuedBufferMaximum = 64;

protected:
    PvStream();
    // Takes `receiver`; `device_lock` is the lock of the device's node
    // map, held while the receiver is destroyed (Aravis touches the node
    // map when its stream closes).
    PvResult Attach(std::unique_ptr<platform::StreamReceiver> receiver, std::shared_ptr<std::mutex> device_lock);
    // Called by Close once the receiver is gone, with the device's node
    // map lock held (when there is one): what the transport leaves behind
    // on the device.
    virtual void AfterReceiverClosedLocked() {}

    // Guards queued_ and aborted_: the wrappers of the buffers handed to
    // the receiver (and those taken back by an abort, oldest first), each
    // with a reference of the record's own, so that a buffer deleted while
    // queued (its wrapper then maps back to null) is still accounted for.
    mutable std::mutex queue_lock_;
    std::vector<ArvBuffer*> queued_;  // in queueing order
    std::deque<ArvBuffer*> aborted_;
    // While an abort drains the receiver, QueueBuffer waits on this.
    bool draining_ = false;
    std::condition_variable drained_;

    // Bumps ready_events_ and wakes every waiting retrieval: the receiver
    // calls it once it has handed a completed transfer over (any thread;
    // takes only ready_lock_).
    void WakeRetrievals();

    // What ends a wait in RetrieveBuffer: a transfer completed, an abort,
    // the close. Each bumps ready_events_. ready_lock_ is taken last, after
    // queue_lock_ when both are held.
    std::mutex ready_lock_;
    std::condition_variable ready_;
    uint64_t ready_events_ = 0;

private:
    class StatisticsHooks;

    // Takes `wrapper` (popped from the receiver, one reference handed
    // over) back from the record. Null when an abort already claimed it or its
    // PvBuffer is gone. Lock held.
    PvBuffer* ClaimCompletedLocked(ArvBuffer* wrapper);
    // The oldest aborted buffer that still exists, or null. Lock held.
    PvBuffer* ClaimAbortedLocked();
    // Shared only with an abort that drains it without the lock; Close
    // waits for that drain before it destroys the receiver.
    std::shared_ptr<platform::StreamReceiver> receiver_;
    std::shared_ptr<std::mutex> device_lock_;
    std::unique_ptr<PvGenParameterArray> parameters_;
    std::unique_ptr<StatisticsHooks> statistics_hooks_;
};
