#include "vexo/lan_route.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <vexobase/log.h>
#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

#include "vlib/error.h"

namespace vexoplatform {

namespace {

using Prefixes = std::vector<VEXOLANPREFIX>;
using vexonetlink::Route;

/// Ours among the numbers of routing protocols; those of the kernel and of known programs differ.
constexpr std::uint8_t kLan = 0x77;
constexpr std::uint32_t kLastPriority = std::numeric_limits<std::int32_t>::max();

Route RouteOf(const VEXOLANPREFIX& prefix) {
    return {.table = RT_TABLE_MAIN,
            .destination = {vexonetlink::FromInet(prefix.network),
                            static_cast<std::uint8_t>(prefix.length)},
            .metric = kLastPriority,
            .protocol = kLan,
            .type = RTN_UNREACHABLE};
}

std::optional<Prefixes> ListRoutes() {
    const vexonetlink::RouteFilter filter{
        .family = AF_INET6, .table = RT_TABLE_MAIN, .protocol = kLan, .type = RTN_UNREACHABLE};
    const auto routes = vexonetlink::AskOnce(
        [&filter](vexonetlink::Socket& socket) { return vexonetlink::ListRoutes(socket, filter); });
    if (!routes) {
        return std::nullopt;
    }
    Prefixes prefixes;
    for (const Route& route : *routes) {
        prefixes.push_back({ToInet6(route.destination.address), route.destination.length});
    }
    return prefixes;
}

int ChangeRoute(std::uint16_t type, int flags, const VEXOLANPREFIX& prefix) {
    return ChangeOnce(RouteRequest(type, flags, RouteOf(prefix)));
}

bool Contains(const Prefixes& all, const VEXOLANPREFIX& wanted) {
    return std::ranges::any_of(all, [&](const VEXOLANPREFIX& each) {
        return each.length == wanted.length && IN6_ARE_ADDR_EQUAL(&each.network, &wanted.network);
    });
}

int Refused(const char* what, const VEXOLANPREFIX& prefix) {
    const std::string why = std::strerror(errno);
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET6, &prefix.network, text.data(), text.size());
    VEXO_LOG(LOG_ERR, "Failed to %s the unreachable route of %s/%d: %s", what, text.data(),
             prefix.length, why.c_str());
    VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
    return -1;
}

int SetRoutes(const Prefixes& present, const Prefixes& wanted) {
    int result = 0;
    for (const VEXOLANPREFIX& each : present) {
        if (!Contains(wanted, each) && ChangeRoute(RTM_DELROUTE, 0, each) != 0 && errno != ESRCH) {
            result = Refused("remove", each);
        }
    }
    for (const VEXOLANPREFIX& each : wanted) {
        if (!Contains(present, each)
            && ChangeRoute(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE, each) != 0) {
            result = Refused("put", each);
        }
    }
    return result;
}

}  // namespace

}  // namespace vexoplatform

int VEXONetLanRouteSet(const VEXOLANPREFIX* prefixes, int count) {
    using namespace vexoplatform;
    if (count < 0 || (count > 0 && prefixes == nullptr)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const auto present = ListRoutes();
    if (!present) {
        VEXO_LOG(LOG_ERR, "Failed to read the IPv6 routes: %s", std::strerror(errno));
        VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
        return -1;
    }
    return SetRoutes(*present, Prefixes(prefixes, prefixes + count));
}
