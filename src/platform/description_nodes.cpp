#include "platform/description_nodes.h"

#include <arv.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace platform {

namespace {

bool parse_id(const char* text, uint32_t max_id, uint32_t& id) {
    if (text == nullptr) {
        return false;
    }
    while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r') {
        ++text;
    }
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text += 2;
    }
    errno = 0;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 16);
    if (errno != 0 || end == text || value > max_id) {
        return false;
    }
    id = static_cast<uint32_t>(value);
    return true;
}

}  // namespace

const char* element_text(ArvDomNode* element) {
    ArvDomNode* text = arv_dom_node_get_first_child(element);
    return text != nullptr ? arv_dom_node_get_node_value(text) : nullptr;
}

void collect_features(ArvDomNode* parent, std::vector<ArvDomNode*>& features) {
    for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        if (ARV_IS_GC_FEATURE_NODE(child)) {
            features.push_back(child);
        }
        collect_features(child, features);
    }
}

std::map<std::string, uint32_t> ports_with_id(ArvGc* genicam, const char* id_element, uint32_t max_id) {
    std::vector<ArvDomNode*> nodes;
    collect_features(ARV_DOM_NODE(genicam), nodes);
    std::map<std::string, uint32_t> id_of_port;
    for (ArvDomNode* node : nodes) {
        const char* name = ARV_IS_GC_PORT(node) ? arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(node)) : nullptr;
        if (name == nullptr) {
            continue;
        }
        for (ArvDomNode* child = arv_dom_node_get_first_child(node); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            uint32_t id = 0;
            if (std::strcmp(arv_dom_node_get_node_name(child), id_element) == 0 &&
                parse_id(element_text(child), max_id, id)) {
                id_of_port[name] = id;
            }
        }
    }
    return id_of_port;
}

}  // namespace platform
