#pragma once

#include <cstdint>

namespace vexonetwork::network {

// Priorities of our rules, all before the main table's 32766. The kernel goes through them in this
// order and takes the first route that it finds.

/// The table of the static routes, but for its default routes.
inline constexpr std::uint32_t kStaticNetworksPriority = 31000;
/// The main table, but for its default routes: the networks around us.
inline constexpr std::uint32_t kMainNetworksPriority = 31001;
/// An uplink's table, for packets from its address.
inline constexpr std::uint32_t kUplinkPriority = 31100;

// Each of PolicyRoute's tables has these three, unless it is for packets from everywhere.

/// The table, but for its default routes.
inline constexpr std::uint32_t kTableNetworksPriority = 31998;
/// The main table, but for its default routes.
inline constexpr std::uint32_t kTableMainPriority = 31999;
/// The whole table.
inline constexpr std::uint32_t kTablePriority = 32000;

/// The rules of a table for packets from everywhere: the last before the main table. The kernel
/// puts a rule without a priority before the second one that is there, and so before these or, with
/// the same priority, ahead of them: nobody's rule is overridden.
inline constexpr std::uint32_t kLastPriority = 32765;

}  // namespace vexonetwork::network
