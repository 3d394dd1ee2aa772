#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>
#include <vector>

#include <vexonetlink/ip.h>
#include <vexonetwork/ipv6/router/router6_attr.h>

namespace vexo::network::ipv6::router {

/// A /64 that a LAN has got.
struct LanPrefix {
    std::string lan;
    in6_addr network{};

    /// In canonical form (RFC 5952), without a length.
    std::string Text() const;
    /// The appliance's own address in it: the first.
    in6_addr OwnAddress() const;
};

/// Gives a native router the prefix that its DHCPv6 client has told, or none when it has told that
/// it holds none any more.
/// @return whether that was another
bool FollowDelegation(Router6Attr& router);

/// Gives LANs whose /64 is no part of the router's prefix the one in the same place of it, if that
/// is free. So they keep their places when a prefix comes and goes.
/// @return whether there was such a LAN
bool MoveGrants(Router6Attr& router);

/// What the LANs of a router have got of its prefix, each once.
std::vector<LanPrefix> GrantsOf(const Router6Attr& router);

/// The whole prefix; its unassigned part must be unreachable, or packets loop. Nothing when the
/// router has none.
std::optional<vexonetlink::IpPrefix> WholeOf(const Router6Attr& router);

}  // namespace vexo::network::ipv6::router
