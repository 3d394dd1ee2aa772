#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include <vexonetwork/network/gateway_info.h>

namespace vexonetwork::network::module {

/// What an election makes of an entry, in the order in which it is asked.
enum class Verdict {
    SLAVE,         ///< must never carry the default route
    NO_LINK,       ///< a wired ethernet interface without link
    NO_GATEWAY,    ///< IPv4 only: IPv6 also has routes that name the interface alone
    NO_INTERFACE,  ///< IPv4 only: the kernel has no such interface
    REFUSED,       ///< the kernel does not take its route
    TAKEN,         ///< the winner
    NOT_TRIED,     ///< stands behind the winner
};

/// What an election has to know of the kernel. Each is asked only when what is cheaper to know has
/// not settled the matter, and nothing is asked about the entries behind the winner.
struct ElectionFacts {
    std::function<bool(const GatewayInfo& entry)> hasLink;
    std::function<bool(const GatewayInfo& entry)> exists;

    /// Whether the kernel takes the entry's route. An election installs it to know.
    std::function<bool(const GatewayInfo& entry)> isTaken;
};

/// Walks a list from the front until an entry is taken. Changes nothing by itself.
/// @return one verdict for each entry
std::vector<Verdict> WalkGateways(GATEWAY_TYPE type, const std::vector<GatewayInfo>& gateways,
                                  const ElectionFacts& facts);

/// @return the index of the entry that was taken
std::optional<std::size_t> WinnerOf(const std::vector<Verdict>& verdicts);

}  // namespace vexonetwork::network::module
