#include "platform/PvNetworkAdapter.h"

#include "platform/PvDeviceInfoGEV.h"
#include "wire/address_text.h"

PvNetworkAdapter::PvNetworkAdapter(const gvcp::NetworkAdapter& adapter, const gvcp::AdapterDiscovery& found) {
    Refresh(adapter, found);
}

void PvNetworkAdapter::Refresh(const gvcp::NetworkAdapter& adapter, const gvcp::AdapterDiscovery& found) {
    adapter_ = adapter;
    name_ = adapter.name;
    ip_addresses_.clear();
    subnet_masks_.clear();
    for (const gvcp::AdapterAddress& address : adapter.addresses) {
        ip_addresses_.emplace_back(wire::format_ipv4(address.address));
        subnet_masks_.emplace_back(wire::format_ipv4(address.mask));
    }
    mac_ = adapter.has_mac ? wire::format_mac(adapter.mac) : std::string();
    gateway_ = wire::format_ipv4(adapter.default_gateway);
    devices_.clear();
    for (const gvcp::DiscoveredDevice& device : found.devices) {
        devices_.push_back(std::make_unique<PvDeviceInfoGEV>(device, this));
    }
}

PvString PvNetworkAdapter::GetIPAddress(uint32_t index) const {
    return index < ip_addresses_.size() ? ip_addresses_[index] : PvString();
}

PvString PvNetworkAdapter::GetSubnetMask(uint32_t index) const {
    return index < subnet_masks_.size() ? subnet_masks_[index] : PvString();
}
