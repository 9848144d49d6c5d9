// libFuzzer target for the sensor's GVCP packet handler: arbitrary bytes in,
// an acknowledge (or nothing) out. The device state persists across inputs,
// so sequences of commands (privilege taken, registers changed, memory
// written) are explored too. The first input byte picks one of a few peers.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "device_model.h"
#include "genicam_xml.h"
#include "gvcp_handler.h"
#include "wire/gvcp_layout.h"

namespace {

struct Device {
    Device() {
        ornsim::DeviceIdentity id;
        id.vendor = "ORNC Virtual Sensors";
        id.model = "lumenGAUGE Virtual 3D";
        id.serial = "FUZZ";
        id.ip = 0x7F000002;
        id.mac = {0x02, 0, 0, 0, 0, 0x01};
        id.sensor_width = 64;
        id.sensor_height = 48;
        std::string xml = ornsim::builtin_genicam_xml({id.vendor, id.model, 64, 48});
        model = std::make_unique<ornsim::DeviceModel>(id, std::vector<uint8_t>(xml.begin(), xml.end()), "fuzz.xml");
        handler = std::make_unique<ornsim::GvcpHandler>(*model, actions);
    }
    ornsim::DeviceActions actions;  // does nothing
    std::unique_ptr<ornsim::DeviceModel> model;
    std::unique_ptr<ornsim::GvcpHandler> handler;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Device device;
    if (size == 0) return 0;
    const ornsim::PeerAddress peer{0x7F000001, static_cast<uint16_t>(40000 + (data[0] & 3))};
    std::vector<uint8_t> packet(data + 1, data + size);  // exact size: overreads are caught
    std::vector<uint8_t> reply =
        device.handler->handle(packet.data(), packet.size(), peer, ornsim::GvcpHandler::Clock::now());
    // An acknowledge is always a well-formed header with a consistent length.
    if (!reply.empty()) {
        if (reply.size() < gvcp::kHeaderSize) __builtin_trap();
        if (wire::load_be16(reply.data() + gvcp::kAckLengthOffset) != reply.size() - gvcp::kHeaderSize)
            __builtin_trap();
    }
    return 0;
}
