#include "network/devices/bridges.h"

#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <string.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <memory>

#include <vexobase/log.h>

namespace vexonetwork::network {

namespace {

bool IsSearched(const ifaddrs& each) {
    // Nobody would hear a question on a bridge whose ports have no link yet.
    constexpr unsigned int kUsable = IFF_UP | IFF_RUNNING;
    return each.ifa_addr != nullptr && (each.ifa_flags & kUsable) == kUsable
           && std::string_view(each.ifa_name).find("br") != std::string_view::npos;
}

/// The interface, also of an address with a label, such as "br0:1" (netdevice(7)).
std::string NameOf(const ifaddrs& each) {
    const std::string_view name = each.ifa_name;
    return std::string(name.substr(0, name.find(':')));
}

in_addr AddressIn(const sockaddr* address) {
    return address == nullptr ? in_addr{} : reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
}

std::string MacIn(const sockaddr* address) {
    const auto* link = reinterpret_cast<const sockaddr_ll*>(address);
    const unsigned char* mac = link->sll_addr;
    char text[sizeof "00:00:00:00:00:00"];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text;
}

Bridge& FindOrAdd(std::vector<Bridge>& bridges, const std::string& ifname) {
    const auto found = std::ranges::find(bridges, ifname, &Bridge::ifname);
    if (found != bridges.end()) {
        return *found;
    }
    bridges.push_back({ifname, ::if_nametoindex(ifname.c_str()), "", {}, {}});
    return bridges.back();
}

void AddAddress(const ifaddrs& each, Bridge& bridge) {
    const in_addr address = AddressIn(each.ifa_addr);
    const in_addr_t netmask = AddressIn(each.ifa_netmask).s_addr;
    const bool isKnown = std::ranges::any_of(
        bridge.networks, [&](const BridgeNetwork& network) { return network.Includes(address); });
    bridge.addresses.push_back(address.s_addr);
    if (!isKnown && netmask != INADDR_BROADCAST) {
        bridge.networks.push_back({address.s_addr, netmask});
    }
}

}  // namespace

bool Bridge::Has(in_addr address) const {
    return std::ranges::find(addresses, address.s_addr) != addresses.end();
}

const BridgeNetwork* Bridge::NetworkOf(in_addr host) const {
    const auto found = std::ranges::find_if(networks, [&](const BridgeNetwork& network) {
        return network.Includes(host) && host.s_addr != network.Broadcast();
    });
    return found == networks.end() || Has(host) ? nullptr : &*found;
}

std::vector<Bridge> FindBridges() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to list the interfaces: %s", ::strerror(errno));
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(first, &::freeifaddrs);
    std::vector<Bridge> bridges;
    std::map<std::string, std::string> macs;
    for (const ifaddrs* each = first; each != nullptr; each = each->ifa_next) {
        if (!IsSearched(*each)) {
            continue;
        }
        const std::string ifname = NameOf(*each);
        if (each->ifa_addr->sa_family == AF_PACKET) {
            macs[ifname] = MacIn(each->ifa_addr);
        } else if (each->ifa_addr->sa_family == AF_INET) {
            AddAddress(*each, FindOrAdd(bridges, ifname));
        }
    }
    for (Bridge& bridge : bridges) {
        bridge.mac = macs[bridge.ifname];
    }
    return bridges;
}

}  // namespace vexonetwork::network
