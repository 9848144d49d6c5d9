// The connection-free operations of PvDeviceGEV.
#include <cstdlib>

#include "base/log.h"
#include "platform/PvDeviceGEV.h"
#include "platform/gvcp/control_privilege.h"
#include "platform/gvcp/force_ip.h"
#include "platform/gvcp/network_adapters.h"
#include "wire/address_text.h"
#include "wire/gvcp_layout.h"

PvResult PvDeviceGEV::GetAccessType(const PvString& ip, PvAccessType& type) {
    type = PvAccessUnknown;
    uint32_t address = 0;
    if (!wire::parse_ipv4(ip.GetAscii(), &address)) {
        return PvResult(PvResult::INVALID_PARAMETER, "not an IPv4 address: " + ip.str());
    }
    const gvcp::PrivilegeResult privilege = gvcp::read_control_privilege(address);
    switch (privilege.outcome) {
        case gvcp::PrivilegeOutcome::kRead:
            if ((privilege.ccp & gvcp::CCP_EXCLUSIVE) != 0) {
                type = PvAccessExclusive;
            } else if ((privilege.ccp & gvcp::CCP_CONTROL) != 0) {
                type = PvAccessControl;
            } else {
                type = PvAccessOpen;
            }
            return PvResult::OK;
        case gvcp::PrivilegeOutcome::kDenied:
            // Only an exclusive holder makes a device refuse plain reads.
            type = PvAccessExclusive;
            return PvResult::OK;
        case gvcp::PrivilegeOutcome::kNoAnswer:
            return PvResult(PvResult::TIMEOUT, privilege.detail);
        case gvcp::PrivilegeOutcome::kInvalid:
            break;
    }
    return PvResult(PvResult::INVALID_ANSWER, privilege.detail);
}

PvResult PvDeviceGEV::SetIPConfiguration(const PvString& mac, const PvString& ip, const PvString& mask,
                                         const PvString& gateway) {
    wire::MacAddress mac_bytes{};
    uint32_t ip_value = 0;
    uint32_t mask_value = 0;
    uint32_t gateway_value = 0;
    if (!wire::parse_mac(mac.GetAscii(), &mac_bytes) || !wire::parse_ipv4(ip.GetAscii(), &ip_value) ||
        !wire::parse_ipv4(mask.GetAscii(), &mask_value) || !wire::parse_ipv4(gateway.GetAscii(), &gateway_value)) {
        return PvResult(PvResult::INVALID_PARAMETER, "malformed MAC or IPv4 address text");
    }
    const std::vector<gvcp::NetworkAdapter> adapters =
        gvcp::list_network_adapters(std::getenv(gvcp::kInterfacesVariable));
    const gvcp::ForceIpResult forced = gvcp::force_ip(mac_bytes, ip_value, mask_value, gateway_value, adapters,
                                                      gvcp::discovery_settings_from_environment());
    switch (forced.outcome) {
        case gvcp::ForceIpOutcome::kDone:
            return PvResult::OK;
        case gvcp::ForceIpOutcome::kRefused:
            return PvResult(PvResult::ACCESS_DENIED, forced.detail);
        case gvcp::ForceIpOutcome::kTimeout:
            return PvResult(PvResult::TIMEOUT, forced.detail);
        case gvcp::ForceIpOutcome::kNotSent:
            break;
    }
    return PvResult(PvResult::NETWORK_ERROR, forced.detail);
}
