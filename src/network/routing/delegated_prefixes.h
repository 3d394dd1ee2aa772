#pragma once

#include <string>
#include <vector>

#include "network/routing/ip_prefix.h"

namespace vexonetwork::network {

/// The file of the IPv6 router whose packets leave by an interface, be it there or not: that of a
/// native one bears the interface's name, that of a tunnel the name of the tunnel's WAN.
std::string Router6FileOf(const std::string& ifname);

/// The prefix that the provider behind an interface has given to our LANs, by the router's file.
/// None for one that nobody can have been given: it would send away the packets of others.
std::vector<Prefix> DelegatedPrefixes(const std::string& ifname);

}  // namespace vexonetwork::network
