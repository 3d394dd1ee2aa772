#pragma once

#include <cstdint>
#include <string>

/// Address family of an address event.
enum _tag_IPTYPE : std::int32_t { IPTYPE_V4 = 0, IPTYPE_V6 = 1 };

namespace vexonetwork::hook {

/// Runs "net/ipv4_change" or "net/ipv6_change" and waits for its executables. They find IFNAME,
/// ORIGIN_ADDRESS, NEW_ADDRESS, PREFIX_LENGTH and IS_LINK ("true" or "false") in their environment.
/// @param origin      the former address; for IPv6 "ADDRESS/PREFIX" of each, joined with ","
/// @param newAddress  the same for now; "none" for none in both
/// @return 0; -1 when the interface is gone or a hook failed
int NetIPChangeEvent(_tag_IPTYPE type, const std::string& ifname, const std::string& origin,
                     const std::string& newAddress, int prefixLength);

}  // namespace vexonetwork::hook
