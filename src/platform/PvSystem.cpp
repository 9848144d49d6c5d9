#include "platform/PvSystem.h"

#include <cstdlib>
#include <string>

#include "platform/PvNetworkAdapter.h"
#include "platform/gvcp/discovery.h"
#include "platform/gvcp/network_adapters.h"

PvResult PvSystem::Find() {
    const std::vector<gvcp::NetworkAdapter> adapters =
        gvcp::list_network_adapters(std::getenv(gvcp::kInterfacesVariable));
    std::vector<gvcp::AdapterDiscovery> found;
    std::string error;
    if (!gvcp::discover_devices(adapters, gvcp::discovery_settings_from_environment(), &found, &error)) {
        return PvResult(PvResult::NETWORK_ERROR, error);
    }
    std::vector<std::unique_ptr<PvInterface>> interfaces;
    for (size_t i = 0; i < adapters.size(); ++i) {
        interfaces.push_back(std::make_unique<PvNetworkAdapter>(adapters[i], found[i]));
    }
    interfaces_ = std::move(interfaces);
    return PvResult::OK;
}

uint32_t PvSystem::GetDeviceCount() const {
    uint32_t count = 0;
    for (const auto& interface : interfaces_) {
        count += interface->GetDeviceCount();
    }
    return count;
}
