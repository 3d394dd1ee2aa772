#pragma once

#include <optional>
#include <string>
#include <vector>

#include <vexonetlink/route.h>
#include <vexonetlink/socket.h>

namespace vexonetwork::network::module {

/// One default route of the main table, with all that it takes to put it back as it was.
using DefaultRoute = vexonetlink::Route;
using DefaultRoutes = std::vector<DefaultRoute>;

/// The name of a route's interface, "" where it is gone, and the gateway: those of the first hop
/// where there are several.
std::string InterfaceOf(const DefaultRoute& route);
vexonetlink::IpAddress GatewayOf(const DefaultRoute& route);

/// Whether a route is among others. A lifetime that runs down makes no other route.
bool Holds(const DefaultRoutes& routes, const DefaultRoute& route);

/// The default routes that the kernel's main table has of one family, be they ours or not
/// (rtnetlink(7)). Policy tables are no concern of elections.
class MainDefaults {
  public:
    /// @param family  AF_INET or AF_INET6
    explicit MainDefaults(int family);

    /// All in the kernel's order, also those that refuse packets, as deleting by the command finds
    /// them too; nothing, with errno, when it does not tell.
    std::optional<DefaultRoutes> List();

    /// @return whether the route is gone; errno otherwise
    bool Remove(const DefaultRoute& route);

    /// Puts a route back behind those of its metric.
    /// @return whether it is there; errno otherwise
    bool PutBack(const DefaultRoute& route);

  private:
    bool Change(vexonetlink::Request request);

    int family;
    std::optional<vexonetlink::Socket> socket;
};

}  // namespace vexonetwork::network::module
