#include "vexonetwork/network/policy_route.h"

#include <string.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <set>
#include <utility>

#include <vexobase/log.h>

#include "network/routing/locks.h"
#include "network/routing/policy_table.h"
#include "network/routing/priorities.h"
#include "network/routing/table_number.h"
#include "network/routing/table_plan.h"

namespace vexonetwork::network {
namespace {

bool IsTableRule(const Rule& rule) {
    return rule.protocol == kOurProtocol && rule.priority >= kTableNetworksPriority
           && rule.priority <= kLastPriority;
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
Scope ScopeOf(const TableUse& use, const std::vector<Rule>& rules) {
    std::vector<std::uint32_t> tables;
    for (const Rule& rule : rules) {
        if (IsTableRule(rule) && rule.table != kMainTable && !IsTableInUse(rule.table)) {
            tables.push_back(rule.table);
        }
    }
    if (use.number) {
        tables.push_back(*use.number);
    }
    return {FamilyOf(use.type), tables, kTableNetworksPriority,
            kLastPriority,      tables, use.name == kStaticTable};
}

std::optional<Prefix> ParseSource(IPType type, const std::string& source) {
    const int family = FamilyOf(type);
    return source == "all" ? Prefix::All(family) : ParsePrefix(family, source, HostBits::kMasked);
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

/// Brings one table in step with the routes of its file.
/// @param alone  its rules for other sources go
bool Synchronise(const TableUse& use, const std::vector<PolicyTableRoute>& routes, bool alone,
                 const std::function<bool()>& isCurrent, Complaints& complaints) {
    RouteSocket socket;
    const auto rules = socket.Rules(FamilyOf(use.type));
    if (!rules) {
        complaints.Say(std::string("Failed to read rules: ") + ::strerror(errno));
        return false;
    }
    const Scope scope = ScopeOf(use, *rules);
    Links links;
    Neighbourhood neighbourhood(socket);
    RoutingState wanted = PlanTable(use, routes, links, neighbourhood);
    KeepRules(*rules, scope, use.number, alone, wanted.rules);
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
        bool isBehind = false;  ///< see PolicyRoute::IsBehind()

        bool Read(IPType type, const std::string& name);
        bool Install(TableUse use, bool alone, const std::function<bool()>& isCurrent);
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

/// Without a number stale rules can remain, and the static routes of the main table. While it is
/// pending, the table's own rules cannot be told from stale ones: nothing is taken away.
bool PolicyRoute::Memory::Family::Install(TableUse use, bool alone,
                                          const std::function<bool()>& isCurrent) {
    if (contents.routes.empty() && !alone) {
        return true;
    }
    const bool needsNumber = std::ranges::any_of(
        contents.routes, [&use](const auto& route) { return use.NeedsNumber(route); });
    const auto allotted =
        needsNumber ? AllotTableNumber(use.name) : AllottedNumber{FindTableNumber(use.name)};
    if (!allotted.fault.empty()) {
        complaints.Say(allotted.fault);
    }
    use.number = allotted.number;
    isBehind = allotted.isPending;
    const auto mayRemove = [&] { return !isBehind && isCurrent(); };
    const bool hasNumber = use.number || !needsNumber;
    if (!hasNumber && !use.IsStatic()) {
        return false;
    }
    return Synchronise(use, contents.routes, alone, mayRemove, complaints) && hasNumber;
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
    const TableUse use{type, table, Prefix::All(FamilyOf(type)), FindTableNumber(table)};
    return Synchronise(use, {}, true, always, memory->Of(type).complaints) ? 0 : -1;
}

bool PolicyRoute::IsBehind() const {
    return memory->v4.isBehind || memory->v6.isBehind;
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
        mine.isBehind = !mine.Read(type, table);
        if (mine.isBehind) {
            return -1;
        }
        const bool done = mine.Install({type, table, *prefix}, alone, isCurrent);
        if (isCurrent() || attempt == kMaxAttempts) {
            return done && !mine.contents.malformed ? 0 : -1;
        }
    }
}

}  // namespace vexonetwork::network
