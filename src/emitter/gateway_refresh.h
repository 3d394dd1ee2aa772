#pragma once

#include <string>
#include <vector>

namespace vexonetwork {

/// Which gateway lists: "GTYPE_V4", "GTYPE_V6", or "ALL" for either.
using GatewayType = const char*;

/// Asks the route module whether a list has an entry of the interface.
bool IsGatewayInterface(GatewayType type, const std::string& ifname);

/// Tells the route module that the interface has a link, for which its entry may have waited.
void RestoreGateway(const std::string& ifname);

/// Has the route module elect the default gateway anew.
void RefreshGateway(GatewayType type);

/// Tells the route module that links or addresses of these interfaces have changed, or of any when
/// none is named: static routes and policy routing follow.
void FollowNetwork(const std::vector<std::string>& ifnames);

}  // namespace vexonetwork
