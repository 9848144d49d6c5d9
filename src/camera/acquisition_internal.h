// Operations shared by the acquisition files (server and acquisition
// start/stop, the worker's acquisition function, triggers, event sinks).
#pragma once

#include "ORNC.h"

class PvBuffer;

// The base delivery pacing: a worker pass every this many milliseconds,
// taking at most this many filled buffers.
constexpr int kORNCDeliveryPeriodMs = 10;
constexpr int kORNCDeliveryBuffersPerPass = 1;

// The handle's pacing (ORNCSetDeliveryPacing), the base one until set.
int ORNC_DeliveryPeriodMs(ornc_priv_t* priv);
int ORNC_DeliveryBuffersPerPass(ornc_priv_t* priv);
// Whether the handle left the base pacing, and the handle's pacing handed
// to its worker.
bool ORNC_DeliveryPaced(ornc_priv_t* priv);
void ORNC_ApplyDeliveryPacing(ornc_priv_t* priv);

// Ends the handle's acquisition worker, if it has one, and frees it:
// after a delivery in progress returned, the worker is given
// kORNCWorkerEndWaitMs to end its loop before it is destroyed, so that a
// worker the scheduler runs late on a loaded machine is not signalled.
constexpr int kORNCWorkerEndWaitMs = 2000;
void ORNC_RetireWorker(ornc_priv_t* priv);

// The acquisition and trigger nodes of the connected device (null for
// those it lacks).
void ORNC_LookupAcquisitionNodes(ornc_priv_t* priv);

// The worker's periodic function; `userdata` is the handle's ornc_priv_t.
void ORNC_AcquisitionFunc(void* userdata);

// Creates and registers the handle's device event sink on first use and
// copies the current disconnect and event callbacks into it.
void ORNC_AttachEventSink(ornc_priv_t* priv);

// Automatic recovery: the handle's event sink (made if needed) registered
// with its current device, and link loss reported again.
void ORNC_RearmEventSink(ornc_priv_t* priv);

// Silences the disconnect notification of the handle's event sink (if it
// has one): the link loss that a disconnect itself causes is not news.
void ORNC_DisableDisconnectNotification(ornc_priv_t* priv);

// Returns every buffer queued in the handle's stream (logged counts).
void ORNC_AbortQueuedBuffers(ornc_priv_t* priv);

// Exported for applications that reset the stream buffers themselves; the
// library does not call them.
extern "C" {
ORN_API void ORNC_ReallocateBuffers(ornc_priv_t* priv);
ORN_API void ORNC_ReallocateBuffer(PvBuffer* buf);
}
