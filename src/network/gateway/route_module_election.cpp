// The elections: which entry of a list gets the default route.

#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
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

#include "network/gateway/former_defaults.h"
#include "network/gateway/gateway_request.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

constexpr char kIp[] = "/sbin/ip";

constexpr int kNotRun = 127;  // could not be started, or was ended by a signal with what is beyond

/// A program that did not run to its end has said nothing about the route, so it is run again.
template <typename... Words>
bool RunIp(const Words&... words) {
    constexpr int kMaxAttempts = 3;
    int status = kNotRun;
    for (int i = 0; status >= kNotRun && i < kMaxAttempts; ++i) {
        status = VLIBCExecl(VLIB_EXEC_QUIET, kIp, words..., nullptr);
    }
    if (status >= kNotRun) {
        VEXO_LOG(LOG_ERR, "Failed to run [%s]: status %d", kIp, status);
    }
    return status == 0;
}

/// A listed port that is not there is no fault, and would cost a log line at each election.
bool HasLink(const GatewayInfo& entry) {
    return ::if_nametoindex(entry.ifname.c_str()) != 0 && IsEthernetLinkDetected(entry.ifname);
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
    return RunIp("route", "add", "default", "via", entry.gateway.ToCString(), "dev",
                 entry.ifname.c_str(), "src", address);
}

bool IsBare(const GatewayInfo& entry) {
    return entry.gateway.ToString() == "::";
}

bool InstallV6(const GatewayInfo& entry) {
    if (IsBare(entry)) {
        return RunIp("-6", "route", "add", "default", "dev", entry.ifname.c_str());
    }
    return RunIp("-6", "route", "add", "default", "via", entry.gateway.ToCString(), "dev",
                 entry.ifname.c_str());
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
bool ElectFrom(GATEWAY_TYPE type, GatewayList& gateways, const ElectionFacts& facts) {
    const auto winner = WinnerOf(WalkGateways(type, gateways.Awake(), facts));
    if (winner) {
        gateways.MoveToFront(*winner);
    }
    return winner.has_value();
}

/// What an election of IPv6 replaces, whatever its metric. That tunnel never counts.
bool IsReplacedV6(const DefaultRoute& route) {
    return GatewayOf(route) && InterfaceOf(route) != "tun1000";
}

/// A route by the interface alone that stands where the winner's is to stand and that, by its
/// interface, an election has put there.
bool IsBareWinner(const DefaultRoute& route, const std::vector<std::string>& interfaces) {
    constexpr std::uint32_t kUsualMetricV6 = 1024;
    return !GatewayOf(route) && route.metric == kUsualMetricV6 && route.protocol == RTPROT_BOOT
           && std::ranges::find(interfaces, InterfaceOf(route)) != interfaces.end();
}

void DeleteDefaultRoutesV6(MainDefaults& kernel, const std::optional<DefaultRoutes>& former,
                           const std::vector<std::string>& bare) {
    for (auto left = former ? std::ranges::count_if(*former, IsReplacedV6)
                            : utils::GetNumDefaultRoutes<AF_INET6>();
         left > 0; --left) {
        if (!RunIp("-6", "route", "delete", "default")) {
            VEXO_LOG(LOG_INFO, "delete default route failed");
        }
    }
    // The command takes the first default route, whichever that is, and the kernel refuses the
    // winner's for as long as there is one in its place.
    const auto isReplaced = [&](const DefaultRoute& route) {
        return IsReplacedV6(route) || IsBareWinner(route, bare);
    };
    const auto remaining = former ? kernel.List() : std::nullopt;
    if (!remaining) {
        return;
    }
    for (const DefaultRoute& route : *remaining) {
        if (isReplaced(route)) {
            kernel.Remove(route);
        }
    }
    for (const DefaultRoute& route : *former) {
        if (!isReplaced(route) && !Holds(*remaining, route)) {
            kernel.PutBack(route);
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
    // The store clears all default routes and knows only the gateway of one.
    MainDefaults kernel(AF_INET);
    FormerDefaults former(*FindFamily(GTYPE_V4), kernel);
    if (VEXONetDefaultGatewaySet(nullptr) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to delete default gateway");
        return -1;
    }
    VEXONETIFINFO info{};
    if (!ElectFrom(GTYPE_V4, gateways_v4, FactsV4(info))) {
        VEXONetDefaultGatewaySet(saved);
        former.PutBack(saved);
    }
    return 0;
}

int RouteModule::RefreshDefaultGatewayV6() {
    if (gateways_v6.Size() == 0) {
        return 0;
    }
    std::vector<std::string> bare{bare_winner};
    for (const GatewayInfo& entry : gateways_v6.Awake()) {
        if (IsBare(entry)) {
            bare.push_back(entry.ifname);
        }
    }
    MainDefaults kernel(AF_INET6);
    FormerDefaults former(*FindFamily(GTYPE_V6), kernel);
    DeleteDefaultRoutesV6(kernel, former.Routes(), bare);
    if (!ElectFrom(GTYPE_V6, gateways_v6, {HasLink, nullptr, InstallV6})) {
        former.PutBack("");
    } else {
        const GatewayInfo winner = gateways_v6.Awake().front();
        bare_winner = IsBare(winner) ? winner.ifname : "";
    }
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
