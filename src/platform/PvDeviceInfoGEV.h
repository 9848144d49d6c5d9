// A GigE Vision device as its discovery ack described it. Address texts
// are dotted decimal, the MAC address colon-separated lower-case hex.
#pragma once

#include <cstdint>

#include "platform/PvDeviceInfo.h"
#include "platform/PvResult.h"
#include "platform/gvcp/discovery.h"

class PvDeviceInfoGEV : public PvDeviceInfo {
public:
    PvDeviceInfoGEV(const gvcp::DiscoveredDevice& device, const PvInterface* owner);

    // `device_info` as a GigE Vision device; null, with `*result` (when
    // given) saying why, for no device or a device of another kind.
    static const PvDeviceInfoGEV* From(const PvDeviceInfo* device_info, PvResult* result);

    const PvString& GetIPAddress() const { return ip_; }
    const PvString& GetMACAddress() const { return mac_; }
    const PvString& GetSubnetMask() const { return mask_; }
    const PvString& GetDefaultGateway() const { return gateway_; }
    bool IsDHCPAvailable() const;
    bool IsDHCPEnabled() const;
    bool IsLLAAvailable() const;
    bool IsLLAEnabled() const;
    bool IsPersistentAvailable() const;
    bool IsPersistentEnabled() const;
    // Major version in the upper 16 bits, minor in the lower 16.
    uint32_t GetGEVVersion() const { return identity_.gev_version; }

    // The host address on which the device answered: the local end for a
    // control connection.
    const PvString& GetLocalIPAddress() const { return local_ip_; }
    const gvcp::DeviceIdentity& GetIdentity() const { return identity_; }

private:
    gvcp::DeviceIdentity identity_;
    PvString ip_;
    PvString mac_;
    PvString mask_;
    PvString gateway_;
    PvString local_ip_;
};
