#include "vexonetlink/snapshot.h"

#include <linux/if.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include <vexonetlink/exchange.h>

namespace vexonetlink {
namespace {

template <typename Values>
std::optional<Values> NoneFor(bool isNone, std::optional<Values> values) {
    return !values && isNone ? std::optional<Values>(std::in_place) : std::move(values);
}

bool IsUnknown(int error) {
    return error == ENOENT || error == EAFNOSUPPORT;
}

/// First what costs nothing: there may be thousands of other routes.
bool MayHold(const RouteFilter& filter, const Message& message) {
    const auto header = FixedHeader<rtmsg>(message);
    return header && (!filter.defaultOnly || header->rtm_dst_len == 0);
}

}  // namespace

std::optional<std::vector<Link>> ListLinks(Socket& socket) {
    Request request = LinksRequest();
    return DumpValues<Link>(socket, request, ReadLink);
}

std::optional<Link> FindLink(Socket& socket, const std::string& ifname) {
    if (ifname.empty() || ifname.size() >= IFNAMSIZ) {
        errno = ENODEV;
        return std::nullopt;
    }
    Request request = LinkRequest(ifname);
    std::optional<Link> found;
    const KernelError error = Exchange(socket, request, [&](const Message& message) {
        auto link = ReadLink(message);
        if (link && link->ifname == ifname) {
            found = std::move(link);
        }
    });
    errno = error ? error.number : ENODEV;
    return error ? std::nullopt : found;
}

std::optional<Neighbour> FindNeighbour(Socket& socket, unsigned index, const IpAddress& address) {
    Request request = NeighbourRequest(index, address);
    std::optional<Neighbour> found;
    const KernelError error = Exchange(socket, request, [&](const Message& message) {
        auto neighbour = ReadNeighbour(message);
        if (neighbour && neighbour->index == index && neighbour->address == address) {
            found = std::move(neighbour);
        }
    });
    errno = error ? error.number : ENOENT;
    return error ? std::nullopt : found;
}

std::optional<std::vector<InterfaceAddress>> ListAddresses(Socket& socket, int family,
                                                           unsigned index) {
    Request request = AddressesRequest(family, index);
    auto addresses =
        DumpValues<InterfaceAddress>(socket, request, [family, index](const Message& message) {
            auto address = ReadAddress(message);
            const bool isAsked = address && (family == AF_UNSPEC || address->family == family)
                                 && (index == 0 || address->index == index);
            return isAsked ? std::move(address) : std::nullopt;
        });
    return NoneFor(!addresses && index != 0 && errno == ENODEV, std::move(addresses));
}

std::optional<std::vector<Route>> ListRoutes(Socket& socket, const RouteFilter& filter) {
    Request request = RoutesRequest(filter);
    auto routes = DumpValues<Route>(socket, request, [&filter](const Message& message) {
        auto route = MayHold(filter, message) ? ReadRoute(message) : std::nullopt;
        return route && filter.Holds(*route) ? std::move(route) : std::nullopt;
    });
    return NoneFor(!routes && IsUnknown(errno), std::move(routes));
}

std::optional<std::vector<Rule>> ListRules(Socket& socket, int family) {
    Request request = RulesRequest(family);
    auto rules = DumpValues<Rule>(socket, request, [family](const Message& message) {
        auto rule = ReadRule(message);
        return rule && rule->Family() == family ? std::move(rule) : std::nullopt;
    });
    return NoneFor(!rules && IsUnknown(errno), std::move(rules));
}

std::optional<Snapshot> TakeSnapshot() {
    auto socket = Socket::Open();
    if (!socket) {
        return std::nullopt;
    }
    auto links = ListLinks(*socket);
    if (!links) {
        return std::nullopt;
    }
    auto addresses = ListAddresses(*socket);
    if (!addresses) {
        return std::nullopt;
    }
    return Snapshot{std::move(*links), std::move(*addresses)};
}

}  // namespace vexonetlink
