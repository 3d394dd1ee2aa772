#include "interface_table.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/socket.h>

#include <algorithm>

namespace conflictd {

bool Interface::IsWatchable() const {
    constexpr unsigned kWith = IFF_UP | IFF_RUNNING;
    constexpr unsigned kWithout = IFF_LOOPBACK | IFF_POINTOPOINT | IFF_NOARP;
    return !ifname.empty() && !addresses.empty() && type == ARPHRD_ETHER
           && (flags & (kWith | kWithout)) == kWith;
}

void InterfaceTable::Apply(const vexonetlink::Link& link) {
    if (link.family != AF_UNSPEC) {
        return;
    }
    if (!link.isNew) {
        interfaces.erase(link.index);
        return;
    }
    Interface& interface = interfaces[link.index];
    interface.ifname = link.ifname;
    interface.flags = link.flags;
    interface.type = link.type;
    interface.mac = {};
    if (link.hardwareAddress.size() == interface.mac.size()) {
        std::ranges::copy(link.hardwareAddress, interface.mac.begin());
    }
}

void InterfaceTable::Apply(const vexonetlink::InterfaceAddress& address) {
    const Ipv4Address local = ntohl(ToInet4(address.local).s_addr);
    if (address.family != AF_INET || local == 0) {
        return;
    }
    if (address.isNew) {
        interfaces[address.index].addresses.emplace(local, address.prefixLength);
    } else if (const auto found = interfaces.find(address.index); found != interfaces.end()) {
        found->second.addresses.erase({local, address.prefixLength});
    }
}

std::set<MacAddress> InterfaceTable::Macs() const {
    std::set<MacAddress> macs;
    for (const auto& [index, interface] : interfaces) {
        macs.insert(interface.mac);
    }
    macs.erase(MacAddress{});
    return macs;
}

}  // namespace conflictd
