// A network adapter of the host with the GigE Vision devices found on it,
// in the order their discovery acks arrived.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/PvInterface.h"
#include "platform/gvcp/discovery.h"
#include "platform/gvcp/network_adapters.h"

class PvNetworkAdapter : public PvInterface {
public:
    PvNetworkAdapter(const gvcp::NetworkAdapter& adapter, const gvcp::AdapterDiscovery& found);

    // Takes the adapter's current details and the devices of a new
    // discovery. The adapter object itself stays, so handles to it remain
    // valid; the earlier device records are released.
    void Refresh(const gvcp::NetworkAdapter& adapter, const gvcp::AdapterDiscovery& found);

    uint32_t GetIPAddressCount() const { return static_cast<uint32_t>(ip_addresses_.size()); }
    // Empty text past the end.
    PvString GetIPAddress(uint32_t index) const;
    PvString GetSubnetMask(uint32_t index) const;
    const PvString& GetMACAddress() const { return mac_; }
    const PvString& GetDefaultGateway() const { return gateway_; }
    // The adapter's system name, e.g. "eth0".
    const PvString& GetDescription() const { return name_; }
    bool IsLoopback() const { return adapter_.loopback; }
    const gvcp::NetworkAdapter& GetAdapter() const { return adapter_; }

private:
    gvcp::NetworkAdapter adapter_;
    std::vector<PvString> ip_addresses_;
    std::vector<PvString> subnet_masks_;
    PvString mac_;
    PvString gateway_;
};
