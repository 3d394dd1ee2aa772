#pragma once

#include <libmnl/libmnl.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include <vexobase/unique_handle.h>

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

/// A change that the kernel did not make.
struct Refusal {
    std::size_t change;  ///< its index
    int error;           ///< errno
    std::string reason;  ///< the kernel's own words, or those of the error
};

/// Reads and changes routes and rules over one socket of rtnetlink(7), many in one go. For one
/// thread.
class RouteSocket {
  public:
    /// Opens the socket; see IsOpen().
    RouteSocket();

    bool IsOpen() const { return static_cast<bool>(socket); }

    // Each reads what the kernel has now: nothing, with errno, when it does not tell.

    /// The unicast routes of one table; none for a table that was never filled.
    std::optional<std::vector<Route>> Routes(int family, std::uint32_t table);

    /// Our routes, those with our protocol number, of all tables.
    std::optional<std::vector<Route>> OurRoutes(int family);

    /// The rules by source alone, in the order in which they are looked at.
    std::optional<std::vector<Rule>> Rules(int family);

    /// The addresses of one interface, of both families.
    std::optional<std::vector<InterfaceAddress>> Addresses(unsigned index);

    /// Makes the changes in their order; one that is refused keeps none of the others.
    std::vector<Refusal> Apply(std::span<const Change> changes);

  private:
    using Visit = std::function<bool(const nlmsghdr&)>;

    template <typename Value, typename Header>
    std::optional<std::vector<Value>> Dump(std::uint16_t type, const Header& header,
                                           std::uint32_t table,
                                           std::optional<Value> (*read)(const nlmsghdr&));
    int DumpOnce(nlmsghdr& request, const Visit& visit);
    int Receive(const Visit& visit);
    int SendChanges(std::span<const Change> changes, std::size_t first,
                    std::vector<Refusal>& refusals);

    static void Close(mnl_socket* handle) { mnl_socket_close(handle); }

    vexobase::UniqueHandle<mnl_socket, Close> socket;
    std::vector<char> buffer;
    std::uint32_t sequence = 0;
};

}  // namespace vexonetwork::network
