#include "network/routing/uplink_plan.h"

#include <set>

#include "network/routing/priorities.h"

namespace vexonetwork::network {
namespace {

/// The list of IPv6 routes below /proc/net shows all tables and does not tell them apart: with a
/// metric above those of the main table, ours are not taken for the machine's default route there.
constexpr std::uint32_t kDefaultMetricV6 = 1'000'000;

/// A VPN that wants all packets divides the Internet into halves or quarters, 0/1 or 64/2, 2000::/4
/// or fc00::/7: shorter than any network around us, and no way for those who came in by an uplink.
constexpr std::int32_t kLongestOfVpns = 7;

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

/// The rules for packets of a source, or for those with a mark: what these come back to is behind
/// the uplink, so no other network is looked for.
void PlanRules(const Prefix& source, std::uint32_t mark, std::uint32_t table,
               RoutingState& wanted) {
    const auto add = [&](std::uint32_t priority, std::uint32_t target, std::int32_t suppressed) {
        Rule rule = OurRule(priority, source, target);
        rule.suppressedLength = suppressed;
        rule.mark = mark;
        rule.markMask = mark == 0 ? 0 : kMarkMask;
        wanted.rules.push_back(rule);
    };
    add(kUplinkNetworksPriority, table, 0);
    if (mark == 0) {
        add(kMainNetworksPriority, kMainTable, kLongestOfVpns);
    }
    add(kUplinkPriority, table, -1);
    add(kUplinkEndPriority, 0, -1);
    wanted.rules.back().action = FR_ACT_UNREACHABLE;
}

/// Whether two prefixes are the halves of one.
bool AreHalves(const Prefix& lower, const Prefix& upper) {
    const int length = lower.Length();
    return length == upper.Length() && length > 0 && lower != upper
           && Prefix(lower.Network(), length - 1) == Prefix(upper.Network(), length - 1);
}

}  // namespace

bool IsRuled(const ConnectedAddress& address, int family) {
    return address.local.family == family && !IsLinkLocalV6(address.local);
}

std::vector<Prefix> SourcesOf(const Uplink& uplink, int family) {
    std::set<Prefix> all;
    for (const ConnectedAddress& address : uplink.addresses) {
        if (IsRuled(address, family)) {
            all.insert(Prefix::Host(address.local));
        }
    }
    for (const Prefix& prefix : uplink.delegated) {
        if (prefix.Family() == family) {
            all.insert(prefix);
        }
    }
    std::vector<Prefix> sources;
    for (Prefix next : all) {
        if (!sources.empty() && sources.back().Contains(next)) {
            continue;
        }
        while (!sources.empty() && AreHalves(sources.back(), next)) {
            next = Prefix(next.Network(), next.Length() - 1);
            sources.pop_back();
        }
        sources.push_back(next);
    }
    return sources;
}

RoutingState PlanUplinks(int family, const std::vector<Uplink>& uplinks) {
    RoutingState wanted;
    for (const Uplink& uplink : uplinks) {
        const auto sources = SourcesOf(uplink, family);
        if (!uplink.link.isUp || sources.empty()) {
            continue;
        }
        PlanRoutes(family, uplink, wanted);
        for (const Prefix& source : sources) {
            PlanRules(source, 0, uplink.table, wanted);
        }
        if (const std::uint32_t mark = MarkOf(uplink); mark != 0) {
            PlanRules(Prefix::All(family), mark, uplink.table, wanted);
        }
    }
    return wanted;
}

}  // namespace vexonetwork::network
