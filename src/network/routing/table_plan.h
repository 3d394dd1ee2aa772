#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "network/routing/links.h"
#include "network/routing/neighbourhood.h"
#include "network/routing/policy_table.h"
#include "network/routing/table_sync.h"

namespace vexonetwork::network {

/// A table with a file, and whose packets are looked up there.
///
/// That of the static routes, looked up for everybody, is another than the rest: its networks stand
/// in the main table, where the longest prefix decides among them and those of others, and where
/// the rules of others find them. Only its default routes, which would clash there with the elected
/// one, have a table, and only these need rules.
struct TableUse {
    IPType type;
    std::string name;
    Prefix source;
    std::optional<std::uint32_t> number = {};

    bool IsForAll() const { return source.Length() == 0; }
    bool IsStatic() const { return name == kStaticTable && IsForAll(); }

    /// Whether a route of the file stands in the table of this number, rather than in the main one.
    bool NeedsNumber(const PolicyTableRoute& route) const {
        return !IsStatic() || route.destination.Length() == 0;
    }
};

/// A route of a file as the kernel should have it.
/// @param table  where it stands
/// @return nothing while its interface is not there or down. Where it names none it is that of the
///         gateway; the kernel is left to judge when it is not known
std::optional<Route> ToRoute(const PolicyTableRoute& route, std::uint32_t table, Links& links,
                             Neighbourhood& neighbourhood);

/// What the kernel should have for a table with these routes, without those that need a number that
/// it has not.
RoutingState PlanTable(const TableUse& use, const std::vector<PolicyTableRoute>& routes,
                       Links& links, Neighbourhood& neighbourhood);

}  // namespace vexonetwork::network
