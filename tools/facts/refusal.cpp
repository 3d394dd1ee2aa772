#include "facts/refusal.h"

#include <arpa/inet.h>

#include <array>

#include <vexo/net_interface.h>
#include <vexobase/ip_address.h>
#include <vexonetwork/utils/json_reader.h>

#include "facts/ip_reply.h"

namespace vexonetctl {
namespace {

using vexonetwork::utils::GetString;

bool HasAddressV4(const std::string& ifname) {
    std::array<char, INET_ADDRSTRLEN> address{};
    return ::VEXOILnxGetIP(ifname.c_str(), address.data(), int(address.size())) == 0;
}

/// An IPv6 gateway of this kind is a neighbour on every interface.
bool IsLinkLocal(const Family& family, const std::string& gateway) {
    const auto address = vexobase::ParseAddress(family.number, gateway);
    return address && IsLinkLocalV6(*address);
}

std::string WhyNoNeighbour(const Family& family, const std::string& ifname,
                           const std::string& gateway) {
    const auto routes =
        AskIp(family.flag, "route", "get", "fibmatch", gateway.c_str(), "oif", ifname.c_str());
    const Json::Value route = routes && !routes->empty() ? (*routes)[0] : Json::Value();
    if (!route.isObject() || route.isMember("gateway") || route.isMember("via")) {
        return "no direct route to its gateway";
    }
    const std::string type = GetString(route, "type").value_or("unicast");
    // A route to oneself is of no use, but IPv4 takes it.
    const bool isTaken = type == "unicast" || (type == "local" && family.number == AF_INET);
    return isTaken ? "" : "its gateway is a " + type + " address";
}

}  // namespace

std::string WhyRefused(const Family& family, const std::string& ifname,
                       const std::string& gateway) {
    const int isUp = ::VEXONetIsIFUp(ifname.c_str());
    if (isUp != 1) {
        return isUp < 0 ? "no such interface" : "the interface is down";
    }
    if (family.number == AF_INET && !HasAddressV4(ifname)) {
        return "the interface has no IPv4 address";
    }
    if (family.number == AF_INET6 && gateway == "::") {
        return "";
    }
    if (gateway.empty()) {
        return "the entry has no gateway";
    }
    if ((gateway.find(':') != gateway.npos) != (family.number == AF_INET6)) {
        return std::string("its gateway is no ") + family.name + " address";
    }
    return IsLinkLocal(family, gateway) ? "" : WhyNoNeighbour(family, ifname, gateway);
}

}  // namespace vexonetctl
