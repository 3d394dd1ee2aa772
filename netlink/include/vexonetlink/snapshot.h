#pragma once

#include <optional>
#include <string>
#include <vector>

#include <vexonetlink/address.h>
#include <vexonetlink/link.h>
#include <vexonetlink/neighbour.h>
#include <vexonetlink/route.h>
#include <vexonetlink/rule.h>
#include <vexonetlink/socket.h>

/// What the kernel has now, in its order: all that was asked for, or nothing, with errno.
namespace vexonetlink {

std::optional<std::vector<Link>> ListLinks(Socket& socket);

/// The interface of exactly this name; ENODEV when there is none. Alternative names do not count.
std::optional<Link> FindLink(Socket& socket, const std::string& ifname);

/// @param family  AF_UNSPEC for both @param index  0 for all interfaces; none for one that is gone
std::optional<std::vector<InterfaceAddress>> ListAddresses(Socket& socket, int family = 0,
                                                           unsigned index = 0);

/// Who has an address on an interface; ENOENT when the kernel has no entry for it.
std::optional<Neighbour> FindNeighbour(Socket& socket, unsigned index, const IpAddress& address);

/// None for a table that was never filled, and for a family that the kernel lacks.
std::optional<std::vector<Route>> ListRoutes(Socket& socket, const RouteFilter& filter);

/// In the order in which they are looked at; none for a family that the kernel lacks.
std::optional<std::vector<Rule>> ListRules(Socket& socket, int family);

/// The links, and the addresses of both families. Who listens to both before he takes it misses
/// nothing: messages about what is in it already can come later.
struct Snapshot {
    std::vector<Link> links;
    std::vector<InterfaceAddress> addresses;
};

/// Takes one over a socket of its own.
std::optional<Snapshot> TakeSnapshot();

}  // namespace vexonetlink
