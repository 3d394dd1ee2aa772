#include "facts/default_route.h"

#include <json/json.h>

#include <vexonetwork/utils/json_reader.h>

#include "facts/ip_reply.h"
#include "failure.h"

namespace vexonetctl {
namespace {

using vexonetwork::utils::GetInt;
using vexonetwork::utils::GetString;

Json::Value ListDefaultRoutes(const Family& family) {
    const auto routes = AskIp(family.flag, "route", "show", "table", "main", "default");
    if (!routes) {
        throw Failure(kRefused, std::string("cannot read the ") + family.name + " routes; try: ip "
                                    + family.flag + " route show default");
    }
    return *routes;
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

Json::Value ToJson(const std::optional<DefaultRoute>& route) {
    Json::Value object;
    if (route) {
        object["gateway"] = route->gateway;
        object["ifname"] = route->ifname;
    }
    return object;
}

}  // namespace vexonetctl
