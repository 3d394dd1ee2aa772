#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "network/routing/complaints.h"
#include "network/routing/kernel_route.h"
#include "network/routing/route_socket.h"

namespace vexonetwork::network {

/// Routes and rules of one family: as they should be, or as the kernel has them.
struct RoutingState {
    std::vector<Route> routes;
    std::vector<Rule> rules;  ///< those of one priority and source in the order of their looking up
};

/// Whether the kernel's route does what is wanted, which may leave the interface to the kernel.
bool Serves(const Route& present, const Route& wanted);

/// What is to be done, in its order: nothing is taken away before its successor stands.
struct Steps {
    std::vector<Change> additions;  ///< connected networks, ways through gateways, rules
    std::vector<Change> removals;   ///< rules, then routes
};

/// What turns `present` into `wanted`. Only what carries our protocol number is replaced or
/// removed; a wanted route in the place of a foreign one is added and the kernel will refuse it.
Steps Compare(const RoutingState& wanted, const RoutingState& present);

/// Which of our routes and rules are looked after together: besides these tables those that the
/// rules by source lead to.
struct Scope {
    int family;
    std::vector<std::uint32_t> tables;
    std::uint32_t firstPriority;
    std::uint32_t lastPriority;
    std::vector<std::uint32_t> ruledTables = {};  ///< only rules for these and main; any if empty
    bool hasMainRoutes = false;                   ///< ours of the main table belong to it

    bool Holds(const Rule& rule) const;
};

/// Reads what the kernel has in a scope, foreign routes of the tables included.
std::optional<RoutingState> ReadState(RouteSocket& socket, const Scope& scope);

/// Brings the kernel in step. Failures are complained of. Take the KernelTurn before
/// reading what decides `wanted`.
/// @param isCurrent  asked before anything is taken away: false when what is wanted has changed
///                   meanwhile, so that what looks surplus may be new; nothing is removed then
/// @return whether everything was done
bool BringInStep(RouteSocket& socket, const Scope& scope, const RoutingState& wanted,
                 const std::function<bool()>& isCurrent, Complaints& complaints);

}  // namespace vexonetwork::network
