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

/// What is remembered of the table that an object last worked on, by family.
struct PolicyRoute::Memory {
    struct Family {
        Complaints complaints;
        std::string table;
        FileStamps read;  ///< the file that the contents are of
        PolicyTable contents;

        void Read(IPType type, const std::string& name);
    };
    Family v4;
    Family v6;

    Family& Of(IPType type) { return type == IPType::V4 ? v4 : v6; }
};

/// Thousands of routes are not read again for each link that has changed.
void PolicyRoute::Memory::Family::Read(IPType type, const std::string& name) {
    const FileStamps now({PolicyTableFile(name)});
    if (table != name || now != read) {
        contents = ReadPolicyTable(type, name, complaints);
        table = name;
        read = now;
    }
}

PolicyRoute::PolicyRoute() : memory(std::make_unique<Memory>()) {}
PolicyRoute::~PolicyRoute() = default;
PolicyRoute::PolicyRoute(PolicyRoute&&) noexcept = default;
PolicyRoute& PolicyRoute::operator=(PolicyRoute&&) noexcept = default;

int PolicyRoute::DisableTable(IPType type, const std::string& table) {
    if (!IsTableName(table)) {
        VEXO_LOG(LOG_ERR, "Bad table [%.32s]", table.c_str());
        return -1;
    }
    return Remove(type, table, memory->Of(type).complaints);
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
    Memory::Family& mine = memory->Of(type);
    const auto isCurrent = [&] { return FileStamps({PolicyTableFile(table)}) == mine.read; };
    mine.complaints.Begin();
    for (int attempt = 1;; ++attempt) {
        mine.Read(type, table);
        if (mine.contents.routes.empty()) {
            const bool isClear = !alone || Remove(type, table, mine.complaints) == 0;
            return isClear && !mine.contents.malformed ? 0 : -1;
        }
        const auto number = AllotTableNumber(table);
        if (!number) {
            return -1;
        }
        RouteSocket socket;
        RoutingState wanted = Wanted(mine.contents.routes, *number, *prefix);
        if (!alone) {
            KeepRules(socket, ScopeOf(type, *number), wanted);
        }
        const bool done =
            BringInStep(socket, ScopeOf(type, *number), wanted, isCurrent, mine.complaints);
        if (isCurrent() || attempt == kMostAttempts) {
            return done && !mine.contents.malformed ? 0 : -1;
        }
    }
}

}  // namespace vexonetwork::network
