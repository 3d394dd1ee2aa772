#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vexonetwork::network {

/// Asks devices for their NetBIOS names (RFC 1002 section 4.2.17) with nmblookup(1), up to 100 at
/// once: most that have none do not answer at all. Each is given 5 s; after 15 s no further one is
/// asked, as whoever waits for the whole list would give up.
/// @param addresses  IPv4; what is no address is not asked
/// @return a name for each address, in their order; "" where none was told, nothing where the
///         asking was given up
std::vector<std::optional<std::string>> LookUpNetbiosNames(
    const std::vector<std::string>& addresses);

}  // namespace vexonetwork::network
