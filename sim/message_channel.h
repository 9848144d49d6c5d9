// The device's message channel: sends EVENTDATA commands to the address and
// port the controller wrote to MCDA/MCP, and retries each one (MCTT, MCRC)
// until the host acknowledges it. Events are queued and sent by the
// channel's own thread, so a host that never answers does not slow frames.
//
// Thread-safe. Owns its socket and thread; close() joins the thread.
#ifndef ORNSIM_MESSAGE_CHANNEL_H
#define ORNSIM_MESSAGE_CHANNEL_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device_model.h"
#include "udp_socket.h"

namespace ornsim {

struct DeviceEvent {
  uint16_t event_id = 0;
  uint64_t block_id = 0;
  uint64_t timestamp = 0;
  std::vector<uint8_t> data;  // at most gvcp::kEventDataMaxSize bytes
};

class MessageChannel {
 public:
  explicit MessageChannel(DeviceModel& model);
  ~MessageChannel();
  MessageChannel(const MessageChannel&) = delete;
  MessageChannel& operator=(const MessageChannel&) = delete;

  bool open(uint32_t source_ip, std::string* error);
  void close();
  uint16_t source_port() const { return port_; }
  // Queues an event for the destination in the message channel registers;
  // dropped when the channel is closed (MCP = 0) or the queue is full.
  void post(DeviceEvent event);
  // While silenced nothing is sent (the silent fault).
  void set_silenced(bool silenced) { silenced_ = silenced; }

  uint64_t events_sent() const { return events_sent_; }
  uint64_t events_acknowledged() const { return events_acked_; }

 private:
  void run();
  bool deliver(const DeviceEvent& event, const MessageRegisters& target, bool extended_ids);

  DeviceModel& model_;
  UdpSocket socket_;
  uint16_t port_ = 0;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<DeviceEvent> queue_;
  bool stopping_ = false;
  std::atomic<bool> silenced_{false};
  std::atomic<uint64_t> events_sent_{0}, events_acked_{0};
  uint16_t next_req_id_ = 1;
};

}  // namespace ornsim

#endif  // ORNSIM_MESSAGE_CHANNEL_H
