#pragma once

#include <string>

namespace vexonetwork::hook {

/// Runs "net/ipv6_add" or "net/ipv6_delete" and waits for its executables. They find NEW_ADDRESSES
/// or DELETE_ADDRESSES, IFNAME, ORIGIN_ADDRESSES and IS_LINK ("true" or "false") in their
/// environment. A list is "ADDRESS/PREFIX" of each, joined with ",".
/// @param origin   what the interface had before
/// @param changed  what was added to that, or deleted
/// @param action   "add" or "delete"
/// @return 0; -1 when the interface is gone, a hook failed or the action is neither
int IPv6AddDeleteEvent(const std::string& ifname, const std::string& origin,
                       const std::string& changed, const std::string& action);

}  // namespace vexonetwork::hook
