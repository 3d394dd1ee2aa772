#include "vexo/default_gateway.h"

#include <arpa/inet.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "vexo/default_routes.h"
#include "vexobase/log.h"
#include "vlib/error.h"
#include "vlib/file.h"

namespace {

using vexoplatform::DefaultRoute;

constexpr char kConfigFolder[] = "/etc/sysconfig";
constexpr char kConfig[] = "/etc/sysconfig/network";
constexpr char kKey[] = "GATEWAY";

int CopyText(const char* text, char* buffer, int size) {
    const auto length = std::strlen(text);
    if (buffer == nullptr || size <= 0 || length >= static_cast<std::size_t>(size)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    std::memcpy(buffer, text, length + 1);
    return 0;
}

/// @return 0, also for null and "", which leave `address` at zero; -1 for what no gateway can be
int ParseGateway(const char* gateway, in_addr& address) {
    if (gateway == nullptr || *gateway == '\0') {
        return 0;
    }
    if (::inet_pton(AF_INET, gateway, &address) == 1 && address.s_addr != INADDR_ANY) {
        return 0;
    }
    VEXO_LOG(LOG_ERR, "[%s] is no address of a default gateway", gateway);
    VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
    return -1;
}

int KernelRefused(const char* what) {
    VEXO_LOG(LOG_ERR, "Failed to %s: %s", what, std::strerror(errno));
    VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
    return -1;
}

bool IsRouteOf(const DefaultRoute& route, in_addr gateway) {
    return route.metric == 0 && route.header.rtm_tos == 0 && !route.multipath && route.gateway
           && route.gateway->s_addr == gateway.s_addr;
}

/// Removes all of them, or none: those already removed are put back when one cannot be.
int RemoveAll(const std::vector<DefaultRoute>& routes) {
    for (auto route = routes.begin(); route != routes.end(); ++route) {
        if (vexoplatform::RemoveDefaultRoute(*route) == 0) {
            continue;
        }
        KernelRefused("remove a default route");
        for (auto removed = routes.begin(); removed != route; ++removed) {
            if (vexoplatform::PutBackDefaultRoute(*removed) != 0) {
                KernelRefused("put a default route back");
            }
        }
        return -1;
    }
    return 0;
}

/// The new route comes before the others go, so no packet is without one, and a gateway that the
/// kernel refuses leaves everything as it was.
int ReplaceAll(in_addr gateway) {
    if (vexoplatform::PutDefaultRoute(gateway) != 0) {
        return KernelRefused("set the default gateway");
    }
    auto routes = vexoplatform::ListDefaultRoutes();
    if (!routes) {
        return KernelRefused("read the default routes");
    }
    const auto kept = std::ranges::find_if(
        *routes, [&](const DefaultRoute& route) { return IsRouteOf(route, gateway); });
    if (kept != routes->end()) {
        routes->erase(kept);
    }
    return RemoveAll(*routes);
}

}  // namespace

int VEXONetDefaultGatewayGet(char* gateway, int size) {
    auto routes = vexoplatform::ListDefaultRoutes();
    if (!routes) {
        return KernelRefused("read the default routes");
    }
    std::erase_if(*routes, [](const DefaultRoute& route) { return !route.gateway; });
    const auto best = std::ranges::min_element(*routes, {}, &DefaultRoute::metric);
    char text[INET_ADDRSTRLEN] = "";
    if (best != routes->end()) {
        ::inet_ntop(AF_INET, &*best->gateway, text, sizeof text);
    }
    return CopyText(text, gateway, size);
}

int VEXONetDefaultGatewaySet(const char* gateway) {
    in_addr address{};
    if (ParseGateway(gateway, address) != 0) {
        return -1;
    }
    if (address.s_addr != INADDR_ANY) {
        return ReplaceAll(address);
    }
    const auto routes = vexoplatform::ListDefaultRoutes();
    return routes ? RemoveAll(*routes) : KernelRefused("read the default routes");
}

int VEXONetDefaultGatewayGetConf(char* gateway, int size) {
    char value[256] = "";
    VLIBCFileGetKeyValue(kConfig, kKey, value, sizeof value, 0);
    return CopyText(value, gateway, size);
}

int VEXONetDefaultGatewaySetConf(const char* gateway) {
    in_addr address{};
    if (ParseGateway(gateway, address) != 0) {
        return -1;
    }
    ::mkdir(kConfigFolder, 0755);
    return VLIBCFileSetKeyValue(kConfig, kKey, gateway == nullptr ? "" : gateway, nullptr) == 0
               ? 0
               : -1;
}
