#pragma once

#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>

#include <cstdint>

#include <vexonetlink/route.h>
#include <vexonetlink/rule.h>

#include "network/routing/ip_prefix.h"

namespace vexonetwork::network {

using vexonetlink::Route;
using vexonetlink::Rule;

/// The origin that our routes and rules carry in the kernel (RTA "proto", FRA_PROTOCOL): what has
/// another one belongs to somebody else and is never touched. rt_protos(5) has no name for it.
inline constexpr std::uint8_t kOurProtocol = 86;

/// Number of the main table.
inline constexpr std::uint32_t kMainTable = RT_TABLE_MAIN;

/// Metric of an IPv6 route that names none.
inline constexpr std::uint32_t kUsualMetricV6 = 1024;

/// A unicast route of ours. @param oif  0 leaves it to the kernel, who looks where the gateway is
inline Route OurRoute(std::uint32_t table, const Prefix& destination, std::uint32_t metric,
                      const Address& gateway, unsigned oif) {
    return {.table = table,
            .destination = destination,
            .metric = metric,
            .gateway = gateway,
            .oif = oif,
            .protocol = kOurProtocol,
            .scope = gateway ? std::uint8_t{RT_SCOPE_UNIVERSE} : std::uint8_t{RT_SCOPE_LINK}};
}

enum class DefaultRoutes { COUNT, DO_NOT_COUNT };

/// A rule of ours that has packets from a source looked up in a table.
inline Rule OurRule(std::uint32_t priority, const Prefix& source, std::uint32_t table,
                    DefaultRoutes defaults = DefaultRoutes::COUNT) {
    return {.priority = priority,
            .source = source,
            .table = table,
            .suppressedLength = defaults == DefaultRoutes::COUNT ? -1 : 0,
            .protocol = kOurProtocol};
}

/// One address of an interface, and what is connected through it.
struct ConnectedAddress {
    unsigned index = 0;
    Address local;
    Prefix network;        ///< on a point-to-point link the other end
    bool connects = true;  ///< false where the address was set without a route to its network
};

}  // namespace vexonetwork::network
