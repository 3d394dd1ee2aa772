#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <vexonetlink/snapshot.h>

namespace vexonetwork::network {

/// An IPv4 network on a bridge. Addresses are in network order.
struct BridgeNetwork {
    in_addr_t address = 0;  ///< the appliance's first one in it
    in_addr_t netmask = 0;

    bool operator==(const BridgeNetwork&) const = default;

    in_addr_t Broadcast() const { return address | ~netmask; }
    bool Includes(in_addr host) const { return ((host.s_addr ^ address) & netmask) == 0; }
};

/// A bridge that devices are looked for on.
struct Bridge {
    std::string ifname;
    unsigned int index = 0;
    std::string mac;                      ///< as MacText tells it
    bool isLan = false;                   ///< see FindLans
    std::vector<BridgeNetwork> networks;  ///< those with room for others
    std::vector<in_addr_t> addresses;     ///< all of the appliance's own there

    bool operator==(const Bridge&) const = default;

    bool Has(in_addr address) const;

    /// The network that an address is a host of, which is not the appliance itself; or null.
    const BridgeNetwork* NetworkOf(in_addr host) const;
};

using Bridges = std::vector<Bridge>;

/// The interfaces whose names contain "br", as on the neighbour table's lines that are kept, that
/// are up, have a link and an IPv4 address; in the kernel's order.
/// @return nothing, after a log line, when the kernel does not tell all
std::optional<Bridges> FindBridges();

/// FindBridges of what the kernel has told.
Bridges BridgesIn(const vexonetlink::Snapshot& snapshot);

/// Those of FindBridges that lead out of the appliance: somebody has configured them (they have an
/// ifcfg file), or one of their ports is of hardware, a bond, a team or a VLAN. The bridges of
/// containers and virtual machines have neither, as their ports are veth and tap interfaces.
std::optional<Bridges> FindLans();

/// The lower-case colon form; "" for what is no MAC.
std::string MacText(const std::vector<std::uint8_t>& octets);

}  // namespace vexonetwork::network
