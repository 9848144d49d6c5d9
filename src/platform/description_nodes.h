// Reading a parsed GenICam description through Aravis's DOM: element
// texts and names, and the walks that the maps built beside the device's
// node map (event data, chunk data) need to find their ports and features.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

typedef struct _ArvDomNode ArvDomNode;
typedef struct _ArvGc ArvGc;

namespace platform {

// Whether the element name `name` is one of `names`.
template <size_t N>
bool is_one_of(const char* name, const char* const (&names)[N]) {
    for (const char* candidate : names) {
        if (std::strcmp(name, candidate) == 0) {
            return true;
        }
    }
    return false;
}
// The text of a leaf element (<pPort>Name</pPort>), or null.
const char* element_text(ArvDomNode* element);
// Every feature node under `parent`, depth first, in document order.
void collect_features(ArvDomNode* parent, std::vector<ArvDomNode*>& features);
// The ports of `genicam` that carry an id element named `id_element`
// (EventID, ChunkID): port name -> id. The id is hexadecimal, with or
// without 0x; a port whose id is not a number up to `max_id` is left out.
std::map<std::string, uint32_t> ports_with_id(ArvGc* genicam, const char* id_element, uint32_t max_id);

}  // namespace platform
