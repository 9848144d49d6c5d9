// A GigE Vision 3D sensor in software: one instance is one device bound to
// one IPv4 address (GVCP on UDP 3956, a GVSP sender and a message channel
// socket on the same address).
//
// Ownership: a VirtualSensor owns every socket and thread it opens; stop()
// (or the destructor) joins the threads and closes the sockets. All member
// functions are thread-safe.
#ifndef ORNSIM_VIRTUAL_SENSOR_H
#define ORNSIM_VIRTUAL_SENSOR_H

#include <cstdint>
#include <memory>
#include <string>

namespace ornsim {

struct SensorConfig {
    std::string address = "127.0.0.2";  // IPv4 the device binds (control 3956, stream, message sockets)
    std::string serial = "VS000001";
    std::string model = "lumenGAUGE Virtual 3D";  // contains a substring the library admits by default
    std::string vendor = "ORNC Virtual Sensors";
    std::string mac;  // empty: derived from the serial number (locally administered, stable)
    std::string user_name;
    std::string genicam_file;  // empty: the built-in XML
    uint32_t width = 640, height = 480;
    double fps = 10.0;
    bool zipped_xml = false;          // serve the GenICam file as a zip archive
    uint32_t link_speed_mbps = 1000;  // emulated link rate of the stream (and GevLinkSpeed)
    // With PTP enabled the device clock is the host's realtime clock plus
    // this much: a clock that is not synchronised (PtpStatus Uncalibrated).
    int64_t clock_skew_ms = 0;
};

struct FaultSwitches {
    double stream_loss_ratio = 0.0;     // share of stream data packets dropped on first send (resend serves them)
    std::string refuse_writes_feature;  // GenICam feature name whose register writes get an error ack
    double silent_after_s =
        -1.0;                   // >= 0: stop answering anything (control and stream) that many seconds after set_faults
    uint32_t ack_delay_ms = 0;  // delay every control ack
    uint32_t cut_frame_every = 0;    // N > 0: every Nth frame from now on stops halfway (no trailer, no resend)
    uint32_t hold_tail_every = 0;    // N > 0: every Nth frame from now on goes out without its tail (last third of
                                     // its payload and the trailer) on its first send; resends serve them
    double event_flood_per_s = 0.0;  // > 0: that many extra FrameEnd-shaped events (block id 0) per second
    // An outage: with silent_after_s >= 0, the silence ends after silent_for_s
    // seconds (0: silent for good) and the sensor answers again, at
    // return_address when given (its sockets move there; the old address
    // stays silent), with every register back at its power-up value when
    // power_cycle is set. Its heartbeat clock runs on meanwhile: a controller
    // unheard for longer than the heartbeat time-out has lost control.
    double silent_for_s = 0.0;
    std::string return_address{};  // IPv4; empty: the address it had
    bool power_cycle = false;
};

struct SensorCounters {
    uint64_t gvcp_commands = 0, gvcp_errors = 0, frames_sent = 0, packets_sent = 0, packets_dropped = 0,
             resend_requests = 0, packets_resent = 0, events_sent = 0;
    uint64_t frames_cut = 0;      // frames that stopped halfway (counted in frames_sent too)
    uint64_t events_flooded = 0;  // flood events that went out at least once (their sends are in events_sent)
    uint64_t stream_too_big = 0;  // stream and test packets not sent: larger than the path with don't-fragment on
    uint64_t outages_begun = 0, outages_ended = 0;  // silences that began, silences that ended (sensor answers again)
};

class VirtualSensor {
public:
    explicit VirtualSensor(SensorConfig config);
    ~VirtualSensor();  // stops
    VirtualSensor(const VirtualSensor&) = delete;
    VirtualSensor& operator=(const VirtualSensor&) = delete;

    bool start(std::string* error);  // binds sockets, starts threads; false + message on failure
    void stop();                     // joins every thread, closes every socket; idempotent
    // False (and nothing changed) when faults.return_address is not a unicast IPv4 address.
    bool set_faults(const FaultSwitches& faults);
    SensorCounters counters() const;
    const SensorConfig& config() const;
    std::string current_address() const;  // changes after FORCEIP and an outage with a return address

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace ornsim

#endif  // ORNSIM_VIRTUAL_SENSOR_H
