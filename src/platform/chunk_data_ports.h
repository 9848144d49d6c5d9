// The chunk ports of a node map, answered from the chunk data of the
// buffer attached last. A description maps each chunk onto a port carrying
// its id (<Port> with <ChunkID>); registers on the port read offsets within
// that chunk's data. Aravis answers such ports only from buffers its own
// stream filled, so every receiver's buffers go through these instead:
// each chunk port of the node map is replaced, under its name, by a port
// of a one-port node map of its own whose device is the chunk's bytes.
// Registers find their port by name at every read, so the description's
// features read the bound chunk without further change.
//
// Ownership: owned by the node map's parameter array; the replacement
// ports and their node maps live as long as this object, which puts the
// description's own ports back when it goes.
//
// Threads: the caller holds the node map's lock for every call and for
// every read of a chunk feature.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

typedef struct _ArvDevice ArvDevice;
typedef struct _ArvGc ArvGc;
typedef struct _ArvGcNode ArvGcNode;
class PvBuffer;

namespace platform {

class ChunkDataPorts {
public:
    // Replaces every chunk port of `genicam` (none when it has none).
    static std::unique_ptr<ChunkDataPorts> Replace(ArvGc* genicam);
    ~ChunkDataPorts();
    ChunkDataPorts(const ChunkDataPorts&) = delete;
    ChunkDataPorts& operator=(const ChunkDataPorts&) = delete;

    // Each port reads its chunk in `buffer`'s last transfer; a port whose
    // chunk it lacks reads nothing. The buffer's memory must stay as it is
    // until Unbind or the next Bind.
    void Bind(const PvBuffer& buffer);
    void Unbind();

private:
    struct Port {
        uint32_t chunk_id;
        ArvGcNode* original;  // the description's port (a reference held)
        ArvGc* port_map;      // the one-port node map of the replacement
        ArvDevice* data;      // its device: the bound chunk's bytes
    };

    explicit ChunkDataPorts(ArvGc* genicam) : genicam_(genicam) {}

    ArvGc* genicam_;  // borrowed: the parameter array holds it
    std::vector<Port> ports_;
};

}  // namespace platform
