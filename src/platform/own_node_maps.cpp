#include "platform/own_node_maps.h"

#include <arv.h>

#include <mutex>
#include <string>
#include <vector>

#include "platform/aravis_xml_lock.h"

namespace platform {

namespace {

// One value node of an own map. Every value lives in its <Value>: the
// platform changes it, and the application may only read what is marked
// read-only. Texts are plain (nothing in them needs escaping).
struct Feature {
    const char* kind;  // "Integer" or "Float"
    const char* name;
    const char* tool_tip;
    const char* display_name;  // null: none
    const char* visibility;    // null: Beginner
    const char* value;         // the <Value>, range and the like, as XML
    bool read_only;
};

struct Category {
    const char* name;
    const char* display_name;  // null: none
    std::vector<Feature> features;
};

struct NodeMap {
    const char* model;
    const char* tool_tip;
    std::vector<Category> categories;
};

constexpr const char kCounter[] = "<Value>0</Value><Min>0</Min><Max>9223372036854775807</Max>";
constexpr const char kIPv4Address[] =
    "<Value>0</Value><Min>0</Min><Max>4294967295</Max><Representation>IPV4Address</Representation>";

const NodeMap& stream_map() {
    using namespace stream_feature;
    static const NodeMap map{
        "Stream",
        "Host end of the stream channel",
        {{"StreamStatistics",
          "Statistics",
          {{"Float", kAcquisitionRate, "Blocks completed per second, measured between two reads", "Acquisition Rate",
            nullptr, "<Value>0</Value><Min>0</Min><Max>1e9</Max><Unit>Hz</Unit>", true},
           {"Float", kBandwidth, "Payload bits received per second, measured between two reads", nullptr, nullptr,
            "<Value>0</Value><Min>0</Min><Max>1e12</Max><Unit>bit/s</Unit>", true},
           {"Integer", kBlockCount, "Blocks received complete", "Block Count", nullptr, kCounter, true},
           {"Integer", kBlocksDropped, "Blocks that could not be completed", "Blocks Dropped", nullptr, kCounter, true},
           {"Integer", kBlocksUnderrun, "Blocks lost because no buffer was queued", nullptr, "Expert", kCounter, true},
           {"Integer", kResendRequests, "Packets received again after a resend request", "Resend Requests", "Expert",
            kCounter, true},
           {"Integer", kPacketsMissing, "Packets never received", nullptr, "Expert", kCounter, true},
           {"Integer", kQueuedBufferCount, "Buffers queued and not yet returned", nullptr, "Guru",
            "<Value>0</Value><Min>0</Min><Max>4294967295</Max>", true}}},
         {"StreamConnection",
          "Connection",
          {{"Integer", kLocalPort, "UDP port the stream is received on", nullptr, "Expert",
            "<Value>0</Value><Min>0</Min><Max>65535</Max>", true},
           {"Integer", kLocalIPAddress, "Host address the stream is received on", nullptr, "Expert", kIPv4Address,
            true}}}}};
    return map;
}

// Aravis fixes its answer time-out, retries and heartbeat period; they are
// shown as they are. The heartbeat time-out is the device's own.
const NodeMap& communication_map() {
    using namespace communication_feature;
    static const NodeMap map{
        "Communication",
        "Control connection to the device",
        {{"Communication",
          nullptr,
          {{"Integer", kAnswerTimeout, "How long a command waits for the device's answer before it is sent again",
            "Answer Timeout", nullptr, "<Value>500</Value><Min>0</Min><Max>60000</Max><Unit>ms</Unit>", true},
           {"Integer", kCommandRetries, "How often a command is sent before it fails", "Command Retries", nullptr,
            "<Value>5</Value><Min>1</Min><Max>100</Max>", true},
           {"Integer", kDeviceIPAddress, "Address of the device", nullptr, nullptr, kIPv4Address, true},
           {"Integer", kInterfaceIPAddress, "Host address the device is controlled from", nullptr, nullptr,
            kIPv4Address, true}}},
         {"Heartbeat",
          nullptr,
          {{"Integer", kHeartbeatInterval, "Period at which the host proves to the device that it is alive", nullptr,
            "Expert", "<Value>1000</Value><Min>0</Min><Max>60000</Max><Unit>ms</Unit>", true},
           {"Integer", kHeartbeatTimeout, "Time without a heartbeat after which the device drops the connection",
            "Heartbeat Timeout", nullptr,
            "<Value>3000</Value><Min>500</Min><Max>600000</Max><Inc>1</Inc><Unit>ms</Unit>", false}}}}};
    return map;
}

// `<tag>text</tag>` on a line of its own, nothing for a null text.
void add_element(std::string& xml, const char* indent, const char* tag, const char* text) {
    if (text != nullptr) {
        xml = xml + indent + "<" + tag + ">" + text + "</" + tag + ">\n";
    }
}

// The GenICam description of `map`: a root category of the map's
// categories, each category with its features, then the value nodes.
std::string node_map_xml(const NodeMap& map) {
    std::string xml = std::string(R"XML(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName=")XML") +
                      map.model + R"XML(" VendorName="ORNC" StandardNameSpace="None" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ToolTip=")XML" + map.tool_tip +
                      R"XML(" ProductGuid="00000000-0000-0000-0000-000000000000"
    VersionGuid="00000000-0000-0000-0000-000000000000" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root" NameSpace="Standard">
)XML";
    for (const Category& category : map.categories) {
        add_element(xml, "    ", "pFeature", category.name);
    }
    xml += "  </Category>\n";
    for (const Category& category : map.categories) {
        xml = xml + "  <Category Name=\"" + category.name + "\" NameSpace=\"Custom\">\n";
        add_element(xml, "    ", "DisplayName", category.display_name);
        for (const Feature& feature : category.features) {
            add_element(xml, "    ", "pFeature", feature.name);
        }
        xml += "  </Category>\n";
    }
    for (const Category& category : map.categories) {
        for (const Feature& feature : category.features) {
            xml = xml + "  <" + feature.kind + " Name=\"" + feature.name + "\" NameSpace=\"Custom\">\n";
            add_element(xml, "    ", "ToolTip", feature.tool_tip);
            add_element(xml, "    ", "DisplayName", feature.display_name);
            add_element(xml, "    ", "Visibility", feature.visibility);
            xml = xml + "    " + feature.value + "\n  </" + feature.kind + ">\n";
        }
    }
    return xml + "</RegisterDescription>\n";
}

std::unique_ptr<PvGenParameterArray> create_from(const NodeMap& map, PvGenParameterArray::ValueHooks* hooks,
                                                 PvResult* result) {
    const std::string xml = node_map_xml(map);
    ArvGc* genicam = nullptr;
    {
        std::lock_guard<std::mutex> parsing(platform::aravis_xml_parse_lock());
        genicam = arv_gc_new(nullptr, xml.data(), xml.size());
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
        for (const Category& category : map.categories) {
            for (const Feature& feature : category.features) {
                if (feature.read_only) {
                    array->SetReadOnlyForApplication(feature.name);
                }
            }
        }
        array->SetValueHooks(hooks);
    }
    return array;
}

}  // namespace

std::unique_ptr<PvGenParameterArray> create_stream_node_map(PvGenParameterArray::ValueHooks* hooks, PvResult* result) {
    return create_from(stream_map(), hooks, result);
}

std::unique_ptr<PvGenParameterArray> create_communication_node_map(PvGenParameterArray::ValueHooks* hooks,
                                                                   PvResult* result) {
    return create_from(communication_map(), hooks, result);
}

}  // namespace platform
