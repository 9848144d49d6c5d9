// The event-data features of a device description, bound to the data of
// one event at a time. The description maps each event's data onto a
// port carrying that event's id (<Port> with <EventID>): registers on the
// port read offsets within the data, features read those registers. This
// map parses the description a second time into a node map of its own,
// built on a device whose memory is the current event's data, so those
// features read exactly what the event carried. Aravis refuses to read
// ports with an event id, so the second copy has its <EventID> elements
// taken out; the ids come from the device's own node map.
//
// Ownership: owned by the device's event dispatch. The parameter lists
// and the parameters in them stay valid as long as the map; their values
// are those of the data bound last.
//
// Threads: Bind and reads of the bound parameters are serialised by the
// map's parameter array lock (Bind takes it).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/PvGenParameterArray.h"
#include "platform/PvGenParameterList.h"
#include "platform/PvResult.h"

typedef struct _ArvDevice ArvDevice;
typedef struct _ArvGc ArvGc;

namespace platform {

class EventDataMap {
public:
    // Parses `xml` (`size` bytes), the description behind `device_map`
    // (whose lock the caller holds). Null, with the reason in `*result`,
    // when it cannot be parsed.
    static std::unique_ptr<EventDataMap> Create(const char* xml, size_t size, ArvGc* device_map, PvResult* result);
    ~EventDataMap();
    EventDataMap(const EventDataMap&) = delete;
    EventDataMap& operator=(const EventDataMap&) = delete;

    // Whether the description has a port for `event_id`.
    bool Knows(uint16_t event_id) const { return lists_.count(event_id) != 0; }
    // Copies `data` and binds it; returns the features of `event_id`
    // (document order), or null when the description has no port for it.
    PvGenParameterList* Bind(uint16_t event_id, const uint8_t* data, size_t size);

private:
    EventDataMap() = default;
    void FindEventFeatures(const std::map<std::string, uint32_t>& event_of_port);

    ArvDevice* data_device_ = nullptr;
    std::unique_ptr<PvGenParameterArray> array_;
    std::map<uint16_t, PvGenParameterList> lists_;
    std::vector<uint8_t> data_;
};

}  // namespace platform
