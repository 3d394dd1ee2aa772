#include "vexonetwork/network/policy_route.h"

#include <vexobase/log.h>

#include "network/policy/links.h"
#include "network/policy/policy_table.h"
#include "network/policy/priorities.h"
#include "network/policy/table_number.h"
#include "network/policy/table_sync.h"

namespace vexonetwork::network {
namespace {

Scope ScopeOf(IPType type, std::uint32_t number) {
    return {FamilyOf(type), {number}, kTablePriority, kTablePriority, number};
}

std::optional<Prefix> ParseSource(IPType type, const std::string& source) {
    const int family = FamilyOf(type);
    return source == "all" ? std::optional(Everything(family)) : ParsePrefix(family, source);
}

RoutingState Wanted(const std::vector<PolicyTableRoute>& routes, std::uint32_t number,
                    const Prefix& source) {
    RoutingState wanted;
    wanted.rules.push_back({kTablePriority, NetworkOf(source), number});
    Links links;
    for (const PolicyTableRoute& route : routes) {
        const Link link = route.ifname.empty() ? Link{0, true} : links.Find(route.ifname);
        if (link.isUp) {
            wanted.routes.push_back(
                {number, route.destination, route.metric, route.gateway, link.index});
        }
    }
    return wanted;
}

/// The table's rules of before stay beside a new one.
void KeepRules(RouteSocket& socket, const Scope& scope, RoutingState& wanted) {
    const auto rules = socket.Rules(scope.family);
    for (const Rule& rule : rules ? *rules : std::vector<Rule>()) {
        if (scope.Holds(rule) && rule.source != wanted.rules.front().source) {
            wanted.rules.push_back(rule);
        }
    }
}

int Remove(IPType type, const std::string& table, Complaints& complaints) {
    const auto number = FindTableNumber(table);
    if (!number) {
        return 0;
    }
    RouteSocket socket;
    const auto always = [] { return true; };
    return BringInStep(socket, ScopeOf(type, *number), {}, always, complaints) ? 0 : -1;
}

}  // namespace

struct PolicyRoute::Told {
    Complaints v4;
    Complaints v6;

    Complaints& Of(IPType type) { return type == IPType::V4 ? v4 : v6; }
};

PolicyRoute::PolicyRoute() : told(std::make_unique<Told>()) {}
PolicyRoute::~PolicyRoute() = default;
PolicyRoute::PolicyRoute(PolicyRoute&&) noexcept = default;
PolicyRoute& PolicyRoute::operator=(PolicyRoute&&) noexcept = default;

int PolicyRoute::DisableTable(IPType type, const std::string& table) {
    if (!IsTableName(table)) {
        VEXO_LOG(LOG_ERR, "Bad table [%.32s]", table.c_str());
        return -1;
    }
    return Remove(type, table, told->Of(type));
}

int PolicyRoute::EnableTable(IPType type, const std::string& table, const std::string& source) {
    return Install(type, table, source, false);
}

int PolicyRoute::RenewTable(IPType type, const std::string& table, const std::string& source) {
    return Install(type, table, source, true);
}

int PolicyRoute::Install(IPType type, const std::string& table, const std::string& source,
                         bool alone) {
    const auto prefix = ParseSource(type, source);
    if (!IsTableName(table) || !prefix) {
        VEXO_LOG(LOG_ERR, "Bad table [%.32s] or source [%.64s]", table.c_str(), source.c_str());
        return -1;
    }
    constexpr int kMostAttempts = 3;
    Complaints& complaints = told->Of(type);
    complaints.Begin();
    for (int attempt = 1;; ++attempt) {
        const FileStamps read({PolicyTableFile(table)});
        const auto isCurrent = [&] { return FileStamps({PolicyTableFile(table)}) == read; };
        const PolicyTable contents = ReadPolicyTable(type, table, complaints);
        if (contents.routes.empty()) {
            const bool isClear = !alone || Remove(type, table, complaints) == 0;
            return isClear && !contents.malformed ? 0 : -1;
        }
        const auto number = AllotTableNumber(table);
        if (!number) {
            return -1;
        }
        RouteSocket socket;
        RoutingState wanted = Wanted(contents.routes, *number, *prefix);
        if (!alone) {
            KeepRules(socket, ScopeOf(type, *number), wanted);
        }
        const bool done =
            BringInStep(socket, ScopeOf(type, *number), wanted, isCurrent, complaints);
        if (isCurrent() || attempt == kMostAttempts) {
            return done && !contents.malformed ? 0 : -1;
        }
    }
}

}  // namespace vexonetwork::network
