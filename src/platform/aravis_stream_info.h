// Names under which Aravis's stream reports its running counters
// (arv_stream_get_info_uint64_by_name).
#pragma once

namespace platform {
namespace aravis_stream_info {

// Payload bytes of completed frames.
constexpr const char* kTransferredBytes = "n_transferred_bytes";
// Datagrams received.
constexpr const char* kReceivedPackets = "n_received_packets";
// Packets asked for again (its resent-packet count leaves out multipart
// data packets).
constexpr const char* kResendRequests = "n_resend_requests";
// Frames whose resends the device refused (PACKET_UNAVAILABLE and the like).
constexpr const char* kResendRefused = "n_resend_disabled";

}  // namespace aravis_stream_info
}  // namespace platform
