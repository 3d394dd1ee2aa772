#include "vexo/default_gateway.h"

#include <arpa/inet.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <vexobase/log.h>

#include "vexo/appliance/default_routes.h"
#include "vexo/out_text.h"
#include "vlib/error.h"
#include "vlib/file.h"

namespace {

using vexoplatform::DefaultRoute;
using vexoplatform::GatewayOf;
using vexoplatform::PutOut;

constexpr char kConfigFolder[] = "/etc/sysconfig";
constexpr char kConfig[] = "/etc/sysconfig/network";
constexpr char kKey[] = "GATEWAY";

/// @return 0, also for null and "", which leave `address` at zero; -1 for what no gateway can be
int ParseGateway(const char* gateway, in_addr& address) {
    if (gateway == nullptr || *gateway == '\0') {
        return 0;
    }
    if (::inet_pton(AF_INET, gateway, &address) == 1 && address.s_addr != INADDR_ANY) {
        return 0;
    }
    VEXO_LOG(LOG_ERR, "[%.64s] is no address of a default gateway", gateway);
    VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
    return -1;
}

int KernelRefused(const char* what) {
    VEXO_LOG(LOG_ERR, "Failed to %s: %s", what, std::strerror(errno));
    VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
    return -1;
}

bool IsRouteOf(const DefaultRoute& route, in_addr gateway) {
    return route.metric == 0 && route.tos == 0 && route.hops.empty()
           && route.gateway == vexonetlink::FromInet(gateway);
}

int RemoveAll(const std::vector<DefaultRoute>& routes) {
    for (const DefaultRoute& route : routes) {
        if (vexoplatform::RemoveDefaultRoute(route) != 0) {
            return KernelRefused("remove a default route");
        }
    }
    return 0;
}

int FailAndPutBack(const std::vector<DefaultRoute>& former) {
    for (const DefaultRoute& route : former) {
        if (vexoplatform::PutBackDefaultRoute(route) != 0) {
            KernelRefused("put a default route back");
        }
    }
    return -1;
}

/// The new route comes before the others go, so that no packet is without one, and a gateway that
/// the kernel refuses leaves everything as it was.
int ReplaceAll(const std::vector<DefaultRoute>& former, in_addr gateway) {
    if (vexoplatform::PutDefaultRoute(gateway) != 0) {
        return KernelRefused("set the default gateway");
    }
    auto others = vexoplatform::ListDefaultRoutes();
    if (!others) {
        return KernelRefused("read the default routes");
    }
    const auto isNew = [&](const DefaultRoute& route) { return IsRouteOf(route, gateway); };
    std::vector<DefaultRoute> put;
    if (const auto place = std::ranges::find_if(*others, isNew); place != others->end()) {
        put.push_back(*place);
        others->erase(place);
    }
    if (RemoveAll(*others) == 0) {
        return 0;
    }
    std::erase_if(put, [&](const DefaultRoute& route) {
        return std::ranges::find(former, route) != former.end();
    });
    RemoveAll(put);
    // Those that came in between went with the former ones.
    std::vector<DefaultRoute> lost = former;
    lost.insert(lost.end(), others->begin(), others->end());
    return FailAndPutBack(lost);
}

}  // namespace

int VEXONetDefaultGatewayGet(char* gateway, int size) {
    auto routes = vexoplatform::ListDefaultRoutes();
    if (!routes) {
        return KernelRefused("read the default routes");
    }
    std::erase_if(*routes, [](const DefaultRoute& route) { return !GatewayOf(route); });
    const auto best = std::ranges::min_element(*routes, {}, &DefaultRoute::metric);
    char text[INET_ADDRSTRLEN] = "";
    if (best != routes->end()) {
        const auto address = GatewayOf(*best);
        ::inet_ntop(AF_INET, &*address, text, sizeof text);
    }
    return PutOut(text, gateway, size);
}

int VEXONetDefaultGatewaySet(const char* gateway) {
    in_addr address{};
    if (ParseGateway(gateway, address) != 0) {
        return -1;
    }
    const auto former = vexoplatform::ListDefaultRoutes();
    if (!former) {
        return KernelRefused("read the default routes");
    }
    if (address.s_addr != INADDR_ANY) {
        return ReplaceAll(*former, address);
    }
    return RemoveAll(*former) == 0 ? 0 : FailAndPutBack(*former);
}

int VEXONetDefaultGatewayGetConf(char* gateway, int size) {
    char value[256] = "";
    VLIBCFileGetKeyValue(kConfig, kKey, value, sizeof value, 0);
    return PutOut(value, gateway, size);
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
