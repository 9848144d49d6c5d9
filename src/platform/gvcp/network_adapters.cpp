#include "platform/gvcp/network_adapters.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace gvcp {

bool adapter_name_in_filter(const std::string& name, const char* filter) {
    if (filter == nullptr) {
        return false;
    }
    const char* p = filter;
    while (*p != '\0') {
        const char* end = std::strchr(p, ',');
        const size_t length = end != nullptr ? static_cast<size_t>(end - p) : std::strlen(p);
        if (length == name.size() && name.compare(0, length, p, length) == 0) {
            return true;
        }
        if (end == nullptr) {
            break;
        }
        p = end + 1;
    }
    return false;
}

namespace {

// Reads the hardware address through the interface ioctl; loopback yields
// all zeros, which is still a valid answer.
bool read_mac(const std::string& name, wire::MacAddress* mac) {
    if (name.size() >= IFNAMSIZ) {
        return false;
    }
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    struct ifreq request {};
    std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
    const bool ok = ::ioctl(fd, SIOCGIFHWADDR, &request) == 0;
    ::close(fd);
    if (!ok) {
        return false;
    }
    std::memcpy(mac->data(), request.ifr_hwaddr.sa_data, mac->size());
    return true;
}

// Default gateways per adapter from the kernel routing table. Addresses in
// that file are the raw network-order words printed in hex.
struct DefaultRoute {
    std::string adapter;
    uint32_t gateway;
};

std::vector<DefaultRoute> read_default_gateways() {
    std::vector<DefaultRoute> gateways;
    FILE* file = std::fopen("/proc/net/route", "r");
    if (file == nullptr) {
        return gateways;
    }
    char line[512];
    bool header = true;
    while (std::fgets(line, sizeof line, file) != nullptr) {
        if (header) {
            header = false;
            continue;
        }
        char name[IFNAMSIZ + 1] = {0};
        unsigned int destination = 0;
        unsigned int gateway = 0;
        unsigned int flags = 0;
        if (std::sscanf(line, "%16s %x %x %x", name, &destination, &gateway, &flags) != 4) {
            continue;
        }
        if (destination == 0 && (flags & RTF_GATEWAY) != 0 && (flags & RTF_UP) != 0) {
            gateways.push_back(DefaultRoute{name, ntohl(gateway)});
        }
    }
    std::fclose(file);
    return gateways;
}

}  // namespace

std::vector<NetworkAdapter> list_network_adapters(const char* name_filter) {
    const bool filtered = name_filter != nullptr && name_filter[0] != '\0';
    std::vector<NetworkAdapter> adapters;
    struct ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return adapters;
    }
    for (const struct ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || entry->ifa_name == nullptr) {
            continue;
        }
        if ((entry->ifa_flags & IFF_UP) == 0) {
            continue;
        }
        const std::string name = entry->ifa_name;
        if (filtered && !adapter_name_in_filter(name, name_filter)) {
            continue;
        }
        auto found = std::find_if(adapters.begin(), adapters.end(),
                                  [&name](const NetworkAdapter& adapter) { return adapter.name == name; });
        if (found == adapters.end()) {
            NetworkAdapter adapter;
            adapter.name = name;
            adapter.index = ::if_nametoindex(name.c_str());
            adapter.loopback = (entry->ifa_flags & IFF_LOOPBACK) != 0;
            adapters.push_back(adapter);
            found = adapters.end() - 1;
        }
        AdapterAddress address;
        address.address = ntohl(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr);
        if (entry->ifa_netmask != nullptr && entry->ifa_netmask->sa_family == AF_INET) {
            address.mask = ntohl(reinterpret_cast<const sockaddr_in*>(entry->ifa_netmask)->sin_addr.s_addr);
        }
        if ((entry->ifa_flags & IFF_BROADCAST) != 0 && entry->ifa_broadaddr != nullptr &&
            entry->ifa_broadaddr->sa_family == AF_INET) {
            address.broadcast = ntohl(reinterpret_cast<const sockaddr_in*>(entry->ifa_broadaddr)->sin_addr.s_addr);
        }
        found->addresses.push_back(address);
    }
    ::freeifaddrs(list);

    const std::vector<DefaultRoute> gateways = read_default_gateways();
    for (NetworkAdapter& adapter : adapters) {
        adapter.has_mac = read_mac(adapter.name, &adapter.mac);
        // The first default route of an adapter is the one in use.
        const auto route = std::find_if(gateways.begin(), gateways.end(),
                                        [&adapter](const DefaultRoute& r) { return r.adapter == adapter.name; });
        if (route != gateways.end()) {
            adapter.default_gateway = route->gateway;
        }
    }
    std::stable_sort(adapters.begin(), adapters.end(),
                     [](const NetworkAdapter& a, const NetworkAdapter& b) { return a.index < b.index; });
    return adapters;
}

}  // namespace gvcp
