#include "interface_table.h"

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

void InterfaceTable::Apply(const vexonetwork::LinkMessage& message) {
    if (message.family != AF_UNSPEC) {
        return;
    }
    if (!message.isNew) {
        interfaces.erase(message.index);
        return;
    }
    Interface& interface = interfaces[message.index];
    interface.ifname = message.ifname;
    interface.flags = message.flags;
    interface.type = message.type;
    interface.mac = {};
    if (message.hardwareAddress.size() == interface.mac.size()) {
        std::ranges::copy(message.hardwareAddress, interface.mac.begin());
    }
}

void InterfaceTable::Apply(const vexonetwork::AddressMessage& message) {
    const auto address = ParseIpv4Address(message.address);
    if (message.family != AF_INET || !address || *address == 0) {
        return;
    }
    if (message.isNew) {
        interfaces[message.index].addresses.emplace(*address, message.prefix);
    } else if (const auto found = interfaces.find(message.index); found != interfaces.end()) {
        found->second.addresses.erase({*address, message.prefix});
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
