#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vexonetwork::network {

/// A line of the kernel's neighbour table, as the kernel writes it.
struct ArpDevice {
    std::string address;
    std::string mac;
    std::string ifname;
};

/// Reads a line of /proc/net/arp.
/// @return nothing when it has no device on an interface whose name contains "br", or an address
///         that nobody has answered for
std::optional<ArpDevice> ParseArpLine(std::string_view line);

/// Names by MAC; "" where none is known.
using NamesByMac = std::unordered_map<std::string, std::string>;

/// Fills in the names that a DHCP server's leases give: of each MAC the fourth word of the first
/// line that contains it anywhere. One pass serves all.
void ReadLeases(std::string_view leases, NamesByMac& names);

/// The name in an answer to a node status request, as nmblookup(1) prints it: the first word of
/// the first line that is active and no group's; "" without one.
std::string ParseNodeStatus(std::string_view answer);

}  // namespace vexonetwork::network
