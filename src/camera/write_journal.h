// What a connected handle wrote to its three node maps since its connect,
// so that a recovered connection can be given the same settings: the last
// value of each feature, in the order first written. A feature that
// selectors select is kept once per combination of their values at the
// time of the write (ComponentEnable under ComponentSelector=Range and
// under ComponentSelector=Intensity are two entries).
//
// Writes are recorded from the node maps' write observer, the one place
// every write through the PvGen* classes passes, whichever function of the
// API made it. Recording is always on (not only while recovery is
// enabled): a recovery enabled after some writes still restores them, and
// a write costs one more read of the value and of its selectors.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

class PvGenParameter;
class PvGenParameterArray;

class ORNCWriteJournal {
public:
    enum Map { kDevice, kStream, kCommunication, kMapCount };

    struct Entry {
        int map;
        std::string name;
        std::vector<std::pair<std::string, std::string>> selectors;  // name, value text at the write
        std::string value;                                           // text form, as read back after the write
    };

    void Clear();
    // Records the writes to `maps` (null ones skipped) from now on. The
    // maps tell this journal until they die or Detach; the journal must
    // outlive them or be detached first.
    void Attach(PvGenParameterArray* const maps[kMapCount]);
    static void Detach(PvGenParameterArray* const maps[kMapCount]);

    std::vector<Entry> Snapshot() const;

    // Writes `entries` to `maps`: each one's selectors first, then its
    // value; finally every written selector again, so that each ends at
    // its last value. Returns how many writes failed (each one logged).
    static int Replay(const std::vector<Entry>& entries, PvGenParameterArray* const maps[kMapCount]);

private:
    struct Binding {
        ORNCWriteJournal* journal;
        int map;
    };
    static void Observe(void* context, PvGenParameter& parameter);
    void Record(int map, PvGenParameter& parameter);

    mutable std::mutex lock_;
    std::vector<Entry> entries_;
    Binding bindings_[kMapCount] = {{this, kDevice}, {this, kStream}, {this, kCommunication}};
};
