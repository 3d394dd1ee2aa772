#pragma once

#include <string>

namespace vexobase {

/// Whether the appliance is a router by an interface where the provider's own IPv6 comes in. There
/// it follows the provider's routers, other than where it is one itself: on LANs, and where a
/// tunnel takes the place of the provider's IPv6. The router's file says so.
bool IsNativeUplink(const std::string& ifname);

}  // namespace vexobase
