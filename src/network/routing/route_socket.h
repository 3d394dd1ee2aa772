#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include <vexonetlink/exchange.h>

#include "network/routing/kernel_route.h"

namespace vexonetwork::network {

enum class Action {
    ADD,      ///< a route is refused with EEXIST when there is one of the same place
    REPLACE,  ///< takes the place of a route of the same destination and metric
    REMOVE
};

struct Change {
    Action action;
    std::variant<Route, Rule> object;
};

using vexonetlink::Refusal;

/// Reads and changes routes and rules over one socket, many in one go. For one thread.
class RouteSocket {
  public:
    /// Opens the socket; see IsOpen().
    RouteSocket() : socket(vexonetlink::Socket::Open()) {}

    bool IsOpen() const { return socket.has_value(); }

    // Each reads what the kernel has now: nothing, with errno, when it does not tell.

    /// The routes of one table, of all types; none for a table that was never filled.
    /// @param protocol  whose alone, or 0
    std::optional<std::vector<Route>> Routes(int family, std::uint32_t table,
                                             std::uint8_t protocol = 0);

    /// The rules, in the order in which they are looked at.
    std::optional<std::vector<Rule>> Rules(int family);

    /// The gateway of the main table's default route by an interface, of the first one in use;
    /// unspecified for one by the device alone, none without such a route.
    std::optional<Address> MainGateway(int family, unsigned oif);

    /// The addresses of one interface, of both families.
    std::optional<std::vector<ConnectedAddress>> Addresses(unsigned index);

    /// Makes the changes in their order; one that is refused keeps none of the others.
    std::vector<Refusal> Apply(std::span<const Change> changes);

  private:
    std::optional<vexonetlink::Socket> socket;
};

}  // namespace vexonetwork::network
