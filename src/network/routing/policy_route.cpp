#include "vexonetwork/network/policy_route.h"

#include <string.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <set>
#include <utility>

#include <vexobase/log.h>

#include "network/routing/links.h"
#include "network/routing/locks.h"
#include "network/routing/policy_table.h"
#include "network/routing/priorities.h"
#include "network/routing/table_number.h"
#include "network/routing/table_sync.h"

namespace vexonetwork::network {
namespace {

bool IsTableRule(const Rule& rule) {
    return rule.protocol == kOurProtocol && rule.priority >= kTableNetworksPriority
           && rule.priority <= kTablePriority;
}

/// Whether a number is that of a table with a file, as far as is known; not so when it was given to
/// somebody else.
bool IsTableInUse(std::uint32_t number) {
    return !AreTableNumbersKnown()
           || std::ranges::any_of(TableNames(number), [](const std::string& name) {
                  std::error_code ignored;
                  return std::filesystem::exists(PolicyTableFile(name), ignored);
              });
}

/// The tables that are looked after with one: itself, and those that our rules lead to but that
/// have lost their number or file.
Scope ScopeOf(IPType type, std::optional<std::uint32_t> number, const std::vector<Rule>& rules) {
    std::vector<std::uint32_t> tables;
    for (const Rule& rule : rules) {
        if (IsTableRule(rule) && rule.table != kMainTable && !IsTableInUse(rule.table)) {
            tables.push_back(rule.table);
        }
    }
    if (number) {
        tables.push_back(*number);
    }
    return {FamilyOf(type), tables, kTableNetworksPriority, kTablePriority, tables};
}

std::optional<Prefix> ParseSource(IPType type, const std::string& source) {
    const int family = FamilyOf(type);
    return source == "all" ? Prefix::All(family) : ParsePrefix(family, source, HostBits::kMasked);
}

RoutingState Wanted(const std::vector<PolicyTableRoute>& routes, std::uint32_t number,
                    const Prefix& from) {
    RoutingState wanted;
    wanted.rules = {OurRule(kTableNetworksPriority, from, number, DefaultRoutes::DO_NOT_COUNT),
                    OurRule(kTableMainPriority, from, kMainTable, DefaultRoutes::DO_NOT_COUNT),
                    OurRule(kTablePriority, from, number)};
    Links links;
    for (const PolicyTableRoute& route : routes) {
        const LinkState link = route.ifname.empty() ? LinkState{0, true} : links.Find(route.ifname);
        if (link.isUp) {
            wanted.routes.push_back(
                OurRoute(number, route.destination, route.metric, route.gateway, link.index));
        }
    }
    return wanted;
}

void AddMissing(std::vector<Rule>& rules, const Rule& rule) {
    if (std::ranges::find(rules, rule) == rules.end()) {
        rules.push_back(rule);
    }
}

/// Adds what stays besides: the table's rules of before, unless the new ones are to be alone, and
/// what other tables of a source share with it.
void KeepRules(const std::vector<Rule>& present, const Scope& scope,
               std::optional<std::uint32_t> number, bool alone, std::vector<Rule>& wanted) {
    std::set<Prefix> sources;
    for (const Rule& rule : present) {
        if (!IsTableRule(rule) || rule.table == kMainTable) {
            continue;
        }
        if (!scope.Holds(rule)) {
            sources.insert(rule.source);
        } else if (!alone && rule.table == number) {
            sources.insert(rule.source);
            AddMissing(wanted, rule);
        }
    }
    for (const Rule& rule : present) {
        if (IsTableRule(rule) && rule.table == kMainTable && sources.contains(rule.source)) {
            AddMissing(wanted, rule);
        }
    }
}

/// Brings one table in step. Without a number only stale rules can remain.
bool Synchronise(IPType type, std::optional<std::uint32_t> number, RoutingState wanted, bool alone,
                 const std::function<bool()>& isCurrent, Complaints& complaints) {
    RouteSocket socket;
    const auto rules = socket.Rules(FamilyOf(type));
    if (!rules) {
        complaints.Say(std::string("Failed to read rules: ") + ::strerror(errno));
        return false;
    }
    const Scope scope = ScopeOf(type, number, *rules);
    if (scope.tables.empty()) {
        return true;
    }
    KeepRules(*rules, scope, number, alone, wanted.rules);
    return BringInStep(socket, scope, wanted, isCurrent, complaints);
}

}  // namespace

/// What is remembered of the table that an object last worked on, by family.
struct PolicyRoute::Memory {
    struct Family {
        Complaints complaints;
        std::string table;
        FileStamps read;  ///< the file that the contents are of
        PolicyTable contents;

        bool Read(IPType type, const std::string& name);
        bool Install(IPType type, const Prefix& source, bool alone,
                     const std::function<bool()>& isCurrent);
    };
    Family v4;
    Family v6;

    Family& Of(IPType type) { return type == IPType::V4 ? v4 : v6; }
};

/// Thousands of routes are not read again for each link that has changed.
/// @return false when the file cannot be read, which tells nothing of what should be
bool PolicyRoute::Memory::Family::Read(IPType type, const std::string& name) {
    const FileStamps now({PolicyTableFile(name)});
    if (table == name && now == read) {
        return true;
    }
    auto file = ReadPolicyTable(type, name, complaints);
    if (!file) {
        return false;
    }
    contents = std::move(*file);
    table = name;
    read = now;
    return true;
}

/// A table without routes has no rules either, and needs no number.
bool PolicyRoute::Memory::Family::Install(IPType type, const Prefix& source, bool alone,
                                          const std::function<bool()>& isCurrent) {
    const bool isEmpty = contents.routes.empty();
    if (isEmpty && !alone) {
        return true;
    }
    const auto number = isEmpty ? FindTableNumber(table) : AllotTableNumber(table);
    if (!isEmpty && !number) {
        return false;
    }
    auto wanted = isEmpty ? RoutingState() : Wanted(contents.routes, *number, source);
    return Synchronise(type, number, std::move(wanted), alone, isCurrent, complaints);
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
    const KernelTurn turn;
    const auto always = [] { return true; };
    return Synchronise(type, FindTableNumber(table), {}, true, always, memory->Of(type).complaints)
               ? 0
               : -1;
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
    constexpr int kMaxAttempts = 3;
    Memory::Family& mine = memory->Of(type);
    const auto isCurrent = [&] { return FileStamps({PolicyTableFile(table)}) == mine.read; };
    mine.complaints.Begin();
    for (int attempt = 1;; ++attempt) {
        const KernelTurn turn;
        if (!mine.Read(type, table)) {
            return -1;
        }
        const bool done = mine.Install(type, *prefix, alone, isCurrent);
        if (isCurrent() || attempt == kMaxAttempts) {
            return done && !mine.contents.malformed ? 0 : -1;
        }
    }
}

}  // namespace vexonetwork::network
