#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

#include <vexonetlink/address.h>
#include <vexonetlink/link.h>

#include "arp_packet.h"

namespace conflictd {

struct Interface {
    std::string ifname;
    unsigned flags = 0;  ///< IFF_…
    unsigned type = 0;   ///< ARPHRD_…
    MacAddress mac{};
    std::set<std::pair<Ipv4Address, int>> addresses;  ///< with prefix; one may have several

    /// Whether others can be in conflict with it: it has an address on a LAN with ARP, and a link.
    bool IsWatchable() const;
};

/// The interfaces of this network namespace with their IPv4 addresses, as the kernel tells them.
class InterfaceTable {
  public:
    void Apply(const vexonetlink::Link& link);
    void Apply(const vexonetlink::InterfaceAddress& address);
    void Clear() { interfaces.clear(); }

    /// By index.
    const std::map<unsigned, Interface>& Interfaces() const { return interfaces; }

    /// The MACs of all interfaces, watchable or not: two ports in one LAN hear each other.
    std::set<MacAddress> Macs() const;

  private:
    std::map<unsigned, Interface> interfaces;
};

}  // namespace conflictd
