#include "commands/route_work.h"

#include <json/json.h>
#include <unistd.h>

#include <iostream>

#include <vexonetwork/network/static_routes.h>

#include "failure.h"
#include "print/table.h"

namespace vexonetctl {
namespace {

using vexonetwork::network::IPType;
using vexonetwork::network::StaticRoute;
using vexonetwork::network::StaticRoutes;
using vexonetwork::network::StaticRouteStatus;

constexpr std::size_t kGatewayColumn = 1;

/// The words of StaticRouteStatus::State, in its order.
constexpr const char* kStates[] = {"installed", "waiting", "absent", "bad"};

StaticRoute WhichRoute(const RouteOptions& options) {
    const bool isAddressV6 = options.destination.find(':') != std::string::npos;
    if (options.destination != "default" && (isAddressV6 ? options.v4 : options.v6)) {
        throw Failure(kWrongUsage, options.destination + " is of the other family");
    }
    const bool isV6 = options.v6 || options.destination.find(':') != std::string::npos
                      || options.gateway.value_or("").find(':') != std::string::npos;
    // A gateway of its family tells a default route's.
    return {options.destination, isV6 ? "::" : "0.0.0.0", "", options.metric,
            isV6 ? IPType::V6 : IPType::V4};
}

/// "none" takes out what may be missing.
std::optional<std::string> Cleared(const std::optional<std::string>& text) {
    return text == "none" ? "" : text;
}

void RequireDone(const std::string& reason) {
    if (!reason.empty()) {
        throw Failure(kRefused, reason);
    }
}

bool IsWanted(const RouteOptions& options, const StaticRouteStatus& status) {
    const bool isV6 = status.route.type == IPType::V6;
    return status.state == StaticRouteStatus::BAD || (options.v4 == options.v6)
           || options.v6 == isV6;
}

std::string Sentence(const StaticRouteStatus& status) {
    const std::string section = "[" + status.section + "] ";
    return status.state == StaticRouteStatus::INSTALLED ? "installed"
           : status.state == StaticRouteStatus::BAD     ? "bad " + section + status.reason
                                                        : status.reason;
}

Json::Value ToJson(const StaticRouteStatus& status) {
    Json::Value route(Json::objectValue);
    route["section"] = status.section;
    route["family"] = status.route.type == IPType::V6 ? "ipv6" : "ipv4";
    route["destination"] = status.route.destination;
    route["gateway"] = status.route.gateway;
    route["ifname"] = status.route.ifname;
    route["metric"] = status.route.metric;
    route["state"] = kStates[status.state];
    route["reason"] = status.reason;
    return route;
}

void PrintTable(const std::vector<StaticRouteStatus>& routes) {
    Table table({"DESTINATION", "GATEWAY", "INTERFACE", "METRIC", "STATE"}, kGatewayColumn);
    for (const StaticRouteStatus& status : routes) {
        const StaticRoute& route = status.route;
        table.Add({route.destination, route.gateway, route.ifname, route.metric, Sentence(status)});
    }
    table.Print(std::cout);
}

/// What has become of a route that was added or changed.
void SayState(const RouteOptions& options, StaticRoutes& routes) {
    const auto status = routes.Find(WhichRoute(options));
    if (!status || status->state != StaticRouteStatus::INSTALLED) {
        std::cerr << "vexonetctl: warning: the route is stored; it "
                  << (status ? status->reason : "is no longer there") << '\n';
    } else if (!options.quiet) {
        std::cout << "route to " << options.destination << ": installed\n";
    }
}

}  // namespace

void RequireRoot() {
    if (::geteuid() != 0) {
        throw Failure(kRefused, "only root may change routes");
    }
}

void ListRoutes(const RouteOptions& options) {
    auto routes = StaticRoutes().List();
    std::erase_if(routes, [&](const StaticRouteStatus& each) { return !IsWanted(options, each); });
    if (options.json) {
        Json::Value root(Json::arrayValue);
        for (const StaticRouteStatus& status : routes) {
            root.append(ToJson(status));
        }
        std::cout << root.toStyledString();
    } else if (routes.empty()) {
        std::cout << "no static routes\n";
    } else {
        PrintTable(routes);
    }
}

void AddRoute(const RouteOptions& options) {
    RequireRoot();
    StaticRoute route = WhichRoute(options);
    route.gateway = options.gateway.value_or("");
    route.ifname = options.ifname.value_or("");
    StaticRoutes routes;
    RequireDone(routes.Add(route));
    SayState(options, routes);
}

void ChangeRoute(const RouteOptions& options) {
    RequireRoot();
    if (!options.gateway && !options.ifname && !options.newMetric) {
        throw Failure(kWrongUsage, "say what to change: --gateway, --interface or --new-metric");
    }
    StaticRoutes routes;
    RequireDone(routes.Change(
        WhichRoute(options),
        {Cleared(options.gateway), Cleared(options.ifname), Cleared(options.newMetric)}));
    RouteOptions changed = options;
    changed.metric = Cleared(options.newMetric).value_or(options.metric);
    SayState(changed, routes);
}

void DeleteRoute(const RouteOptions& options) {
    RequireRoot();
    RequireDone(StaticRoutes().Remove(WhichRoute(options)));
    if (!options.quiet) {
        std::cout << "route to " << options.destination << ": removed\n";
    }
}

}  // namespace vexonetctl
