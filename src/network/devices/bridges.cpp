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

Bridge BridgeOf(const ifaddrs& each) {
    Bridge bridge;
    bridge.ifname = each.ifa_name;
    bridge.index = ::if_nametoindex(each.ifa_name);
    bridge.address = AddressIn(each.ifa_addr);
    bridge.netmask = AddressIn(each.ifa_netmask);
    bridge.broadcast.s_addr = bridge.address.s_addr | ~bridge.netmask.s_addr;
    return bridge;
}

}  // namespace

bool Bridge::operator==(const Bridge& other) const {
    return ifname == other.ifname && index == other.index && address.s_addr == other.address.s_addr
           && netmask.s_addr == other.netmask.s_addr && mac == other.mac;
}

bool Bridge::Reaches(in_addr host) const {
    const in_addr_t differing = host.s_addr ^ address.s_addr;
    return (differing & netmask.s_addr) == 0 && differing != 0 && host.s_addr != broadcast.s_addr;
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
        const bool isKnown = std::any_of(bridges.begin(), bridges.end(), [&](const Bridge& other) {
            return other.ifname == each->ifa_name;
        });
        if (each->ifa_addr->sa_family == AF_PACKET) {
            macs[each->ifa_name] = MacIn(each->ifa_addr);
        } else if (each->ifa_addr->sa_family == AF_INET && !isKnown) {
            bridges.push_back(BridgeOf(*each));
        }
    }
    for (Bridge& bridge : bridges) {
        bridge.mac = macs[bridge.ifname];
    }
    return bridges;
}

}  // namespace vexonetwork::network
