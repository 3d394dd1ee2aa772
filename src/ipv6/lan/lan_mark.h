#pragma once

#include <set>
#include <string>

namespace vexo::network::ipv6::router {

/// Says of LANs whether the appliance announces prefixes there: IPV6ROUTER in the ifcfg file. Where
/// it does, it takes no other's word, nor its own, which comes back to it from the LAN. So a LAN
/// is marked before the first announcement, and not cleared before the last.
/// @return 0, or -1 with a log line
int MarkLans(const std::set<std::string>& lans, bool announced);

/// Applies how an interface gets its IPv6 addresses, after what is said of it has changed. One that
/// was set up by hand stays as it is.
/// @return 0 or -1
int ApplyMethod(const std::string& ifname);

}  // namespace vexo::network::ipv6::router
