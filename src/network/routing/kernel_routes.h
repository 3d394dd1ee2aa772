#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include <vexonetwork/network/static_routes.h>

#include "network/routing/links.h"
#include "network/routing/neighbourhood.h"
#include "network/routing/policy_table.h"

namespace vexonetwork::network {

/// Where a static route stands in the kernel: no other of its table may have the same.
using Place = std::pair<Prefix, std::uint32_t>;

inline Place PlaceOf(const PolicyTableRoute& route) {
    return {route.destination, route.metric};
}

/// Has the kernel judge a static route, by installing it. One whose interface is not there or down
/// is taken for good: it will be tried when that comes.
/// @return "", or why it is refused
std::string TryRoute(const PolicyTableRoute& route);

/// The static routes that the kernel has at the first look.
class KernelRoutes {
  public:
    KernelRoutes();

    /// What has become of a route of the file, and why it is not installed.
    std::pair<StaticRouteStatus::State, std::string> StateOf(const PolicyTableRoute& route);

  private:
    RouteSocket socket;
    Links links;
    Neighbourhood neighbourhood;
    std::map<Place, Route> installed;
};

}  // namespace vexonetwork::network
