#include "platform/PvDeviceInfoGEV.h"

#include "wire/address_text.h"
#include "wire/gvcp_layout.h"

PvDeviceInfoGEV::PvDeviceInfoGEV(const gvcp::DiscoveredDevice& device, const PvInterface* owner)
    : identity_(device.identity) {
    interface_ = owner;
    model_ = identity_.model;
    vendor_ = identity_.manufacturer;
    serial_ = identity_.serial_number;
    user_name_ = identity_.user_name;
    version_ = identity_.device_version;
    manufacturer_info_ = identity_.manufacturer_info;
    ip_ = wire::format_ipv4(identity_.ip_address);
    mac_ = wire::format_mac(identity_.mac);
    mask_ = wire::format_ipv4(identity_.subnet_mask);
    gateway_ = wire::format_ipv4(identity_.default_gateway);
    local_ip_ = wire::format_ipv4(device.local_address);
    display_id_ = identity_.manufacturer + " " + identity_.model + " (" + identity_.serial_number + ") " + ip_.str();
}

bool PvDeviceInfoGEV::IsDHCPAvailable() const { return (identity_.ip_config_supported & gvcp::IP_CONFIG_DHCP) != 0; }
bool PvDeviceInfoGEV::IsDHCPEnabled() const { return (identity_.ip_config_current & gvcp::IP_CONFIG_DHCP) != 0; }
bool PvDeviceInfoGEV::IsLLAAvailable() const { return (identity_.ip_config_supported & gvcp::IP_CONFIG_LLA) != 0; }
bool PvDeviceInfoGEV::IsLLAEnabled() const { return (identity_.ip_config_current & gvcp::IP_CONFIG_LLA) != 0; }
bool PvDeviceInfoGEV::IsPersistentAvailable() const {
    return (identity_.ip_config_supported & gvcp::IP_CONFIG_PERSISTENT) != 0;
}
bool PvDeviceInfoGEV::IsPersistentEnabled() const {
    return (identity_.ip_config_current & gvcp::IP_CONFIG_PERSISTENT) != 0;
}

const PvDeviceInfoGEV* PvDeviceInfoGEV::From(const PvDeviceInfo* device_info, PvResult* result) {
    const PvDeviceInfoGEV* gev = dynamic_cast<const PvDeviceInfoGEV*>(device_info);
    if (gev == nullptr && result != nullptr) {
        *result =
            PvResult(PvResult::INVALID_PARAMETER, device_info == nullptr ? "no device" : "not a GigE Vision device");
    }
    return gev;
}
