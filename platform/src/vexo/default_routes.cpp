#include "vexo/default_routes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "vexo/netlink.h"

namespace vexoplatform {

namespace {

std::optional<in_addr> GatewayOf(const NetlinkAttributes& attributes) {
    // An IPv6 next hop (RTA_VIA) has no text that callers of an IPv4 gateway could use.
    const auto gateway = attributes.U32(RTA_GATEWAY);
    return gateway ? std::optional(in_addr{*gateway}) : std::nullopt;
}

std::optional<in_addr> FirstHopGateway(std::span<const std::byte> hops) {
    rtnexthop hop{};
    if (hops.size() < sizeof hop) {
        return std::nullopt;
    }
    std::memcpy(&hop, hops.data(), sizeof hop);
    if (hop.rtnh_len < sizeof hop || hop.rtnh_len > hops.size()) {
        return std::nullopt;
    }
    return GatewayOf(NetlinkAttributes(hops.subspan(sizeof hop, hop.rtnh_len - sizeof hop)));
}

/// The kernel refuses a route that carries the states it reports itself (dead, link down, ...).
void DropHopStates(std::byte* hops, std::size_t size) {
    auto* hop = reinterpret_cast<rtnexthop*>(hops);
    auto left = static_cast<int>(size);
    while (left >= static_cast<int>(sizeof *hop) && RTNH_OK(hop, left)) {
        hop->rtnh_flags &= RTNH_F_ONLINK;
        left -= static_cast<int>(RTNH_ALIGN(hop->rtnh_len));
        hop = RTNH_NEXT(hop);
    }
}

/// With a next-hop object the kernel also reports what the object says, and takes only one of both.
bool IsToldByNextHopObject(std::uint16_t type) {
    constexpr std::uint16_t kTypes[] = {RTA_OIF,       RTA_GATEWAY, RTA_VIA,
                                        RTA_MULTIPATH, RTA_ENCAP,   RTA_ENCAP_TYPE};
    return std::ranges::find(kTypes, type) != std::end(kTypes);
}

std::vector<std::byte> CopyAttributes(const NetlinkAttributes& attributes) {
    const bool hasObject = attributes.Find(RTA_NH_ID) != nullptr;
    std::vector<std::byte> copy;
    attributes.ForEach([&](const nlattr& attribute) {
        const std::uint16_t type = mnl_attr_get_type(&attribute);
        if (hasObject && IsToldByNextHopObject(type)) {
            return;
        }
        const auto place = copy.size();
        copy.resize(place + MNL_ALIGN(attribute.nla_len));
        std::memcpy(copy.data() + place, &attribute, attribute.nla_len);
        if (type == RTA_MULTIPATH) {
            DropHopStates(copy.data() + place + MNL_ATTR_HDRLEN,
                          mnl_attr_get_payload_len(&attribute));
        }
    });
    return copy;
}

std::optional<DefaultRoute> ParseDefaultRoute(const nlmsghdr& message) {
    const auto* header = FixedHeader<rtmsg>(message);
    // First what costs nothing: there may be thousands of other routes.
    if (message.nlmsg_type != RTM_NEWROUTE || header == nullptr || header->rtm_family != AF_INET
        || header->rtm_dst_len != 0 || header->rtm_type != RTN_UNICAST
        || header->rtm_table != RT_TABLE_MAIN) {
        return std::nullopt;
    }
    const NetlinkAttributes attributes(message, sizeof *header);
    DefaultRoute route;
    route.metric = attributes.U32(RTA_PRIORITY).value_or(0);
    const auto hops = attributes.Bytes(RTA_MULTIPATH);
    route.multipath = !hops.empty();
    route.gateway = route.multipath ? FirstHopGateway(hops) : GatewayOf(attributes);
    route.header = *header;
    route.header.rtm_flags &= RTNH_F_ONLINK;
    route.attributes = CopyAttributes(attributes);
    return route;
}

int SendRoute(std::uint16_t type, std::uint16_t flags, const DefaultRoute& route) {
    NetlinkRequest request(type, flags);
    request.PutHeader<rtmsg>() = route.header;
    request.PutAll(NetlinkAttributes(route.attributes));
    return NetlinkExchange(request);
}

}  // namespace

std::optional<std::vector<DefaultRoute>> ListDefaultRoutes() {
    NetlinkRequest request(RTM_GETROUTE, NLM_F_DUMP);
    auto& header = request.PutHeader<rtmsg>();
    header.rtm_family = AF_INET;
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_type = RTN_UNICAST;
    auto routes = NetlinkDump<DefaultRoute>(request, ParseDefaultRoute);
    // Before its first route the main table does not exist.
    if (!routes && errno == ENOENT) {
        routes.emplace();
    }
    return routes;
}

int RemoveDefaultRoute(const DefaultRoute& route) {
    return SendRoute(RTM_DELROUTE, 0, route) == 0 || errno == ESRCH ? 0 : -1;
}

int PutBackDefaultRoute(const DefaultRoute& route) {
    return SendRoute(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_APPEND, route) == 0 || errno == EEXIST ? 0
                                                                                               : -1;
}

void DropSource(DefaultRoute& route) {
    std::vector<std::byte> kept;
    NetlinkAttributes(route.attributes).ForEach([&](const nlattr& attribute) {
        if (mnl_attr_get_type(&attribute) != RTA_PREFSRC) {
            const auto* bytes = reinterpret_cast<const std::byte*>(&attribute);
            kept.insert(kept.end(), bytes, bytes + MNL_ALIGN(attribute.nla_len));
        }
    });
    route.attributes = std::move(kept);
}

int PutDefaultRoute(in_addr gateway) {
    NetlinkRequest request(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE);
    auto& header = request.PutHeader<rtmsg>();
    header.rtm_family = AF_INET;
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_protocol = RTPROT_STATIC;
    header.rtm_scope = RT_SCOPE_UNIVERSE;
    header.rtm_type = RTN_UNICAST;
    request.PutU32(RTA_GATEWAY, gateway.s_addr);
    return NetlinkExchange(request) == 0 || errno == EEXIST ? 0 : -1;
}

}  // namespace vexoplatform
