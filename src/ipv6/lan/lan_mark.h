#pragma once

#include <string>
#include <vector>

#include "ipv6/lan/announcements.h"

namespace vexo::network::ipv6::router {

/// Marks the LANs that have a prefix, and those no longer that had one: IPV6ROUTER in the ifcfg
/// file. Where the appliance announces, it takes no other's word, nor its own, which comes back to
/// it from the LAN.
/// @param former  what was announced
/// @return 0, or -1 with a log line
int MarkLans(const std::vector<LanPrefix>& grants, const Announcements& former);

}  // namespace vexo::network::ipv6::router
