// Aravis parses GenICam descriptions with one parser state for the whole
// process (a static inside its DOM parser). Two descriptions parsed at the
// same time -- two threads connecting two devices, or one connecting while
// another builds its event-data map -- write into each other's node trees:
// nodes end up in the wrong document, and later lookups crash. Every call
// into Aravis that parses XML holds this lock.
//
// Connecting holds it for the whole of arv_gv_device_new, which also
// downloads the description: a connect to a device that does not answer
// delays other connects (not running sessions) until its time-outs expire.
#pragma once

#include <mutex>

namespace platform {

inline std::mutex& aravis_xml_parse_lock() {
    static std::mutex lock;
    return lock;
}

}  // namespace platform
