#pragma once

#include <cstdint>

namespace vexonetwork::network {

// Where our rules stand before the kernel's own for the main table, which has 32766. A packet from
// an uplink's address goes by a static route or within the networks around us where there is one;
// then by its uplink. Everything else goes by the static routes, then as the kernel likes; but a
// default route of theirs must not take what has a network around us.

inline constexpr std::uint32_t kStaticNetworksPriority = 31000;  ///< without default routes
inline constexpr std::uint32_t kMainNetworksPriority = 31001;    ///< without default routes
inline constexpr std::uint32_t kUplinkPriority = 31100;          ///< by source

// PolicyRoute's tables, each with all three.
inline constexpr std::uint32_t kTableNetworksPriority = 31998;  ///< without default routes
inline constexpr std::uint32_t kTableMainPriority = 31999;      ///< main, without default routes
inline constexpr std::uint32_t kTablePriority = 32000;

}  // namespace vexonetwork::network
