#include "network/routing/policy_table.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "network/interface_name.h"
#include "network/parse_number.h"

namespace vexonetwork::network {
namespace {

constexpr IPType kTypes[] = {IPType::V4, IPType::V6};
constexpr std::string_view kKeys[] = {"destination", "gateway", "ifname", "metric"};

/// The family a route belongs to, whether or not the rest of it is sound.
std::optional<IPType> TypeOf(const std::string& destination, const std::string& gateway) {
    const std::string& text = destination == "default" ? gateway : destination;
    for (const IPType type : kTypes) {
        if (ParsePrefix(FamilyOf(type), text, HostBits::kMasked)) {
            return type;
        }
    }
    return std::nullopt;
}

bool IsLoopback(const Prefix& prefix) {
    static const Prefix kLoopbacks[] = {*ParsePrefix(AF_INET, "127.0.0.0/8", HostBits::kRefused),
                                        *ParsePrefix(AF_INET6, "::1", HostBits::kRefused)};
    return std::ranges::any_of(kLoopbacks,
                               [&](const Prefix& each) { return each.Contains(prefix); });
}

ReadTableRoute Fault(std::optional<IPType> type, const std::string& fault) {
    return {type, std::nullopt, fault};
}

}  // namespace

ReadTableRoute ReadPolicyTableRoute(const Section& section) {
    const std::string destination = section.Value("destination");
    const std::string gateway = section.Value("gateway");
    const std::string metric = section.Value("metric");
    const auto type = TypeOf(destination, gateway);
    if (!type) {
        return Fault(type, destination == "default" ? "its gateway is no address"
                                                    : "its destination is no network");
    }
    const int family = FamilyOf(*type);
    const auto via = gateway.empty() ? Address() : ParseAddress(family, gateway);
    const auto number = metric.empty() ? 0 : ParseNumber(metric);
    PolicyTableRoute route{section.Name(), Prefix::All(family), {}, section.Value("ifname"), 0};
    if (!via) {
        return Fault(type, "its gateway is no address of its destination's family");
    }
    if (!number) {
        return Fault(type, "its metric is no number");
    }
    if (!route.ifname.empty() && !IsInterfaceName(route.ifname)) {
        return Fault(type, "its ifname is no name of an interface");
    }
    if (destination != "default") {
        route.destination = *ParsePrefix(family, destination, HostBits::kMasked);
    }
    route.gateway = IsUnspecified(*via) ? Address() : *via;
    if (!route.gateway && route.ifname.empty()) {
        return Fault(type, "it has neither a gateway nor an interface");
    }
    if (IsLinkLocalV6(route.gateway) && route.ifname.empty()) {
        return Fault(type, "its gateway is of one link only, so that it needs an interface too");
    }
    if (IsLoopback(route.destination)) {
        return Fault(type, "packets to its destination never leave this machine");
    }
    route.metric = *number == 0 && *type == IPType::V6 ? kUsualMetricV6 : *number;
    return {type, route, ""};
}

std::string PolicyTableFile(const std::string& table) {
    return "/etc/iproute2/config/" + table + "-table";
}

std::optional<PolicyTable> ReadPolicyTable(IPType type, const std::string& table,
                                           Complaints& complaints) {
    const std::string path = PolicyTableFile(table);
    const auto file = SectionFile::Read(path);
    if (!file) {
        complaints.Say("Failed to read config [" + path + "]");
        return std::nullopt;
    }
    PolicyTable result;
    std::set<std::pair<Prefix, std::uint32_t>> places;
    for (const Section& section : file->sections) {
        auto [itsType, route, fault] = ReadPolicyTableRoute(section);
        if (itsType.value_or(IPType::V4) != type) {
            continue;
        }
        for (const std::string& line : section.UnknownLines(kKeys)) {
            complaints.Say("Bad line [" + line + "] in [" + path + "]");
        }
        if (route && !places.emplace(route->destination, route->metric).second) {
            fault = "another section has the same destination and metric";
        }
        if (!fault.empty()) {
            complaints.Say("Bad route [" + section.Name().substr(0, 32) + "] in [" + path
                           + "]: " + fault);
            result.malformed = true;
            continue;
        }
        result.routes.push_back(std::move(*route));
    }
    return result;
}

}  // namespace vexonetwork::network
