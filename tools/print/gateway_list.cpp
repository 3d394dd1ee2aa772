#include "print/gateway_list.h"

#include <ostream>

#include "facts/entry.h"
#include "facts/validation.h"
#include "print/table.h"

namespace vexonetctl {
namespace {

constexpr std::size_t kDnsColumn = 3;

Table::Row RowOf(const GatewayList& list, const Json::Value& entry) {
    const bool carries = CarriesDefaultRoute(list.family, entry, list.route);
    return {std::to_string(Place(entry)) + (carries ? "*" : ""),
            Text(entry, "ifname"),
            Text(entry, "gateway"),
            Text(entry, "dns"),
            IsSlave(entry) ? "yes" : "no",
            Text(entry, "class")};
}

}  // namespace

bool CarriesDefaultRoute(const Family& family, const Json::Value& entry,
                         const std::optional<DefaultRoute>& route) {
    if (!route || Text(entry, "ifname") != route->ifname) {
        return false;
    }
    // The gateway :: stands for a route that names the interface alone.
    return SameAddress(family, Text(entry, "gateway"),
                       route->gateway.empty() ? "::" : route->gateway);
}

void Print(std::ostream& out, const GatewayList& list) {
    out << list.family.name << " default route: " << Describe(list.route) << '\n';
    if (list.entries.empty()) {
        out << "no " << list.family.name << " gateways\n";
        return;
    }
    Table table({"#", "INTERFACE", "GATEWAY", "DNS", "SLAVE", "CLASS"}, kDnsColumn);
    for (const Json::Value& entry : list.entries) {
        table.Add(RowOf(list, entry));
    }
    table.Print(out);
}

Json::Value ToJson(const GatewayList& list) {
    Json::Value entries = list.entries;
    for (Json::Value& entry : entries) {
        if (entry.isObject()) {
            entry["default_route"] = CarriesDefaultRoute(list.family, entry, list.route);
        }
    }
    return entries;
}

}  // namespace vexonetctl
