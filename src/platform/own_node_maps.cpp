#include "platform/own_node_maps.h"

#include <arv.h>

#include <cstring>
#include <mutex>

#include "platform/aravis_xml_lock.h"

namespace platform {

namespace {

// Every value node carries its value in <Value>; the platform changes it
// and marks the statistics read-only for the application.
constexpr const char kStreamXml[] = R"XML(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="Stream" VendorName="ORNC" StandardNameSpace="None" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ToolTip="Host end of the stream channel" ProductGuid="00000000-0000-0000-0000-000000000000"
    VersionGuid="00000000-0000-0000-0000-000000000000" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root" NameSpace="Standard">
    <pFeature>StreamStatistics</pFeature>
    <pFeature>StreamConnection</pFeature>
  </Category>
  <Category Name="StreamStatistics" NameSpace="Custom">
    <DisplayName>Statistics</DisplayName>
    <pFeature>AcquisitionRate</pFeature>
    <pFeature>Bandwidth</pFeature>
    <pFeature>BlockCount</pFeature>
    <pFeature>BlocksDropped</pFeature>
    <pFeature>BlocksUnderrun</pFeature>
    <pFeature>ResendRequests</pFeature>
    <pFeature>PacketsMissing</pFeature>
    <pFeature>QueuedBufferCount</pFeature>
  </Category>
  <Category Name="StreamConnection" NameSpace="Custom">
    <DisplayName>Connection</DisplayName>
    <pFeature>LocalPort</pFeature>
    <pFeature>LocalIPAddress</pFeature>
  </Category>
  <Float Name="AcquisitionRate" NameSpace="Custom">
    <ToolTip>Blocks completed per second, measured between two reads</ToolTip>
    <DisplayName>Acquisition Rate</DisplayName>
    <Value>0</Value><Min>0</Min><Max>1e9</Max><Unit>Hz</Unit>
  </Float>
  <Float Name="Bandwidth" NameSpace="Custom">
    <ToolTip>Payload bits received per second, measured between two reads</ToolTip>
    <Value>0</Value><Min>0</Min><Max>1e12</Max><Unit>bit/s</Unit>
  </Float>
  <Integer Name="BlockCount" NameSpace="Custom">
    <ToolTip>Blocks received complete</ToolTip>
    <DisplayName>Block Count</DisplayName>
    <Value>0</Value><Min>0</Min><Max>9223372036854775807</Max>
  </Integer>
  <Integer Name="BlocksDropped" NameSpace="Custom">
    <ToolTip>Blocks that could not be completed</ToolTip>
    <DisplayName>Blocks Dropped</DisplayName>
    <Value>0</Value><Min>0</Min><Max>9223372036854775807</Max>
  </Integer>
  <Integer Name="BlocksUnderrun" NameSpace="Custom">
    <ToolTip>Blocks lost because no buffer was queued</ToolTip>
    <Visibility>Expert</Visibility>
    <Value>0</Value><Min>0</Min><Max>9223372036854775807</Max>
  </Integer>
  <Integer Name="ResendRequests" NameSpace="Custom">
    <ToolTip>Packets received again after a resend request</ToolTip>
    <DisplayName>Resend Requests</DisplayName>
    <Visibility>Expert</Visibility>
    <Value>0</Value><Min>0</Min><Max>9223372036854775807</Max>
  </Integer>
  <Integer Name="PacketsMissing" NameSpace="Custom">
    <ToolTip>Packets never received</ToolTip>
    <Visibility>Expert</Visibility>
    <Value>0</Value><Min>0</Min><Max>9223372036854775807</Max>
  </Integer>
  <Integer Name="QueuedBufferCount" NameSpace="Custom">
    <ToolTip>Buffers queued and not yet returned</ToolTip>
    <Visibility>Guru</Visibility>
    <Value>0</Value><Min>0</Min><Max>4294967295</Max>
  </Integer>
  <Integer Name="LocalPort" NameSpace="Custom">
    <ToolTip>UDP port the stream is received on</ToolTip>
    <Visibility>Expert</Visibility>
    <Value>0</Value><Min>0</Min><Max>65535</Max>
  </Integer>
  <Integer Name="LocalIPAddress" NameSpace="Custom">
    <ToolTip>Host address the stream is received on</ToolTip>
    <Visibility>Expert</Visibility>
    <Value>0</Value><Min>0</Min><Max>4294967295</Max><Representation>IPV4Address</Representation>
  </Integer>
</RegisterDescription>
)XML";

constexpr const char kCommunicationXml[] = R"XML(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="Communication" VendorName="ORNC" StandardNameSpace="None" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ToolTip="Control connection to the device" ProductGuid="00000000-0000-0000-0000-000000000000"
    VersionGuid="00000000-0000-0000-0000-000000000000" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root" NameSpace="Standard">
    <pFeature>Communication</pFeature>
    <pFeature>Heartbeat</pFeature>
  </Category>
  <Category Name="Communication" NameSpace="Custom">
    <pFeature>AnswerTimeout</pFeature>
    <pFeature>CommandRetries</pFeature>
    <pFeature>DeviceIPAddress</pFeature>
    <pFeature>InterfaceIPAddress</pFeature>
  </Category>
  <Category Name="Heartbeat" NameSpace="Custom">
    <pFeature>HeartbeatInterval</pFeature>
    <pFeature>HeartbeatTimeout</pFeature>
  </Category>
  <Integer Name="AnswerTimeout" NameSpace="Custom">
    <ToolTip>How long a command waits for the device's answer before it is sent again</ToolTip>
    <DisplayName>Answer Timeout</DisplayName>
    <Value>500</Value><Min>0</Min><Max>60000</Max><Unit>ms</Unit>
  </Integer>
  <Integer Name="CommandRetries" NameSpace="Custom">
    <ToolTip>How often a command is sent before it fails</ToolTip>
    <DisplayName>Command Retries</DisplayName>
    <Value>5</Value><Min>1</Min><Max>100</Max>
  </Integer>
  <Integer Name="DeviceIPAddress" NameSpace="Custom">
    <ToolTip>Address of the device</ToolTip>
    <Value>0</Value><Min>0</Min><Max>4294967295</Max><Representation>IPV4Address</Representation>
  </Integer>
  <Integer Name="InterfaceIPAddress" NameSpace="Custom">
    <ToolTip>Host address the device is controlled from</ToolTip>
    <Value>0</Value><Min>0</Min><Max>4294967295</Max><Representation>IPV4Address</Representation>
  </Integer>
  <Integer Name="HeartbeatInterval" NameSpace="Custom">
    <ToolTip>Period at which the host proves to the device that it is alive</ToolTip>
    <Visibility>Expert</Visibility>
    <Value>1000</Value><Min>0</Min><Max>60000</Max><Unit>ms</Unit>
  </Integer>
  <Integer Name="HeartbeatTimeout" NameSpace="Custom">
    <ToolTip>Time without a heartbeat after which the device drops the connection</ToolTip>
    <DisplayName>Heartbeat Timeout</DisplayName>
    <Value>3000</Value><Min>500</Min><Max>600000</Max><Inc>1</Inc><Unit>ms</Unit>
  </Integer>
</RegisterDescription>
)XML";

