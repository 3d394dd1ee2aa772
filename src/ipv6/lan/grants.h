#pragma once

#include <string>
#include <vector>

#include <vexobase/ip_prefix.h>
#include <vexonetwork/ipv6/router/router6_attr.h>

#include "ipv6/lan/lan_book.h"

namespace vexo::network::ipv6::router {

/// A /64 that a LAN has got.
struct LanPrefix {
    std::string lan;
    vexobase::IpPrefix network;

    /// In canonical form (RFC 5952), without a length.
    std::string Text() const;
    /// The appliance's own address in it: the first.
    vexobase::IpAddress OwnAddress() const;
};

/// Gives a native router the prefix that its DHCPv6 client has told, or none when it has told that
/// it holds none any more; then gives LANs whose /64 is no part of the router's prefix the one at
/// their place of it, if that is free. A prefix with room for one goes to the first who waits.
/// @param share  what the LANs had, by which places are remembered; becomes what they have
/// @return whether the router is another now, and to be saved
bool BringInStep(Router6Attr& router, RouterShare& share);

/// What the LANs have got of all routers. A /64 that several claim is the first one's.
std::vector<LanPrefix> GrantsOf(const LanBook& book);

/// The prefixes as they were routed to us; their unassigned parts must be unreachable, or packets
/// loop.
std::vector<vexobase::IpPrefix> WholesOf(const LanBook& book);

}  // namespace vexo::network::ipv6::router
