#include "default_route.h"

#include <json/json.h>

#include <array>
#include <cstdio>

#include <vexonetwork/utils/json_reader.h>
#include <vlib/exec.h>

#include "failure.h"

namespace vexonetctl {
namespace {

using vexonetwork::utils::GetInt;
using vexonetwork::utils::GetString;

/// The reply of ip(8), an array of objects.
Json::Value ListDefaultRoutes(const Family& family) {
    FILE* stream = ::VLIBCPopen("/sbin/ip", "r", "-j", family.flag, "route", "show", "table",
                                "main", "default", nullptr);
    if (stream == nullptr) {
        throw Failure(kRefused, "cannot run /sbin/ip to read the routes; is iproute2 installed?");
    }
    std::string text;
    std::array<char, 4096> part{};
    while (const std::size_t length = std::fread(part.data(), 1, part.size(), stream)) {
        text.append(part.data(), length);
    }
    Json::Value routes(Json::arrayValue);
    if (::VLIBCPclose(stream) != 0
        || (!text.empty() && !vexonetwork::utils::ParseJson(text, routes))) {
        throw Failure(kRefused, std::string("cannot read the ") + family.name + " routes; try: ip "
                                    + family.flag + " route show default");
    }
    return routes;
}

/// The first way out of a route that has several.
const Json::Value& FirstHop(const Json::Value& route) {
    const bool several = route.isObject() && route["nexthops"].isArray();
    return several && !route["nexthops"].empty() ? route["nexthops"][0] : route;
}

/// An "unreachable" default route and its like forward nothing.
bool Forwards(const Json::Value& route) {
    return GetString(route, "type").value_or("unicast") == "unicast"
           && GetString(FirstHop(route), "dev").has_value();
}

}  // namespace

std::optional<DefaultRoute> ReadDefaultRoute(const Family& family) {
    std::optional<DefaultRoute> best;
    int bestMetric = 0;
    for (const Json::Value& route : ListDefaultRoutes(family)) {
        const int metric = GetInt(route, "metric").value_or(0);
        if (Forwards(route) && (!best || metric < bestMetric)) {
            const Json::Value& hop = FirstHop(route);
            best = {GetString(hop, "gateway").value_or(""), GetString(hop, "dev").value_or("")};
            bestMetric = metric;
        }
    }
    return best;
}

std::string Describe(const std::optional<DefaultRoute>& route) {
    if (!route) {
        return "none";
    }
    return (route->gateway.empty() ? "" : "via " + route->gateway + " ") + "dev " + route->ifname;
}

}  // namespace vexonetctl
