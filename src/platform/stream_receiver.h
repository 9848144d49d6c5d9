// What PvStream needs from the receiver that fills its buffers: two
// implementations side by side, our own GVSP receiver
// (own_stream_receiver.h, the default) and Aravis's
// (aravis_stream_receiver.h, chosen with ORNC_STREAM_RECEIVER=aravis).
//
// Buffers travel as their Aravis wrappers (PvBuffer::GetArvBuffer): the
// wrapper owns the buffer's memory, so a receiver that holds a reference
// never writes into freed memory, even when the PvBuffer is deleted while
// queued.
//
// Threads: every call may come from any thread; the receiver guards its own
// state. The wake-up callback given when it opens is called on the
// receiving thread each time a transfer has ended.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "platform/PvResult.h"
#include "platform/received_frame.h"

typedef struct _ArvBuffer ArvBuffer;

namespace platform {

// The resend and retention policy both receivers follow.
namespace receiver_policy {
// How long an incomplete frame waits for its missing (and resent) packets
// after the last one arrived before it is given up (longer than a resend
// round trip on a loaded host).
constexpr std::chrono::microseconds kFrameRetention{1000000};
// The retention once fewer than kReserveBuffers buffers are free for the
// frames behind, or after the device refused a resend.
constexpr std::chrono::microseconds kShortFrameRetention{100000};
constexpr int kReserveBuffers = 4;
// Missing packets are asked for again as soon as a later packet shows the
// gap, then again each time this passes without them, within the
// retention.
constexpr std::chrono::milliseconds kPacketTimeout{20};
// The receiving thread accounts for the packets asked for again just as it
// hands a frame over; a reader that comes first waits at most this long.
constexpr std::chrono::milliseconds kResentAccountingWait{20};
}  // namespace receiver_policy

// The running counts behind the stream node map's statistics.
struct ReceiverStatistics {
    uint64_t completed = 0;          // frames handed over whole
    uint64_t failures = 0;           // frames handed over failed
    uint64_t underruns = 0;          // frames that found no buffer
    uint64_t packets_missing = 0;    // packets never received
    uint64_t resend_requests = 0;    // packets asked for again
    uint64_t transferred_bytes = 0;  // payload bytes of completed frames
    uint64_t datagrams = 0;          // datagrams received
};

// Returns once `datagrams` (a receiver's running count) has not moved for
// a short while (far more than the gap between two packets of a frame), or
// after a bound, for a device that keeps sending.
void wait_until_quiet(const std::function<uint64_t()>& datagrams);

class StreamReceiver {
public:
    virtual ~StreamReceiver() = default;

    // The UDP port the stream arrives on.
    virtual uint16_t LocalPort() const = 0;

    // Takes a reference on `wrapper` and fills its `capacity` bytes at
    // `data` with the next frame.
    virtual void Push(ArvBuffer* wrapper, uint8_t* data, uint32_t capacity) = 0;
    // A wrapper whose transfer ended (one reference handed over) with what
    // the transfer left in it, or null when none is ready. No wait.
    virtual ArvBuffer* TryPop(TransferFacts* facts) = 0;
    // Drops the receiver's reference to every wrapper it holds, the one
    // being filled and those not yet popped included; nothing is written
    // into them afterwards. Buffers pushed later are filled as usual.
    virtual void DropAll() = 0;
    // Waits, without buffers, until what the device sent before is drained
    // (no datagram for a short while, bounded).
    virtual void Drain() = 0;

    virtual ReceiverStatistics Statistics() = 0;
    // The packets asked for again for the completed frame `block_id`
    // (see ResentPacketLedger). False when not known.
    virtual bool FindResentPackets(uint64_t block_id, uint32_t* packets) = 0;

    // A retrieval waited a slice without a wake-up.
    virtual void WhileRetrieving() {}
    // An abort has taken every buffer back.
    virtual void AfterAbort() {}
};

}  // namespace platform
