#pragma once

#include <map>
#include <vector>

#include "network/routing/route_socket.h"

namespace vexonetwork::network {

/// Where the gateways are of routes that name no interface: on the networks that the main table
/// reaches by a device alone. Looks at it with the first question.
class Neighbourhood {
  public:
    explicit Neighbourhood(RouteSocket& kernel) : socket(kernel) {}

    /// The index of the interface that an address is behind: of the longest prefix, one with a link
    /// rather than one without, then of the lowest metric. 0 when there is none, or nobody knows.
    unsigned InterfaceOf(const Address& gateway);

  private:
    const std::vector<Route>& Networks(int family);

    RouteSocket& socket;
    std::map<int, std::vector<Route>> networks;  ///< by family, the best first
};

}  // namespace vexonetwork::network
