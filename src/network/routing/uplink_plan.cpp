#include "network/routing/uplink_plan.h"

#include <algorithm>
#include <set>

#include "network/routing/priorities.h"

namespace vexonetwork::network {
namespace {

/// The list of IPv6 routes below /proc/net shows all tables and does not tell them apart: with a
/// metric above those of the main table, ours are not taken for the machine's default route there.
constexpr std::uint32_t kDefaultMetricV6 = 1'000'000;

void PlanRoutes(int family, const Uplink& uplink, RoutingState& wanted) {
    const std::uint32_t metric = family == AF_INET6 ? kUsualMetricV6 : 0;
    std::set<Prefix> networks;
    for (const ConnectedAddress& address : uplink.addresses) {
        if (IsRuled(address, family) && address.connects
            && address.network != Prefix::Host(address.local)
            && networks.insert(address.network).second) {
            wanted.routes.push_back(
                OurRoute(uplink.table, address.network, metric, {}, uplink.link.index));
        }
    }
    const auto& gateway = family == AF_INET ? uplink.gatewayV4 : uplink.gatewayV6;
    if (gateway) {
        wanted.routes.push_back(
            OurRoute(uplink.table, Prefix::All(family), family == AF_INET6 ? kDefaultMetricV6 : 0,
                     IsUnspecified(*gateway) ? Address() : *gateway, uplink.link.index));
    }
}

void PlanRules(int family, const Uplink& uplink, RoutingState& wanted) {
    for (const ConnectedAddress& address : uplink.addresses) {
        if (IsRuled(address, family)) {
            wanted.rules.push_back(
                OurRule(kUplinkPriority, Prefix::Host(address.local), uplink.table));
        }
    }
}

}  // namespace

bool IsRuled(const ConnectedAddress& address, int family) {
    return address.local.family == family && !IsLinkLocalV6(address.local);
}

RoutingState PlanUplinks(int family, const std::vector<Uplink>& uplinks,
                         std::optional<std::uint32_t> staticTable) {
    RoutingState wanted;
    for (const Uplink& uplink : uplinks) {
        const bool isReady =
            uplink.link.isUp && std::ranges::any_of(uplink.addresses, [family](const auto& each) {
                return IsRuled(each, family);
            });
        if (isReady) {
            PlanRoutes(family, uplink, wanted);
            PlanRules(family, uplink, wanted);
        }
    }
    if (wanted.rules.empty()) {
        return wanted;
    }
    wanted.rules.push_back(OurRule(kMainNetworksPriority, Prefix::All(family), kMainTable,
                                   DefaultRoutes::DO_NOT_COUNT));
    if (staticTable) {
        wanted.rules.push_back(OurRule(kStaticNetworksPriority, Prefix::All(family), *staticTable,
                                       DefaultRoutes::DO_NOT_COUNT));
    }
    return wanted;
}

}  // namespace vexonetwork::network