std::unique_ptr<PvGenParameterArray> create_from(const char* xml, size_t size, const char* const* read_only,
                                                 size_t read_only_count, PvResult* result) {
    ArvGc* genicam = nullptr;
    {
        std::lock_guard<std::mutex> parsing(platform::aravis_xml_parse_lock());
        genicam = arv_gc_new(nullptr, xml, size);
    }
    if (genicam == nullptr) {
        if (result != nullptr) {
            *result = PvResult(PvResult::GENERIC_ERROR, "own node map does not parse");
        }
        return nullptr;
    }
    std::unique_ptr<PvGenParameterArray> array = PvGenParameterArray::Create(genicam, result);
    g_object_unref(genicam);  // the array holds its own reference
    if (array != nullptr) {
        for (size_t i = 0; i < read_only_count; ++i) {
            array->SetReadOnlyForApplication(read_only[i]);
        }
    }
    return array;
}

}  // namespace

std::unique_ptr<PvGenParameterArray> create_stream_node_map(PvResult* result) {
    using namespace stream_feature;
    static const char* const kReadOnly[] = {kAcquisitionRate, kBandwidth,      kBlockCount,     kBlocksDropped,
                                            kBlocksUnderrun,  kResendRequests, kPacketsMissing, kQueuedBufferCount,
                                            kLocalPort,       kLocalIPAddress};
    return create_from(kStreamXml, sizeof kStreamXml - 1, kReadOnly, sizeof kReadOnly / sizeof kReadOnly[0], result);
}

std::unique_ptr<PvGenParameterArray> create_communication_node_map(PvResult* result) {
    using namespace communication_feature;
    // Aravis fixes its answer time-out, retries and heartbeat period; they
    // are shown as they are. The heartbeat time-out is the device's own.
    static const char* const kReadOnly[] = {kAnswerTimeout, kCommandRetries, kHeartbeatInterval, kDeviceIPAddress,
                                            kInterfaceIPAddress};
    return create_from(kCommunicationXml, sizeof kCommunicationXml - 1, kReadOnly,
                       sizeof kReadOnly / sizeof kReadOnly[0], result);
}

}  // namespace platform
