// The device's register space and what writing to it means: bootstrap block,
// device registers, plain memory and the GenICam file, with the access rules
// of each address and the derived values (payload size, stream settings).
//
// Thread-safe: every public member takes the model's own lock. Side effects
// that need threads or sockets (start acquisition, fire a test packet, ...)
// are not performed here; they are reported to the caller as WriteEffects.
#ifndef ORNSIM_DEVICE_MODEL_H
#define ORNSIM_DEVICE_MODEL_H

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "ornsim/components.h"

namespace ornsim {

struct DeviceIdentity {
    std::string vendor, model, device_version, manufacturer_info, serial, user_name;
    std::array<uint8_t, 6> mac{};
    uint32_t ip = 0, mask = 0xFF000000, gateway = 0;  // host order
    uint32_t sensor_width = 640, sensor_height = 480;
    double fps = 10.0;
    uint32_t link_speed_mbps = 1000;
    int64_t clock_skew_ns = 0;  // the PTP clock's error against the host's realtime clock
};

// What the caller must do after a successful write.
struct WriteEffects {
    bool start_acquisition = false;
    bool stop_acquisition = false;
    bool trigger_software = false;
    bool fire_test_packet = false;
    uint32_t test_packet_size = 0;
    bool stream_changed = false;
    bool timestamp_reset = false;
};

// Everything a frame needs, copied under the lock.
struct AcquisitionSnapshot {
    uint32_t width = 0, height = 0;
    uint32_t mode = 0, frame_count = 1;
    double frame_rate = 10.0;
    bool trigger_on = false;
    uint32_t trigger_source = 0;
    std::array<bool, kComponentCount> component_enabled{};
    std::array<uint32_t, kComponentCount> pixel_format{};
    double c16_scale = 0.1, c16_offset = 0.0;
    bool chunk_mode = false, chunk_timestamp = false, chunk_frame_id = false;
    bool frame_end_event = false;
    bool multipart = false;
    uint32_t payload_size = 0;
};

struct StreamRegisters {
    uint32_t dest_ip = 0;
    uint16_t dest_port = 0;
    uint32_t packet_size = 1500;
    bool do_not_fragment = false;
    uint32_t packet_delay = 0;
    bool multipart = false;
    bool extended_ids = true;
    uint32_t link_speed_mbps = 1000;
};

struct MessageRegisters {
    uint32_t dest_ip = 0;
    uint16_t dest_port = 0;
    uint32_t timeout_ms = 300;
    uint32_t retry_count = 2;
};

class DeviceModel {
public:
    // xml_file: the GenICam file as served (plain or zipped); xml_name: its
    // file name in the URL (".xml" or ".zip").
    DeviceModel(const DeviceIdentity& identity, std::vector<uint8_t> xml_file, const std::string& xml_name);

    // Reads size bytes at address (READMEM, or 4 for READREG). Returns a GVCP
    // status; out is filled only on success.
    uint16_t read(uint32_t address, uint8_t* out, size_t size);
    // Writes size bytes at address. Returns a GVCP status and the effects.
    uint16_t write(uint32_t address, const uint8_t* data, size_t size, WriteEffects* effects);

    // Register of the named feature for the refuse-writes fault; 0 if unknown.
    void set_refused_register(uint32_t address, uint32_t length);

    AcquisitionSnapshot acquisition() const;
    StreamRegisters stream() const;
    MessageRegisters message_channel() const;
    uint32_t heartbeat_timeout_ms() const;
    bool heartbeat_disabled() const;
    void set_acquiring(bool acquiring);
    bool acquiring() const;
    uint16_t stream_source_port() const;
    void set_stream_source_port(uint16_t port);
    void set_message_source_port(uint16_t port);
    // Mirror of the control channel privilege, for reads of the CCP register.
    void set_privilege_register(uint32_t value);
    // Closes the stream and message channels (the controller went away).
    void reset_channels();
    // FORCEIP: new static address.
    void set_current_ip(uint32_t ip, uint32_t mask, uint32_t gateway);
    // A power cycle: every register back at its power-up value, the device
    // clock from 0. What a device keeps without power stays: the current IP
    // configuration and address, the persistent IP settings and the
    // user-defined name.
    void power_up();
    std::array<uint8_t, 6> mac() const;
    uint32_t current_ip() const;
    // Bootstrap bytes 0..kDiscoveryAckPayloadSize for a DISCOVERY_ACK.
    std::vector<uint8_t> discovery_block();
    // Device clock in ticks of 1 ns: the host's realtime clock plus the skew
    // while PTP is enabled, otherwise the time since power-up or the last reset.
    uint64_t timestamp_now() const;
    // The action signals (bit n: signal n) an action command with these keys
    // and mask fires; 0 when the device key or every group differs.
    uint32_t action_signals(uint32_t device_key, uint32_t group_key, uint32_t group_mask) const;
    uint32_t gvcp_configuration() const;

private:
    void initialize_locked();
    uint32_t load32(uint32_t address) const;
    void store32(uint32_t address, uint32_t value);
    double load_f64(uint32_t address) const;
    void store_f64(uint32_t address, double value);
    void store_string(uint32_t address, const std::string& text, size_t size);
    uint8_t* locate(uint32_t address, size_t size);
    bool readable(uint32_t address, size_t size) const;
    uint16_t write_register_locked(uint32_t address, uint32_t value, WriteEffects* effects);
    uint16_t write_f64_locked(uint32_t address, const uint8_t* data);
    void update_payload_size_locked();
    void update_lateral_scale_locked();
    uint32_t payload_size_locked() const;
    uint64_t clock_now_locked() const;
    void update_ptp_status_locked();
    bool acquisition_locked_register(uint32_t address) const;

    mutable std::mutex mutex_;
    const DeviceIdentity identity_;
    const std::string xml_name_;
    std::vector<uint8_t> bootstrap_;
    std::vector<uint8_t> device_;
    std::vector<uint8_t> plain_;
    std::vector<uint8_t> xml_;
    bool acquiring_ = false;
    uint32_t refused_address_ = 0, refused_length_ = 0;
    std::chrono::steady_clock::time_point clock_origin_;
};

}  // namespace ornsim

#endif  // ORNSIM_DEVICE_MODEL_H
