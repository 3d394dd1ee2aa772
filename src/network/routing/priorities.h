#pragma once

#include <cstdint>

namespace vexonetwork::network {

// Priorities of our rules, all before the main table's 32766. The kernel goes through them in this
// order and takes the first route that it finds.

// What an uplink's own addresses and prefixes send, and what carries its mark, has these four. All
// name their source or mark: packets of others are nobody's business here, whatever rules they
// have.

/// The uplink's table, but for its default route: its networks, which another uplink may have too.
inline constexpr std::uint32_t kUplinkNetworksPriority = 31010;
/// The main table without its short prefixes: the networks around us. Not for what is marked.
inline constexpr std::uint32_t kMainNetworksPriority = 31020;
/// The uplink's whole table.
inline constexpr std::uint32_t kUplinkPriority = 31100;
/// Unreachable: nothing leaves by another uplink, whose provider would drop such a source.
inline constexpr std::uint32_t kUplinkEndPriority = 31110;

/// Rules of ours between these two that nobody wants are left over, also from versions that had
/// other ones.
inline constexpr std::uint32_t kFirstUplinkPriority = 31000;
inline constexpr std::uint32_t kLastUplinkPriority = 31199;

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
