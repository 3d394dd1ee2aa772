// The elections: which entry of a list gets the default route.

#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include <vexo/default_gateway.h>
#include <vexo/net_interface.h>
#include <vexonetwork/network/gateway_election.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/get_default_route.h>
#include <vexonetwork/utils/json_reader.h>
#include <vexonetwork/utils/utils.h>
#include <vlib/exec.h>

#include "network/gateway/gateway_family.h"
#include "network/routing/route_socket.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

constexpr char kIp[] = "/sbin/ip";

bool HasLink(const GatewayInfo& entry) {
    return IsEthernetLinkDetected(entry.ifname);
}

bool InstallV4(const GatewayInfo& entry, const VEXONETIFINFO& info) {
    char address[1024];
    std::snprintf(address, sizeof address, "%s/%d", info.ip, VEXONetNetmaskToPrefix(info.netmask));
    char network[20] = "";
    VEXONetCalNetwork(address, network, sizeof network);
    VEXO_LOG(LOG_DEBUG, "Try gateway [%s] of [%s] on [%s]", entry.gateway.ToCString(), network,
             entry.ifname.c_str());
    // Without an address the text with its prefix stays, which ip refuses as a source.
    VEXOILnxGetIP(entry.ifname.c_str(), address, sizeof address);
    return VLIBCExecl(VLIB_EXEC_QUIET, kIp, "route", "add", "default", "via",
                      entry.gateway.ToCString(), "dev", entry.ifname.c_str(), "src", address,
                      nullptr)
           == 0;
}

bool InstallV6(const GatewayInfo& entry) {
    if (entry.gateway.ToString() == "::") {
        return VLIBCExecl(VLIB_EXEC_QUIET, kIp, "-6", "route", "add", "default", "dev",
                          entry.ifname.c_str(), nullptr)
               == 0;
    }
    return VLIBCExecl(VLIB_EXEC_QUIET, kIp, "-6", "route", "add", "default", "via",
                      entry.gateway.ToCString(), "dev", entry.ifname.c_str(), nullptr)
           == 0;
}

/// What is read to know whether the interface exists also serves to install its route.
ElectionFacts FactsV4(VEXONETIFINFO& info) {
    return {HasLink,
            [&info](const GatewayInfo& entry) {
                return VEXONetIFGetInfo(entry.ifname.c_str(), &info, 0) == 0;
            },
            [&info](const GatewayInfo& entry) { return InstallV4(entry, info); }};
}

/// Gives the default route to the first entry that can carry it; that one moves to the front.
/// @return whether there was one
bool ElectFrom(GATEWAY_TYPE type, std::vector<GatewayInfo>& gateways, const ElectionFacts& facts) {
    const auto winner = WinnerOf(WalkGateways(type, gateways, facts));
    if (winner) {
        const auto entry = gateways.begin() + static_cast<std::ptrdiff_t>(*winner);
        std::rotate(gateways.begin(), entry, entry + 1);
    }
    return winner.has_value();
}

/// The kernel's list counts those of the policy tables, which stay.
std::ptrdiff_t CountPolicyDefaultsV6() {
    const auto routes = RouteSocket().OurRoutes(AF_INET6);
    return !routes ? 0 : std::ranges::count_if(*routes, [](const Route& route) {
        return route.gateway && route.destination == Everything(AF_INET6);
    });
}

void DeleteDefaultRoutesV6() {
    const std::ptrdiff_t all = utils::GetNumDefaultRoutes<AF_INET6>();
    for (auto left = all > 0 ? all - CountPolicyDefaultsV6() : 0; left > 0; --left) {
        if (VLIBCExecl(VLIB_EXEC_QUIET, kIp, "-6", "route", "delete", "default", nullptr) != 0) {
            VEXO_LOG(LOG_INFO, "delete default route failed");
        }
    }
}

}  // namespace

int RouteModule::RefreshDefaultGatewayV4() {
    char saved[20] = "";
    if (VEXONetDefaultGatewayGet(saved, sizeof saved) != 0) {
        VEXO_LOG(LOG_ERR, "Get system gateway failed");
        return -1;
    }
    if (VEXONetDefaultGatewaySet(nullptr) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to delete default gateway");
        return -1;
    }
    VEXONETIFINFO info{};
    if (!ElectFrom(GTYPE_V4, gateways_v4, FactsV4(info))) {
        VEXONetDefaultGatewaySet(saved);
    }
    return 0;
}

int RouteModule::RefreshDefaultGatewayV6() {
    if (gateways_v6.empty()) {
        return 0;
    }
    DeleteDefaultRoutesV6();
    ElectFrom(GTYPE_V6, gateways_v6, {HasLink, nullptr, InstallV6});
    return 0;
}

int RouteModule::RefreshDefaultGateway(const Json::Value& request) {
    const auto gatewayType = ReadType(request);
    const bool all = utils::GetString(request, "type") == "ALL";
    if (!gatewayType && !all) {
        VEXO_LOG(LOG_ERR, "Unknown type to add info");
        return -1;
    }
    return RunElections(gatewayType);
}

int RouteModule::RunElections(std::optional<GATEWAY_TYPE> list) {
    int result = 0;
    if (list != GTYPE_V6) {
        result = RefreshDefaultGatewayV4();
    }
    if (result == 0 && list != GTYPE_V4) {
        result = RefreshDefaultGatewayV6();
    }
    return result;
}

}  // namespace vexonetwork::network::module
