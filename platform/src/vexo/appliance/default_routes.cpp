#include "vexo/appliance/default_routes.h"

#include <linux/rtnetlink.h>

#include <cerrno>

#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

namespace vexoplatform {

namespace {

constexpr vexonetlink::RouteFilter kDefaults{
    .family = AF_INET, .table = RT_TABLE_MAIN, .type = RTN_UNICAST, .defaultOnly = true};

/// A link that goes down meanwhile makes no other route of it.
void DropStates(DefaultRoute& route) {
    route.flags &= RTNH_F_ONLINK;
    for (vexonetlink::NextHop& hop : route.hops) {
        hop.flags &= RTNH_F_ONLINK;
    }
}

}  // namespace

std::optional<in_addr> GatewayOf(const DefaultRoute& route) {
    const auto& gateway = route.hops.empty() ? route.gateway : route.hops.front().gateway;
    return gateway.family == AF_INET ? std::optional(ToInet4(gateway)) : std::nullopt;
}

std::optional<std::vector<DefaultRoute>> ListDefaultRoutes() {
    auto routes = vexonetlink::AskOnce(
        [](vexonetlink::Socket& socket) { return vexonetlink::ListRoutes(socket, kDefaults); });
    if (routes) {
        for (DefaultRoute& route : *routes) {
            DropStates(route);
        }
    }
    return routes;
}

int RemoveDefaultRoute(const DefaultRoute& route) {
    return ChangeOnce(RouteRequest(RTM_DELROUTE, 0, route)) == 0 || errno == ESRCH ? 0 : -1;
}

int PutBackDefaultRoute(const DefaultRoute& route) {
    return ChangeOnce(RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_APPEND, route)) == 0
                   || errno == EEXIST
               ? 0
               : -1;
}

int PutDefaultRoute(in_addr gateway) {
    const DefaultRoute route{.table = RT_TABLE_MAIN,
                             .destination = {{AF_INET, {}}, 0},
                             .gateway = vexonetlink::FromInet(gateway),
                             .protocol = RTPROT_STATIC};
    return ChangeOnce(RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE, route)) == 0
                   || errno == EEXIST
               ? 0
               : -1;
}

}  // namespace vexoplatform
