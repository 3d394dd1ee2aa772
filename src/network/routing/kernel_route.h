#pragma once

#include <cstdint>
#include <tuple>

#include "network/routing/ip_prefix.h"

namespace vexonetwork::network {

/// The origin that our routes and rules carry in the kernel (RTA "proto", FRA_PROTOCOL): what has
/// another one belongs to somebody else and is never touched. rt_protos(5) has no name for it.
inline constexpr std::uint8_t kOurProtocol = 86;

/// The kernel's main table and where its own tables begin.
inline constexpr std::uint32_t kMainTable = 254;

/// Metric of an IPv6 route that names none.
inline constexpr std::uint32_t kUsualMetricV6 = 1024;

/// One unicast route. The family is that of its destination.
struct Route {
    std::uint32_t table = 0;
    Prefix destination;
    std::uint32_t metric = 0;
    Address gateway;   ///< none: by the device alone
    unsigned oif = 0;  ///< index; 0 leaves it to the kernel, who looks where the gateway is
    std::uint8_t protocol = kOurProtocol;
};

/// One rule that has packets from a source looked up in a table.
struct Rule {
    std::uint32_t priority = 0;
    Prefix source;
    std::uint32_t table = 0;
    bool suppressDefault = false;  ///< the table's default routes do not count
    std::uint8_t protocol = kOurProtocol;

    bool operator==(const Rule&) const = default;
    bool operator<(const Rule& other) const {
        return std::tie(priority, source, table, suppressDefault, protocol)
               < std::tie(other.priority, other.source, other.table, other.suppressDefault,
                          other.protocol);
    }
};

/// One address of an interface.
struct InterfaceAddress {
    unsigned index = 0;
    Prefix local;          ///< with the prefix length of its network
    Prefix network;        ///< what is connected through it; on a point-to-point link the peer
    bool connects = true;  ///< false where the address was set without a route to its network
};

}  // namespace vexonetwork::network
