#include "network/routing/table_sync.h"

#include <net/if.h>
#include <string.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <tuple>

namespace vexonetwork::network {
namespace {

/// Where a route stands: the kernel has one route of ours for each.
using Place = std::tuple<std::uint32_t, Prefix, std::uint32_t>;

Place PlaceOf(const Route& route) {
    return {route.table, route.destination, route.metric};
}

bool IsOurs(const Route& route) {
    return route.protocol == kOurProtocol;
}

void CompareRoutes(const RoutingState& wanted, const RoutingState& present, Steps& steps) {
    std::map<Place, Route> surplus;
    for (const Route& route : present.routes) {
        if (IsOurs(route)) {
            surplus.emplace(PlaceOf(route), route);
        }
    }
    for (const Route& route : wanted.routes) {
        const auto found = surplus.find(PlaceOf(route));
        if (found == surplus.end()) {
            steps.additions.push_back({Action::ADD, route});
            continue;
        }
        if (!Serves(found->second, route)) {
            steps.additions.push_back({Action::REPLACE, route});
        }
        surplus.erase(found);
    }
    // A gateway must be a neighbour before a way leads through it.
    std::stable_partition(steps.additions.begin(), steps.additions.end(), [](const Change& change) {
        return !std::get<Route>(change.object).gateway;
    });
    for (const auto& [place, route] : surplus) {
        steps.removals.push_back({Action::REMOVE, route});
    }
}

/// Rules whose order among each other counts.
using RuleGroup = std::pair<std::uint32_t, Prefix>;

RuleGroup GroupOf(const Rule& rule) {
    return {rule.priority, rule.source};
}

/// Added from the front and removed from the back: packets are sent to a table only where the rules
/// before have kept what stays inside. The kernel adds behind those of the same priority, and of
/// equal rules removes the first one, so the last one counts.
void CompareRules(const RoutingState& wanted, const RoutingState& present, Steps& steps) {
    constexpr std::size_t kAtEnd = std::numeric_limits<std::size_t>::max();
    std::map<Rule, std::vector<std::size_t>> surplus;
    for (std::size_t place = 0; place < present.rules.size(); ++place) {
        surplus[present.rules[place]].push_back(place);
    }
    std::vector<Rule> rules = wanted.rules;
    std::ranges::stable_sort(rules, {}, GroupOf);
    std::map<RuleGroup, std::size_t> reached;
    for (const Rule& rule : rules) {
        std::size_t& last = reached[GroupOf(rule)];
        std::vector<std::size_t>& places = surplus[rule];
        if (places.empty() || places.back() < last) {
            steps.additions.push_back({Action::ADD, rule});
            last = kAtEnd;
        } else {
            last = places.back();
            places.pop_back();
        }
    }
    std::vector<std::size_t> places;
    for (const auto& [rule, its] : surplus) {
        places.insert(places.end(), its.begin(), its.end());
    }
    std::ranges::sort(places, std::greater(), [&present](std::size_t place) {
        return std::pair(GroupOf(present.rules[place]), place);
    });
    for (const std::size_t place : places) {
        steps.removals.push_back({Action::REMOVE, present.rules[place]});
    }
}

std::string Describe(const Change& change) {
    if (const Rule* rule = std::get_if<Rule>(&change.object)) {
        return "rule from [" + (rule->source.Length() == 0 ? "all" : ToRouteText(rule->source))
               + "] to table [" + std::to_string(rule->table) + "]";
    }
    const auto& route = std::get<Route>(change.object);
    char ifname[IF_NAMESIZE] = "";
    return "route [" + ToRouteText(route.destination) + "] via [" + ToText(route.gateway)
           + "] dev ["
           + (route.oif == 0 || ::if_indextoname(route.oif, ifname) == nullptr ? "" : ifname)
           + "] to table [" + std::to_string(route.table) + "]";
}

void Complain(const char* what, const std::vector<Change>& changes,
              const std::vector<Refusal>& refusals, Complaints& complaints) {
    for (const Refusal& refusal : refusals) {
        complaints.Say("Failed to " + std::string(what) + " " + Describe(changes[refusal.change])
                       + ": " + refusal.error.text);
    }
}

/// What is gone already needed no removal: interfaces take their routes along.
bool IsGone(const Refusal& refusal) {
    const int error = refusal.error.number;
    return error == ESRCH || error == ENOENT || error == ENODEV;
}

/// Its place has another route.
bool IsTaken(const Refusal& refusal) {
    return refusal.error.number == EEXIST;
}

void TellForeign(const RoutingState& present, Complaints& complaints) {
    std::set<std::uint32_t> tables;
    for (const Route& route : present.routes) {
        if (!IsOurs(route)) {
            tables.insert(route.table);
        }
    }
    for (const std::uint32_t table : tables) {
        complaints.Say("Routes of others in table [" + std::to_string(table)
                       + "] stay there; is its number used twice?");
    }
}

}  // namespace

bool Serves(const Route& present, const Route& wanted) {
    return present.type == wanted.type && present.gateway == wanted.gateway
           && (wanted.oif == 0 || present.oif == wanted.oif);
}

bool Scope::Holds(const Rule& rule) const {
    return rule.protocol == kOurProtocol && rule.priority >= firstPriority
           && rule.priority <= lastPriority
           && (ruledTables.empty() || rule.table == kMainTable
               || std::ranges::find(ruledTables, rule.table) != ruledTables.end());
}

Steps Compare(const RoutingState& wanted, const RoutingState& present) {
    Steps steps;
    CompareRoutes(wanted, present, steps);
    Steps rules;
    CompareRules(wanted, present, rules);
    steps.additions.insert(steps.additions.end(), rules.additions.begin(), rules.additions.end());
    steps.removals.insert(steps.removals.begin(), rules.removals.begin(), rules.removals.end());
    return steps;
}

std::optional<RoutingState> ReadState(RouteSocket& socket, const Scope& scope) {
    RoutingState state;
    auto rules = socket.Rules(scope.family);
    if (!rules) {
        return std::nullopt;
    }
    std::ranges::copy_if(*rules, std::back_inserter(state.rules),
                         [&](const Rule& rule) { return scope.Holds(rule); });
    std::set<std::uint32_t> tables(scope.tables.begin(), scope.tables.end());
    for (const Rule& rule : state.rules) {
        if (rule.action == FR_ACT_TO_TBL && rule.suppressedLength < 0) {
            tables.insert(rule.table);
        }
    }
    if (scope.hasMainRoutes) {
        tables.insert(kMainTable);
    }
    for (const std::uint32_t table : tables) {
        // Of the main table only ours: it may have those of the whole Internet.
        auto routes = socket.Routes(scope.family, table, table == kMainTable ? kOurProtocol : 0);
        if (!routes) {
            return std::nullopt;
        }
        std::ranges::move(*routes, std::back_inserter(state.routes));
    }
    return state;
}

bool BringInStep(RouteSocket& socket, const Scope& scope, const RoutingState& wanted,
                 const std::function<bool()>& isCurrent, Complaints& complaints) {
    for (bool again = false;; again = true) {
        const auto present = ReadState(socket, scope);
        if (!present) {
            complaints.Say(std::string("Failed to read routes and rules: ") + ::strerror(errno));
            return false;
        }
        TellForeign(*present, complaints);
        const Steps steps = Compare(wanted, *present);
        const auto refusals = socket.Apply(steps.additions);
        // What a command that only tries a route has added meanwhile is found at the second look.
        if (!again && std::ranges::any_of(refusals, IsTaken)) {
            continue;
        }
        Complain("add", steps.additions, refusals, complaints);
        if (!isCurrent()) {
            return false;
        }
        auto failures = socket.Apply(steps.removals);
        std::erase_if(failures, IsGone);
        Complain("remove", steps.removals, failures, complaints);
        return refusals.empty() && failures.empty();
    }
}

}  // namespace vexonetwork::network
