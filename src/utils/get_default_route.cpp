#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <type_traits>

#include <vexobase/log.h>
#include <vexonetwork/utils/get_default_route.h>

#include "utils/field_scanner.h"

namespace vexonetwork::utils {

namespace routeparse {

namespace {

constexpr int kUpViaGateway = 3;  // RTF_UP | RTF_GATEWAY of <linux/route.h>

bool IsZero(std::string_view field) {
    return field.find_first_not_of('0') == field.npos;
}

bool IsUpViaGateway(int flags) {
    return (flags & kUpViaGateway) == kUpViaGateway;
}

}  // namespace

void ParseV4::operator()(const char* line, std::vector<Route>& out) const {
    FieldScanner fields(line);
    std::string_view ifname, destination, gateway, ignored;
    int flags = 0;
    int metric = 0;
    // Most lines end at the destination: a large table has few default routes.
    if (fields.Read(ifname) && fields.Read(destination) && IsZero(destination)
        && fields.Read(gateway) && fields.Read(flags) && IsUpViaGateway(flags)
        && fields.Read(ignored) && fields.Read(ignored) && fields.Read(metric)) {
        out.push_back({metric, formatAddress(std::string(gateway)), std::string(ifname)});
    }
}

std::string ParseV4::formatAddress(const std::string& field) {
    const in_addr address{static_cast<in_addr_t>(std::strtoul(field.c_str(), nullptr, 16))};
    char text[INET_ADDRSTRLEN] = {};
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

void ParseV6::operator()(const char* line, std::vector<Route>& out) const {
    FieldScanner fields(line);
    std::string_view destination, nextHop, ifname, ignored;
    int metric = 0;
    int flags = 0;
    if (fields.Read(destination) && IsZero(destination) && fields.Read(ignored)
        && fields.Read(ignored) && fields.Read(ignored) && fields.Read(nextHop)
        && fields.Read(metric) && fields.Read(ignored) && fields.Read(ignored) && fields.Read(flags)
        && IsUpViaGateway(flags) && fields.Read(ifname) && ifname != "tun1000") {
        out.push_back({metric, formatAddress(std::string(nextHop)), std::string(ifname)});
    }
}

std::string ParseV6::formatAddress(const std::string& field) {
    constexpr std::size_t kDigits = 32;
    if (field.size() != kDigits) {
        return "";
    }
    std::string grouped = field;
    for (std::size_t colon = kDigits - 4; colon > 0; colon -= 4) {
        grouped.insert(colon, 1, ':');
    }
    in6_addr address{};
    if (::inet_pton(AF_INET6, grouped.c_str(), &address) < 0) {
        VEXO_LOG(LOG_ERR, "convert gateway format failed");
    }
    char text[INET6_ADDRSTRLEN] = {};
    return ::inet_ntop(AF_INET6, &address, text, sizeof text);
}

}  // namespace routeparse

namespace {

template <int Family>
using Parser = std::conditional_t<Family == AF_INET, routeparse::ParseV4, routeparse::ParseV6>;

/// @return whether the table could be opened
template <int Family>
bool ReadRoutes(std::vector<routeparse::Route>& routes) {
    const char* path = Parser<Family>::RouteFile;
    std::ifstream table(path);
    if (!table.is_open()) {
        VEXO_LOG(LOG_ERR, "Unable to open route file: %s", path);
        return false;
    }
    char line[1024];
    while (table.getline(line, sizeof line)) {
        Parser<Family>()(line, routes);
    }
    return true;
}

}  // namespace

template <int Family>
std::string GetDefaultRoute() {
    std::vector<routeparse::Route> routes;
    if (!ReadRoutes<Family>(routes) || routes.empty()) {
        return "";
    }
    return std::min_element(routes.begin(), routes.end())->gateway;
}

template <int Family>
int GetNumDefaultRoutes() {
    std::vector<routeparse::Route> routes;
    return ReadRoutes<Family>(routes) ? static_cast<int>(routes.size()) : -1;
}

template std::string GetDefaultRoute<AF_INET>();
template std::string GetDefaultRoute<AF_INET6>();
template int GetNumDefaultRoutes<AF_INET>();
template int GetNumDefaultRoutes<AF_INET6>();

}  // namespace vexonetwork::utils
