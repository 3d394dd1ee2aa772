#include "ipv6/lan/outside.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

#include <vexobase/log.h>
#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>
#include <vexonetwork/utils/file.h>

#include "ipv6/router/lan_parts.h"

namespace vexo::network::ipv6::router {

namespace {

constexpr std::size_t kMaxNameServers = 3;

bool IsGlobal(const std::string& text) {
    in6_addr address{};
    // 2000::/3 is all that is global, and fc00::/7 the same within a site.
    return ::inet_pton(AF_INET6, text.c_str(), &address) == 1
           && ((address.s6_addr[0] & 0xe0) == 0x20 || (address.s6_addr[0] & 0xfe) == 0xfc);
}

void AddNameServer(const std::string& server, std::vector<std::string>& servers) {
    if (IsGlobal(server) && servers.size() < kMaxNameServers
        && std::ranges::find(servers, server) == servers.end()) {
        servers.push_back(server);
    }
}

/// A default route, or one of a tunnel that takes the place of one.
bool LeadsOut(const vexonetlink::Route& route) {
    return route.destination.Length() <= 3 && (route.flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) == 0;
}

void AddTold(const std::string& wan, Outside& outside) {
    const auto told = ToldByClient(wan);
    if (!told) {
        return;
    }
    outside.prefixes.insert(outside.prefixes.end(), told->prefixes.begin(), told->prefixes.end());
    for (const std::string& each : told->nameServers) {
        AddNameServer(each, outside.nameServers);
    }
}

bool IsTunnel(const Router6Attr& router) {
    return router.type == "6in4" || router.type == "6to4";
}

}  // namespace

Outside LookOutside(const std::vector<StoredRouter>& routers) {
    Outside outside;
    outside.isReached = IsOutsideReached();
    for (const StoredRouter& each : routers) {
        const auto prefix = ParseRoutedPrefix(each.attr.prefix);
        if (!IsTunnel(each.attr)) {
            AddTold(each.ifname, outside);
        } else if (prefix) {
            outside.prefixes.push_back({*prefix, {}});
        }
    }
    if (outside.nameServers.empty()) {
        outside.nameServers =
            ReachableNameServers(vexonetwork::utils::FileToStr("/etc/resolv.conf"));
    }
    return outside;
}

bool IsOutsideReached() {
    const vexonetlink::RouteFilter filter{
        .family = AF_INET6, .table = RT_TABLE_MAIN, .protocol = 0, .type = RTN_UNICAST};
    const auto routes = vexonetlink::AskOnce(
        [&filter](vexonetlink::Socket& socket) { return ListRoutes(socket, filter); });
    if (!routes) {
        VEXO_LOG(LOG_ERR, "Failed to read the IPv6 routes: %s", std::strerror(errno));
    }
    return routes && std::ranges::any_of(*routes, LeadsOut);
}

std::vector<std::string> ReachableNameServers(std::string_view resolvConf) {
    std::vector<std::string> servers;
    std::istringstream lines{std::string(resolvConf)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string key;
        std::string server;
        if (words >> key >> server && key == "nameserver") {
            AddNameServer(server, servers);
        }
    }
    return servers;
}

}  // namespace vexo::network::ipv6::router
