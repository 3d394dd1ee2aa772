#pragma once

#include <netinet/in.h>

#include <string>
#include <vector>

namespace vexonetwork::network {

/// An IPv4 network on a bridge. Addresses are in network order.
struct BridgeNetwork {
    in_addr_t address = 0;  ///< the appliance's first one in it
    in_addr_t netmask = 0;

    bool operator==(const BridgeNetwork&) const = default;

    in_addr_t Broadcast() const { return address | ~netmask; }
    bool Includes(in_addr host) const { return ((host.s_addr ^ address) & netmask) == 0; }
};

/// A bridge that devices of the LAN are looked for on.
struct Bridge {
    std::string ifname;
    unsigned int index = 0;
    std::string mac;                      ///< lower-case colon form
    std::vector<BridgeNetwork> networks;  ///< those with room for others
    std::vector<in_addr_t> addresses;     ///< all of the appliance's own there

    bool operator==(const Bridge&) const = default;

    bool Has(in_addr address) const;

    /// The network that an address is a host of, which is not the appliance itself; or null.
    const BridgeNetwork* NetworkOf(in_addr host) const;
};

/// The interfaces whose names contain "br", as on the neighbour table's lines that are kept, that
/// are up, have a link and an IPv4 address; by getifaddrs(3), in its order.
std::vector<Bridge> FindBridges();

}  // namespace vexonetwork::network
