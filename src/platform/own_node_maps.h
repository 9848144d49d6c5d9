// The node maps the platform describes itself: one for the stream
// (statistics and the host end) and one for the control connection
// (time-outs, heartbeat, addresses). They are device-less Aravis node maps
// built from the feature tables in own_node_maps.cpp; their values live in the
// nodes and are kept current by the owning device or stream through
// PvGenParameterArray::ValueHooks.
#pragma once

#include <memory>

#include "platform/PvGenParameterArray.h"

namespace platform {

// Feature names shared by the feature tables and the code that keeps the
// values current.
namespace stream_feature {
constexpr const char* kAcquisitionRate = "AcquisitionRate";  // frames/s, float
constexpr const char* kBandwidth = "Bandwidth";              // bits/s, float
constexpr const char* kBlockCount = "BlockCount";            // blocks completed
constexpr const char* kBlocksDropped = "BlocksDropped";      // blocks failed
constexpr const char* kBlocksUnderrun = "BlocksUnderrun";    // blocks without a free buffer
constexpr const char* kResendRequests = "ResendRequests";    // packets asked again
constexpr const char* kPacketsMissing = "PacketsMissing";    // packets never received
constexpr const char* kQueuedBufferCount = "QueuedBufferCount";
constexpr const char* kLocalPort = "LocalPort";
constexpr const char* kLocalIPAddress = "LocalIPAddress";
}  // namespace stream_feature

namespace communication_feature {
constexpr const char* kAnswerTimeout = "AnswerTimeout";  // ms
constexpr const char* kCommandRetries = "CommandRetries";
constexpr const char* kHeartbeatInterval = "HeartbeatInterval";  // ms
constexpr const char* kHeartbeatTimeout = "HeartbeatTimeout";    // ms, written to the device
constexpr const char* kDeviceIPAddress = "DeviceIPAddress";
constexpr const char* kInterfaceIPAddress = "InterfaceIPAddress";
}  // namespace communication_feature

// Each call builds a fresh node map kept current through `hooks` (borrowed:
// the owner clears them before they die); null with `result` set on failure.
std::unique_ptr<PvGenParameterArray> create_stream_node_map(PvGenParameterArray::ValueHooks* hooks, PvResult* result);
std::unique_ptr<PvGenParameterArray> create_communication_node_map(PvGenParameterArray::ValueHooks* hooks,
                                                                   PvResult* result);

}  // namespace platform
