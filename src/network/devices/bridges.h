#pragma once

#include <netinet/in.h>

#include <string>
#include <vector>

namespace vexonetwork::network {

/// A bridge that devices of the LAN are looked for on.
struct Bridge {
    std::string ifname;
    unsigned int index = 0;
    in_addr address{};    ///< the first IPv4 address of the appliance there
    in_addr netmask{};    ///< of that address
    in_addr broadcast{};  ///< of its network
    std::string mac;      ///< lower-case colon form

    bool operator==(const Bridge& other) const;

    /// Whether an address is a host of the bridge's network, and not the appliance itself.
    bool Reaches(in_addr host) const;
};

/// The interfaces whose names contain "br", as on the neighbour table's lines that are kept, that
/// are up, have a link and an IPv4 address; by getifaddrs(3), in its order.
std::vector<Bridge> FindBridges();

}  // namespace vexonetwork::network
