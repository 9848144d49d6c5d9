#include "platform/event_data_map.h"

#include <arv.h>

#include <cstring>
#include <functional>
#include <mutex>
#include <set>
#include <string>

#include "platform/aravis_xml_lock.h"
#include "platform/bound_data_device.h"
#include "platform/description_nodes.h"

namespace platform {

namespace {

constexpr const char* kEventIdElement = "EventID";
constexpr const char* kPortElement = "pPort";
// The references through which a feature takes its value from another
// node; selectors, availability and the like are no data.
constexpr const char* kValueReferences[] = {"pValue", "pVariable"};
// A description nests value references only a few levels deep; the bound
// also stops a broken description that refers in a circle.
constexpr int kMaxReferenceDepth = 8;

// `xml` without its <EventID> elements (leaf elements holding a number).
std::string without_event_ids(const char* xml, size_t size) {
    static const std::string kOpen = std::string("<") + kEventIdElement;
    static const std::string kClose = std::string("</") + kEventIdElement + ">";
    std::string text(xml, size);
    size_t at = 0;
    while ((at = text.find(kOpen, at)) != std::string::npos) {
        const char after = at + kOpen.size() < text.size() ? text[at + kOpen.size()] : '\0';
        if (after != '>' && after != ' ' && after != '\t' && after != '\n' && after != '\r') {
            at += kOpen.size();  // another element whose name starts alike
            continue;
        }
        const size_t end = text.find(kClose, at);
        if (end == std::string::npos) {
            break;
        }
        text.erase(at, end + kClose.size() - at);
    }
    return text;
}

}  // namespace

std::unique_ptr<EventDataMap> EventDataMap::Create(const char* xml, size_t size, ArvGc* device_map, PvResult* result) {
    auto fail = [result](PvResult failure) -> std::unique_ptr<EventDataMap> {
        if (result != nullptr) {
            *result = failure;
        }
        return nullptr;
    };
    if (xml == nullptr || size == 0) {
        return fail(PvResult(PvResult::INVALID_PARAMETER, "no description"));
    }
    if (device_map == nullptr) {
        return fail(PvResult(PvResult::INVALID_PARAMETER, "no node map"));
    }
    const std::map<std::string, uint32_t> event_of_port = ports_with_id(device_map, kEventIdElement, 0xFFFF);
    const std::string readable = without_event_ids(xml, size);
    std::unique_ptr<EventDataMap> map(new EventDataMap);
    map->data_device_ = ornc_bound_data_device_new("event data");
    ArvGc* genicam = nullptr;
    {
        std::lock_guard<std::mutex> parsing(platform::aravis_xml_parse_lock());
        genicam = arv_gc_new(map->data_device_, readable.data(), readable.size());
    }
    if (genicam == nullptr) {
        return fail(PvResult(PvResult::GENERIC_ERROR, "the description cannot be parsed"));
    }
    // Event data is new with every event: nothing may be cached.
    arv_gc_set_register_cache_policy(genicam, ARV_REGISTER_CACHE_POLICY_DISABLE);
    PvResult created;
    map->array_ = PvGenParameterArray::Create(genicam, &created);
    g_object_unref(genicam);  // the array holds its own reference
    if (map->array_ == nullptr) {
        return fail(created);
    }
    map->FindEventFeatures(event_of_port);
    if (result != nullptr) {
        *result = PvResult::OK;
    }
    return map;
}

EventDataMap::~EventDataMap() {
    array_.reset();
    if (data_device_ != nullptr) {
        g_object_unref(data_device_);
    }
}

void EventDataMap::FindEventFeatures(const std::map<std::string, uint32_t>& event_of_port) {
    if (event_of_port.empty()) {
        return;
    }
    std::vector<ArvDomNode*> nodes;
    collect_features(ARV_DOM_NODE(array_->GetGenicam()), nodes);

    // Per node: its port (when it reads one) and the nodes it takes its
    // value from.
    std::map<std::string, std::string> port_of;
    std::map<std::string, std::vector<std::string>> sources_of;
    for (ArvDomNode* node : nodes) {
        const char* name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(node));
        if (name == nullptr) {
            continue;
        }
        for (ArvDomNode* child = arv_dom_node_get_first_child(node); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            const char* element = arv_dom_node_get_node_name(child);
            const char* text = element_text(child);
            if (element == nullptr || text == nullptr) {
                continue;
            }
            if (std::strcmp(element, kPortElement) == 0) {
                port_of[name] = text;
            } else if (is_one_of(element, kValueReferences)) {
                sources_of[name].push_back(text);
            }
        }
    }
    // The event a node reads, following its value references.
    std::function<int(const std::string&, int)> event_read_by = [&](const std::string& name, int depth) -> int {
        auto port = port_of.find(name);
        if (port != port_of.end()) {
            auto event = event_of_port.find(port->second);
            return event != event_of_port.end() ? event->second : -1;
        }
        if (depth >= kMaxReferenceDepth) {
            return -1;
        }
        auto sources = sources_of.find(name);
        if (sources == sources_of.end()) {
            return -1;
        }
        for (const std::string& source : sources->second) {
            const int event = event_read_by(source, depth + 1);
            if (event >= 0) {
                return event;
            }
        }
        return -1;
    };
    // Nodes that another node of the same event reads through are its
    // plumbing (the registers behind the features): only the features
    // at the top of each chain are listed.
    std::map<std::string, int> event_of;
    for (ArvDomNode* node : nodes) {
        const char* name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(node));
        if (name != nullptr && !ARV_IS_GC_PORT(node)) {
            const int event = event_read_by(name, 0);
            if (event >= 0) {
                event_of[name] = event;
            }
        }
    }
    std::set<std::string> plumbing;
    for (const auto& entry : event_of) {
        auto sources = sources_of.find(entry.first);
        if (sources == sources_of.end()) {
            continue;
        }
        for (const std::string& source : sources->second) {
            if (event_of.count(source) != 0) {
                plumbing.insert(source);
            }
        }
    }
    for (const auto& port : event_of_port) {
        lists_[static_cast<uint16_t>(port.second)];  // an event with no data still has its (empty) list
    }
    for (uint32_t i = 0; i < array_->GetCount(); ++i) {
        PvGenParameter* parameter = array_->Get(i);
        const std::string name = parameter->GetName().str();
        auto event = event_of.find(name);
        if (event != event_of.end() && plumbing.count(name) == 0) {
            lists_[static_cast<uint16_t>(event->second)].Add(parameter);
        }
    }
}

PvGenParameterList* EventDataMap::Bind(uint16_t event_id, const uint8_t* data, size_t size) {
    auto list = lists_.find(event_id);
    if (list == lists_.end()) {
        return nullptr;
    }
    std::lock_guard<std::mutex> guard(array_->GetLock());
    data_.assign(data, data + size);
    ornc_bound_data_device_bind(data_device_, data_.data(), data_.size());
    return &list->second;
}

}  // namespace platform
