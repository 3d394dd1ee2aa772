#pragma once

#include <netinet/in.h>

#include <optional>
#include <vector>

#include <vexonetlink/route.h>

namespace vexoplatform {

/// An IPv4 default route of the main table, without the states that only the kernel sets.
using DefaultRoute = vexonetlink::Route;

/// The gateway, that of the first hop where there are several; nothing for a route by a device
/// alone, or by an IPv6 neighbour, which has no text that callers of an IPv4 gateway could use.
std::optional<in_addr> GatewayOf(const DefaultRoute& route);

/// @return the unicast routes in the kernel's order, or nothing with errno
std::optional<std::vector<DefaultRoute>> ListDefaultRoutes();

/// @return 0, also when it is already gone; -1 with errno
int RemoveDefaultRoute(const DefaultRoute& route);

/// Puts a removed route back behind those of the same metric.
/// @return 0, also when it is there; -1 with errno
int PutBackDefaultRoute(const DefaultRoute& route);

/// Puts a route of metric 0 via `gateway` in the place of the one of metric 0, in one step.
/// @return 0, also when there is one like it; -1 with errno and nothing changed
int PutDefaultRoute(in_addr gateway);

}  // namespace vexoplatform
