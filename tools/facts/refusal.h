#pragma once

#include <string>

#include "facts/family.h"

namespace vexonetctl {

/// Why the kernel would refuse a default route through this gateway and interface: the interface
/// must be up, the IPv4 route needs an address to come from, and a gateway must be a neighbour,
/// which is asked of the kernel's own tables (ip-route(8), "get fibmatch").
/// @param gateway  the daemon's text; "::" is a route that names the interface alone
/// @return "" when nothing speaks against it
std::string WhyRefused(const Family& family, const std::string& ifname, const std::string& gateway);

}  // namespace vexonetctl
