#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "network/routing/links.h"
#include "network/routing/table_sync.h"

namespace vexonetwork::network {

/// What is known of an interface that takes part in policy routing.
struct Uplink {
    std::string ifname;
    std::uint32_t table = 0;
    LinkState link;
    std::vector<ConnectedAddress> addresses;  ///< of both families
    std::optional<Address> gatewayV4;         ///< unspecified: by the device alone
    std::optional<Address> gatewayV6;
    std::vector<Prefix> delegated = {};  ///< IPv6 prefixes that its provider has given to our LANs
};

/// The bits of packet and connection marks that are ours; all others are left as they are.
inline constexpr std::uint32_t kMarkMask = 0xff000000;

/// What carries it is answered by the uplink: the number of its table in the upper byte. 0, none,
/// for a number that has no room there.
constexpr std::uint32_t MarkOf(const Uplink& uplink) {
    constexpr std::uint32_t kLastNumber = 255;
    return uplink.table > kLastNumber ? 0 : uplink.table << 24U;
}

/// Whether an address of an uplink gets a rule: others are answered on their link anyway.
bool IsRuled(const ConnectedAddress& address, int family);

/// What the uplink alone may send: its addresses and delegated prefixes. Those that fill a greater
/// prefix are told as that one, since each packet of the machine passes all rules.
std::vector<Prefix> SourcesOf(const Uplink& uplink, int family);

/// What the kernel should have for the uplinks: in each one's table its connected networks and the
/// way through its gateway, and for each of its sources, and its mark, the rules of priorities.h.
/// An uplink that is down or has no source of the family gets nothing.
RoutingState PlanUplinks(int family, const std::vector<Uplink>& uplinks);

}  // namespace vexonetwork::network
