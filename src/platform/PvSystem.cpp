#include "platform/PvSystem.h"

#include <algorithm>
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
        // The same adapter keeps its object; only its details and devices change.
        auto same_adapter = std::find_if(interfaces_.begin(), interfaces_.end(), [&](const auto& known) {
            return known != nullptr && known->GetName().str() == adapters[i].name;
        });
        if (same_adapter != interfaces_.end()) {
            static_cast<PvNetworkAdapter*>(same_adapter->get())->Refresh(adapters[i], found[i]);
            interfaces.push_back(std::move(*same_adapter));
        } else {
            interfaces.push_back(std::make_unique<PvNetworkAdapter>(adapters[i], found[i]));
        }
    }
    for (auto& vanished : interfaces_) {
        if (vanished != nullptr) retired_.push_back(std::move(vanished));
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
