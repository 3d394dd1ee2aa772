#pragma once

#include <vector>

#include <vexonetlink/ip.h>

namespace vexo::network::ipv6::router {

/// Adds an unreachable route for each prefix, covering what no LAN has, and removes those of other
/// prefixes. Without one a packet would go to and fro with the provider's router until its hops are
/// used up (RFC 7084, WPD-5). The routes are marked by their protocol and have the lowest priority;
/// routes of others stay, and what is so already is not touched.
/// @param prefixes  of IPv6
/// @return 0, or -1 with a log line for each that the kernel refused; the others are done
int PutLanRoutes(const std::vector<vexonetlink::IpPrefix>& prefixes);

}  // namespace vexo::network::ipv6::router
