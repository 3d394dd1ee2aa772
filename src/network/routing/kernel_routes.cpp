#include "network/routing/kernel_routes.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "network/routing/locks.h"
#include "network/routing/table_number.h"
#include "network/routing/table_plan.h"

namespace vexonetwork::network {
namespace {

TableUse Use(int family) {
    return {family == AF_INET ? IPType::V4 : IPType::V6, kStaticTable, Prefix::All(family)};
}

/// The kernel takes an IPv4 route through ourselves, which leads nowhere.
std::string WhyNoGateway(const PolicyTableRoute& route) {
    ifaddrs* all = nullptr;
    if (route.gateway.family != AF_INET || ::getifaddrs(&all) != 0) {
        return "";
    }
    bool isOurs = false;
    for (const ifaddrs* each = all; each != nullptr && !isOurs; each = each->ifa_next) {
        if (each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET) {
            const auto& address = reinterpret_cast<const sockaddr_in*>(each->ifa_addr)->sin_addr;
            isOurs = std::memcmp(&address, route.gateway.bytes.data(), sizeof address) == 0;
        }
    }
    ::freeifaddrs(all);
    return isOurs ? "its gateway " + ToText(route.gateway) + " is an address of this machine" : "";
}

std::string WhyRefused(const PolicyTableRoute& route, const Refusal& refusal) {
    const std::string by = route.ifname.empty() ? "" : " on " + route.ifname;
    switch (refusal.error.number) {
        case EEXIST:
            return "somebody else's route to there has the same metric; give another one";
        case ENETUNREACH:
        case EHOSTUNREACH:
            return "its gateway " + ToText(route.gateway) + " is no neighbour" + by + " ("
                   + refusal.error.text + "); see 'ip route get " + ToText(route.gateway) + "'";
        default:
            return "the kernel refuses it: " + refusal.error.text;
    }
}

bool IsOurs(RouteSocket& socket, const Route& route) {
    const auto routes = socket.Routes(route.Family(), route.table, kOurProtocol);
    return routes && std::ranges::any_of(*routes, [&route](const Route& each) {
               return each.destination == route.destination && each.metric == route.metric;
           });
}

/// What the kernel has of ours.
std::map<Place, Route> Installed(RouteSocket& socket) {
    std::map<Place, Route> installed;
    for (const IPType type : {IPType::V4, IPType::V6}) {
        for (const auto& table : {std::optional(kMainTable), FindTableNumber(kStaticTable)}) {
            const auto routes =
                table ? socket.Routes(FamilyOf(type), *table, kOurProtocol) : std::nullopt;
            for (const Route& route : routes ? *routes : std::vector<Route>()) {
                installed.emplace(Place(route.destination, route.metric), route);
            }
        }
    }
    return installed;
}

std::string NameOf(unsigned index) {
    char ifname[IF_NAMESIZE] = "";
    return ::if_indextoname(index, ifname) == nullptr ? "an interface that is gone" : ifname;
}

/// Why a route of the kernel is not the one of the file, said of that one; "" when it is.
std::string WhyOther(const Route& present, const Route& wanted) {
    if (present.gateway != wanted.gateway || present.type != wanted.type) {
        return "is another one in the kernel";
    }
    if (wanted.oif == 0) {
        return "has a gateway that is no neighbour any more";
    }
    return present.oif == wanted.oif
               ? ""
               : "is on " + NameOf(present.oif) + " in the kernel and not on " + NameOf(wanted.oif);
}

}  // namespace

std::string TryRoute(const PolicyTableRoute& route) {
    if (std::string why = WhyNoGateway(route); !why.empty()) {
        return why;
    }
    const bool needsNumber = Use(route.destination.Family()).NeedsNumber(route);
    const auto table = needsNumber ? AllotTableNumber(kStaticTable) : AllottedNumber{kMainTable};
    if (!table.number) {
        return table.isPending ? std::string("the table has no number yet: another process holds ")
                                     + TablesLock::kPath + "; try again"
                               : "the table has no number; see /etc/iproute2/rt_tables";
    }
    const KernelTurn turn;
    RouteSocket socket;
    Links links;
    Neighbourhood neighbourhood(socket);
    const auto wanted = ToRoute(route, *table.number, links, neighbourhood);
    if (!wanted) {
        return "";  // it will be tried when its interface comes
    }
    Change change{Action::ADD, *wanted};
    auto refusals = socket.Apply({&change, 1});
    if (!refusals.empty() && refusals.front().error.number == EEXIST && IsOurs(socket, *wanted)) {
        change.action = Action::REPLACE;
        refusals = socket.Apply({&change, 1});
    }
    return refusals.empty() ? "" : WhyRefused(route, refusals.front());
}

KernelRoutes::KernelRoutes() : neighbourhood(socket), installed(Installed(socket)) {}

std::pair<StaticRouteStatus::State, std::string> KernelRoutes::StateOf(
    const PolicyTableRoute& route) {
    const auto wanted = ToRoute(route, kMainTable, links, neighbourhood);
    if (!wanted) {
        return {StaticRouteStatus::WAITS, links.Find(route.ifname).index == 0
                                              ? "waits for its interface"
                                              : "waits: its interface is down"};
    }
    const auto found = installed.find(PlaceOf(route));
    const std::string why =
        found == installed.end() ? "is not in the kernel" : WhyOther(found->second, *wanted);
    return {why.empty() ? StaticRouteStatus::INSTALLED : StaticRouteStatus::ABSENT, why};
}

}  // namespace vexonetwork::network
