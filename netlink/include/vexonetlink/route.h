#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <vexonetlink/ip.h>
#include <vexonetlink/message.h>
#include <vexonetlink/request.h>

namespace vexonetlink {

/// One of the ways of a multipath route.
struct NextHop {
    IpAddress gateway = {};  ///< none: by the device alone
    unsigned oif = 0;
    unsigned weight = 1;                 ///< 1 to 256
    std::uint8_t flags = 0;              ///< RTNH_F_…
    std::vector<std::byte> others = {};  ///< as those of the route

    bool operator==(const NextHop&) const = default;
};

/// A route of any type, as RTM_NEWROUTE and RTM_DELROUTE tell it.
struct Route {
    std::uint32_t table = 0;    ///< RT_TABLE_…, or beyond 255
    IpPrefix destination = {};  ///< of length 0 for default; its family is that of the route
    std::uint32_t metric = 0;
    IpAddress gateway = {};     ///< none: by the device alone; may be of the other family
    unsigned oif = 0;           ///< index of the interface; 0 leaves it to the kernel
    std::uint8_t protocol = 0;  ///< RTPROT_…: who has put it there
    std::uint8_t type = 1;      ///< RTN_…: unicast, local, unreachable, …
    std::uint8_t scope = 0;     ///< RT_SCOPE_…
    std::uint8_t tos = 0;
    std::uint32_t flags = 0;         ///< RTM_F_… and RTNH_F_…
    IpPrefix source = {};            ///< of packets; none for all
    IpAddress preferredSource = {};  ///< of what this machine sends
    std::vector<NextHop> hops = {};  ///< of a multipath route, which has no gateway and oif itself
    std::uint32_t nextHopId = 0;     ///< of a next hop object
    std::uint8_t preference = 0;     ///< of an advertised router (RFC 4191); 0: medium
    std::uint32_t lifetime = 0;      ///< seconds, rounded up, until it runs out; 0: never
    bool isNew = true;               ///< false when it is told to be gone
    /// Attributes without a field here, to be written back unchanged.
    std::vector<std::byte> others = {};

    int Family() const { return destination.Family(); }
    bool operator==(const Route&) const = default;
};

/// @return nothing for a message of another type or family, or with an impossible prefix length
std::optional<Route> ReadRoute(const Message& message);

/// Of which routes the kernel is asked; 0 leaves a member open. Kernels before 4.20 tell of more.
struct RouteFilter {
    int family = 0;
    std::uint32_t table = 0;
    std::uint8_t protocol = 0;
    std::uint8_t type = 0;
    unsigned oif = 0;
    bool defaultOnly = false;  ///< the kernel tells of all, but what is left out costs little

    bool Holds(const Route& route) const;
};

Request RoutesRequest(const RouteFilter& filter);

/// Asks by which route the kernel sends to an address.
Request RouteToRequest(const IpAddress& destination);

/// A change of one route. The states of links, which the kernel only reports, are left out. @param
/// type, flags  RTM_NEWROUTE or RTM_DELROUTE, NLM_F_…
Request RouteRequest(std::uint16_t type, int flags, const Route& route);

}  // namespace vexonetlink
