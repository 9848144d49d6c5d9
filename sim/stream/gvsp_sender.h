// The virtual sensor's stream channel: turns frames into GVSP blocks (leader,
// payload packets, trailer) and sends them over UDP, keeps the last frames to
// answer packet-resend requests, and simulates packet loss.
//
// Threading: every member function is thread-safe. send_frame is meant for
// the acquisition thread and resend for the control thread; they may run at
// the same time. configure() takes effect for the next frame; blocks already
// stored keep the layout they were sent with, so a resend regenerates exactly
// the bytes of the first send.
//
// Ownership: the sender owns its socket (open/close) and its copies of the
// frames it stores for resend; the caller keeps ownership of what it passes.
#ifndef ORNSIM_STREAM_GVSP_SENDER_H
#define ORNSIM_STREAM_GVSP_SENDER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ornsim {

// One plane of a frame. data_purpose_id is what clients report as the
// component id; data_type is a gvsp::PartDataType.
struct GvspPart {
    uint32_t pixel_format;
    uint32_t width, height;
    uint32_t source_id, region_id, data_purpose_id;
    uint16_t data_type;
    std::vector<uint8_t> data;
};

// A frame. Single image: parts.size()==1, multipart false. chunk_data non-empty
// => image-extended-chunk payload (single: the image becomes the first chunk,
// id 0x1000, followed by chunk_data) or a trailing chunk part (multipart).
// chunk_data holds finished chunks (see chunk_writer.h). Multipart needs
// extended IDs.
struct GvspFrame {
    uint64_t block_id;
    uint64_t timestamp;
    bool multipart;
    std::vector<GvspPart> parts;
    std::vector<uint8_t> chunk_data;
};

struct StreamSettings {
    uint32_t dest_ip = 0;
    uint16_t dest_port = 0;
    uint32_t packet_size = 1500;
    bool do_not_fragment = false;
    uint32_t packet_delay_ticks = 0;
    uint64_t tick_frequency = 1000000000;
    bool extended_ids = true;
    double loss_ratio = 0.0;
    size_t resend_frames = 8;
    uint64_t link_speed_bps = 1000000000;
    uint32_t cut_frame_every = 0;
    uint32_t hold_tail_every = 0;
};
// dest_ip: host byte order; 0 (or dest_port 0) means "no destination", frames are not sent.
// packet_size: whole IP datagram (IP 20 + UDP 8 + GVSP header + data), as in the SCPS register.
// do_not_fragment: every datagram (test packets included) leaves with the IP don't-fragment bit; one larger than
//   the path is not sent at all (counted in too_big). Off, the socket fragments as the system does by default.
// packet_delay_ticks / tick_frequency: gap between two packets of a block.
// loss_ratio: share of payload packets dropped on their first send (leaders and trailers are never dropped).
// link_speed_bps: the wire rate the sender emulates (datagram bytes incl. IP/UDP headers); 0 sends as fast as
//   the socket takes them. A real link paces packets; receivers size their socket buffers for that, and an
//   unpaced burst on loopback overflows them.
// cut_frame_every: 0 sends every frame whole; N > 0 cuts every Nth frame counted from the moment the value
//   was set: its leader and the first half of its payload packets go out, nothing after them (no trailer),
//   and the frame is not kept for resends, so a receiver can never complete it.
// hold_tail_every: 0 sends every frame whole; N > 0 leaves out the tail of every Nth frame (counted like
//   cut_frame_every) on its first send: the last third of its payload packets and the trailer. The frame is
//   kept for resends, so a receiver that asks for what is overdue completes it.

struct StreamCounters {
    uint64_t frames_sent = 0, packets_sent = 0, packets_dropped = 0, resend_requests = 0, packets_resent = 0;
    uint64_t frames_rejected = 0;       // send_frame refused the frame (bad layout, no destination, socket closed)
    uint64_t resend_unknown_block = 0;  // resend requests for blocks no longer (or never) stored (answered
                                        // PACKET_UNAVAILABLE)
    uint64_t send_errors = 0;           // datagrams the kernel refused
    uint64_t too_big = 0;               // datagrams refused as larger than the path with don't-fragment on
    uint64_t frames_cut = 0;            // frames sent without their second half and trailer (also in frames_sent)
};

class GvspSender {
public:
    explicit GvspSender(uint32_t source_ip);  // host byte order
    ~GvspSender();
    GvspSender(const GvspSender&) = delete;
    GvspSender& operator=(const GvspSender&) = delete;

    bool open(std::string* error);  // binds a UDP socket on source_ip, ephemeral port
    void close();
    uint16_t source_port() const;
    void configure(const StreamSettings& settings);  // thread-safe, takes effect for the next frame
    StreamSettings settings() const;
    bool send_frame(const GvspFrame& frame);  // packetizes, applies loss and delay, stores for resend
    bool send_frame(GvspFrame&& frame);       // same, without copying the frame
    void resend(uint64_t block_id, uint32_t first_packet_id,
                uint32_t last_packet_id);  // from a PACKETRESEND command; unknown block => PACKET_UNAVAILABLE
    bool send_test_packet(
        uint32_t packet_size);  // SCPS fire-test-packet: one datagram of packet_size - 28 bytes to the destination
    StreamCounters counters() const;

    // Why the last send_frame returned false (empty after a success).
    std::string last_error() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace ornsim

#endif  // ORNSIM_STREAM_GVSP_SENDER_H
