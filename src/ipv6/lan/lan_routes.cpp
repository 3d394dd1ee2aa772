#include "ipv6/lan/lan_routes.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string>

#include <vexobase/log.h>
#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

namespace vexo::network::ipv6::router {

namespace {

using vexonetlink::IpPrefix;
using vexonetlink::Route;

/// Ours among the numbers of routing protocols; those of the kernel and of known programs differ.
constexpr std::uint8_t kLan = 0x77;
constexpr std::uint32_t kLastPriority = std::numeric_limits<std::int32_t>::max();

Route RouteOf(const IpPrefix& prefix) {
    return {.table = RT_TABLE_MAIN,
            .destination = prefix,
            .metric = kLastPriority,
            .protocol = kLan,
            .type = RTN_UNREACHABLE};
}

std::optional<std::vector<Route>> OurRoutes() {
    const vexonetlink::RouteFilter filter{
        .family = AF_INET6, .table = RT_TABLE_MAIN, .protocol = kLan, .type = RTN_UNREACHABLE};
    return vexonetlink::AskOnce(
        [&filter](vexonetlink::Socket& socket) { return ListRoutes(socket, filter); });
}

int Refused(const char* what, const IpPrefix& prefix) {
    const std::string why = std::strerror(errno);
    VEXO_LOG(LOG_ERR, "Failed to %s the unreachable route of %s: %s", what, ToText(prefix).c_str(),
             why.c_str());
    return -1;
}

int Remove(const IpPrefix& prefix) {
    const bool gone =
        ChangeOnce(RouteRequest(RTM_DELROUTE, 0, RouteOf(prefix))) == 0 || errno == ESRCH;
    return gone ? 0 : Refused("remove", prefix);
}

int Put(const IpPrefix& prefix) {
    constexpr int kFlags = NLM_F_CREATE | NLM_F_REPLACE;
    return ChangeOnce(RouteRequest(RTM_NEWROUTE, kFlags, RouteOf(prefix))) == 0
               ? 0
               : Refused("put", prefix);
}

}  // namespace

int PutLanRoutes(const std::vector<IpPrefix>& prefixes) {
    const auto present = OurRoutes();
    if (!present) {
        VEXO_LOG(LOG_ERR, "Failed to read the IPv6 routes: %s", std::strerror(errno));
        return -1;
    }
    int result = 0;
    for (const Route& each : *present) {
        if (std::ranges::find(prefixes, each.destination) == prefixes.end()) {
            result |= Remove(each.destination);
        }
    }
    for (const IpPrefix& each : prefixes) {
        if (std::ranges::find(*present, each, &Route::destination) == present->end()) {
            result |= Put(each);
        }
    }
    return result;
}

}  // namespace vexo::network::ipv6::router
