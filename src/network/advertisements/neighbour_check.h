#pragma once

#include <optional>
#include <string>

namespace vexonetwork::network::module {

/// Asks by ndisc6(8) whether a router answers neighbour discovery, for at most five seconds.
/// @param stop  a descriptor that ends the asking when it becomes readable; -1 for none
/// @return nothing when `stop` has ended it; false also when the program cannot be started
std::optional<bool> AnswersNeighbourDiscovery(const std::string& gateway, const std::string& ifname,
                                              int stop);

}  // namespace vexonetwork::network::module
