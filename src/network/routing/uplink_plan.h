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
};

/// Whether an address of an uplink gets a rule: others are answered on their link anyway.
bool IsRuled(const ConnectedAddress& address, int family);

/// What the kernel should have for the uplinks: in each one's table its connected networks and the
/// way through its gateway, a rule from each of its addresses, and before these one that keeps
/// packets to the networks around us (and by static routes) away from the uplinks. An uplink that
/// is down or has no address of the family gets nothing.
/// @param staticTable  number of the table of the static routes, if there is one
RoutingState PlanUplinks(int family, const std::vector<Uplink>& uplinks,
                         std::optional<std::uint32_t> staticTable);

}  // namespace vexonetwork::network
