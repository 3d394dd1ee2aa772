#include "network/gateway/main_defaults.h"

#include <linux/rtnetlink.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>

#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

namespace vexonetwork::network::module {
namespace {

/// A link that goes down meanwhile makes no other route of it.
void DropStates(DefaultRoute& route) {
    route.flags &= RTNH_F_ONLINK;
    for (vexonetlink::NextHop& hop : route.hops) {
        hop.flags &= RTNH_F_ONLINK;
    }
}

}  // namespace

std::string InterfaceOf(const DefaultRoute& route) {
    char ifname[IF_NAMESIZE] = "";
    const unsigned index = route.hops.empty() ? route.oif : route.hops.front().oif;
    return ::if_indextoname(index, ifname) == nullptr ? "" : ifname;
}

vexonetlink::IpAddress GatewayOf(const DefaultRoute& route) {
    return route.hops.empty() ? route.gateway : route.hops.front().gateway;
}

bool Holds(const DefaultRoutes& routes, const DefaultRoute& route) {
    DefaultRoute wanted = route;
    return std::ranges::any_of(routes, [&wanted](const DefaultRoute& each) {
        wanted.lifetime = each.lifetime;
        return each == wanted;
    });
}

MainDefaults::MainDefaults(int routeFamily)
    : family(routeFamily), socket(vexonetlink::Socket::Open()) {}

std::optional<DefaultRoutes> MainDefaults::List() {
    if (!socket) {
        errno = EBADF;
        return std::nullopt;
    }
    auto routes = vexonetlink::ListRoutes(
        *socket, {.family = family, .table = RT_TABLE_MAIN, .defaultOnly = true});
    if (routes) {
        std::erase_if(*routes, [](const DefaultRoute& route) {
            return route.source.Length() != 0 || (route.flags & RTM_F_CLONED) != 0;
        });
        std::ranges::for_each(*routes, DropStates);
    }
    return routes;
}

bool MainDefaults::Change(vexonetlink::Request request) {
    if (!socket) {
        errno = EBADF;
        return false;
    }
    return ToStatus(Exchange(*socket, request)) == 0;
}

bool MainDefaults::Remove(const DefaultRoute& route) {
    return Change(RouteRequest(RTM_DELROUTE, 0, route)) || errno == ESRCH;
}

bool MainDefaults::PutBack(const DefaultRoute& route) {
    return Change(RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_APPEND, route))
           || errno == EEXIST;
}

}  // namespace vexonetwork::network::module
