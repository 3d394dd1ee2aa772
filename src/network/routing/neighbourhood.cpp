#include "network/routing/neighbourhood.h"

#include <algorithm>
#include <tuple>

namespace vexonetwork::network {
namespace {

/// As the kernel judges gateways: by scope in IPv4, while IPv6 knows none.
bool IsOnLink(const Route& route) {
    const bool isNear = route.Family() == AF_INET ? route.scope >= RT_SCOPE_LINK : !route.gateway;
    return route.type == RTN_UNICAST && isNear && route.oif != 0 && route.destination.Length() > 0;
}

auto Merit(const Route& route) {
    const bool isDown = (route.flags & (RTNH_F_LINKDOWN | RTNH_F_DEAD)) != 0;
    return std::tuple(-int(route.destination.Length()), isDown, route.metric);
}

}  // namespace

unsigned Neighbourhood::InterfaceOf(const Address& gateway) {
    const std::vector<Route>& all = Networks(gateway.family);
    const auto found = std::ranges::find_if(
        all, [&gateway](const Route& route) { return route.destination.Contains(gateway); });
    return found == all.end() ? 0 : found->oif;
}

const std::vector<Route>& Neighbourhood::Networks(int family) {
    const auto [known, isNew] = networks.try_emplace(family);
    if (isNew) {
        known->second = socket.Routes(family, kMainTable).value_or(std::vector<Route>());
        std::erase_if(known->second, [](const Route& route) { return !IsOnLink(route); });
        std::ranges::stable_sort(known->second, {}, Merit);
    }
    return known->second;
}

}  // namespace vexonetwork::network
