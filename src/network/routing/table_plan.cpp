#include "network/routing/table_plan.h"

#include <algorithm>

#include "network/routing/priorities.h"

namespace vexonetwork::network {
namespace {

/// Common VPN tools take any rule "from all lookup main suppress_prefixlength 0" for their own and
/// remove it. Nobody sends to the unspecified address.
Rule MainNetworksOfAll(int family) {
    Rule rule =
        OurRule(kLastPriority, Prefix::All(family), kMainTable, DefaultRoutes::DO_NOT_COUNT);
    rule.destination = Prefix::Host({family, {}});
    rule.flags = FIB_RULE_INVERT;
    return rule;
}

/// In the order in which they are looked at.
std::vector<Rule> Rules(const TableUse& use) {
    const std::uint32_t number = *use.number;
    const Prefix& from = use.source;
    if (!use.IsForAll()) {
        return {OurRule(kTableNetworksPriority, from, number, DefaultRoutes::DO_NOT_COUNT),
                OurRule(kTableMainPriority, from, kMainTable, DefaultRoutes::DO_NOT_COUNT),
                OurRule(kTablePriority, from, number)};
    }
    std::vector<Rule> rules = {MainNetworksOfAll(from.Family()),
                               OurRule(kLastPriority, from, number)};
    if (!use.IsStatic()) {
        rules.insert(rules.begin(),
                     OurRule(kLastPriority, from, number, DefaultRoutes::DO_NOT_COUNT));
    }
    return rules;
}

}  // namespace

std::optional<Route> ToRoute(const PolicyTableRoute& route, std::uint32_t table, Links& links,
                             Neighbourhood& neighbourhood) {
    const LinkState link = route.ifname.empty()
                               ? LinkState{neighbourhood.InterfaceOf(route.gateway), true}
                               : links.Find(route.ifname);
    return link.isUp ? std::optional(
               OurRoute(table, route.destination, route.metric, route.gateway, link.index))
                     : std::nullopt;
}

RoutingState PlanTable(const TableUse& use, const std::vector<PolicyTableRoute>& routes,
                       Links& links, Neighbourhood& neighbourhood) {
    RoutingState wanted;
    bool hasRules = !use.IsStatic() && use.number && !routes.empty();
    for (const PolicyTableRoute& route : routes) {
        const bool needsNumber = use.NeedsNumber(route);
        if (needsNumber && !use.number) {
            continue;
        }
        const auto installed =
            ToRoute(route, needsNumber ? *use.number : kMainTable, links, neighbourhood);
        if (installed) {
            wanted.routes.push_back(*installed);
            hasRules = hasRules || needsNumber;
        }
    }
    if (hasRules) {
        wanted.rules = Rules(use);
    }
    return wanted;
}

}  // namespace vexonetwork::network
