#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ipv6/lan/delegation.h"
#include "ipv6/router/stored_router.h"

namespace vexo::network::ipv6::router {

/// What the LANs learn of the world behind us.
struct Outside {
    std::vector<Delegation> prefixes;  ///< those that LANs may have parts of, with a known end
    std::vector<std::string> nameServers;
    bool isReached = false;  ///< the main table leads there
};

/// Looks at the routers, at what their DHCPv6 clients have told, and at the main table. The name
/// servers are those that the clients were told; without any, those that this machine asks itself,
/// if a LAN can reach them. A route that cannot be read is none: hosts that have no default router
/// lose less than those that have a wrong one.
Outside LookOutside(const std::vector<StoredRouter>& routers);

/// Whether the main table has an IPv6 default route, or one that takes the place of it.
bool IsOutsideReached();

/// The name servers of a resolv.conf(5) that hosts of a LAN can reach: global IPv6 addresses, three
/// at most.
std::vector<std::string> ReachableNameServers(std::string_view resolvConf);

}  // namespace vexo::network::ipv6::router
