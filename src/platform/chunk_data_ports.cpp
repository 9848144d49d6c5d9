#include "platform/chunk_data_ports.h"

#include <arv.h>

#include <cstdio>
#include <mutex>
#include <string>

#include "platform/PvBuffer.h"
#include "platform/aravis_xml_lock.h"
#include "platform/bound_data_device.h"
#include "platform/description_nodes.h"

namespace platform {

namespace {

constexpr const char* kChunkIdElement = "ChunkID";

// A GenICam name is an identifier; anything else is left as the
// description has it rather than written into XML unescaped.
bool is_plain_name(const std::string& name) {
    if (name.empty()) {
        return false;
    }
    for (const char c : name) {
        const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        if (!letter && !(c >= '0' && c <= '9') && c != '_') {
            return false;
        }
    }
    return true;
}

// A description holding one port, `name`, with no chunk id: Aravis reads
// it through the node map's device.
std::string one_port_description(const std::string& name) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<RegisterDescription ModelName=\"ChunkData\" VendorName=\"ORNC\" StandardNameSpace=\"None\" "
           "SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" "
           "MinorVersion=\"0\" SubMinorVersion=\"0\" ProductGuid=\"0\" VersionGuid=\"0\" "
           "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n"
           "  <Port Name=\"" +
           name + "\"/>\n</RegisterDescription>\n";
}

}  // namespace

std::unique_ptr<ChunkDataPorts> ChunkDataPorts::Replace(ArvGc* genicam) {
    std::unique_ptr<ChunkDataPorts> replaced(new ChunkDataPorts(genicam));
    for (const auto& [name, chunk_id] : ports_with_id(genicam, kChunkIdElement, UINT32_MAX)) {
        ArvGcNode* original = arv_gc_get_node(genicam, name.c_str());
        if (!is_plain_name(name) || !ARV_IS_GC_PORT(original)) {
            continue;
        }
        char what[32];
        std::snprintf(what, sizeof what, "chunk 0x%08X", chunk_id);
        Port port{chunk_id, original, nullptr, ornc_bound_data_device_new(what)};
        const std::string description = one_port_description(name);
        {
            std::lock_guard<std::mutex> parsing(aravis_xml_parse_lock());
            port.port_map = arv_gc_new(port.data, description.data(), description.size());
        }
        ArvGcNode* replacement = port.port_map != nullptr ? arv_gc_get_node(port.port_map, name.c_str()) : nullptr;
        if (!ARV_IS_GC_PORT(replacement)) {
            if (port.port_map != nullptr) {
                g_object_unref(port.port_map);
            }
            g_object_unref(port.data);
            continue;
        }
        g_object_ref(original);
        // Takes a reference of its own; the name is the replacement's.
        arv_gc_register_feature_node(genicam, ARV_GC_FEATURE_NODE(replacement));
        replaced->ports_.push_back(port);
    }
    return replaced;
}

ChunkDataPorts::~ChunkDataPorts() {
    for (Port& port : ports_) {
        arv_gc_register_feature_node(genicam_, ARV_GC_FEATURE_NODE(port.original));
        g_object_unref(port.original);
        g_object_unref(port.port_map);
        g_object_unref(port.data);
    }
}

void ChunkDataPorts::Bind(const PvBuffer& buffer) {
    for (Port& port : ports_) {
        const uint8_t* data = nullptr;  // stays null when the buffer lacks the chunk
        uint32_t size = 0;
        buffer.FindChunk(port.chunk_id, data, size);
        ornc_bound_data_device_bind(port.data, data, size);
    }
}

void ChunkDataPorts::Unbind() {
    for (Port& port : ports_) {
        ornc_bound_data_device_bind(port.data, nullptr, 0);
    }
}

}  // namespace platform
