#include "vexonetlink/route.h"

#include <linux/rtnetlink.h>
#include <unistd.h>

#include <utility>

namespace vexonetlink {
namespace {

void Keep(const Attribute& attribute, std::vector<std::byte>& others) {
    others.insert(others.end(), attribute.whole.begin(), attribute.whole.end());
    others.resize(NLMSG_ALIGN(others.size()));
}

/// RTA_VIA: the gateway with its family before it.
IpAddress ReadVia(Bytes payload) {
    const auto family =
        ToNumber<std::uint16_t>(payload.first(std::min<std::size_t>(2, payload.size())));
    return family ? ToAddress(*family, payload.subspan(sizeof *family)) : IpAddress();
}

/// The attributes that a route and one of several hops have alike.
bool ReadGateway(const Attribute& attribute, int family, IpAddress& gateway) {
    if (attribute.type == RTA_GATEWAY) {
        gateway = ToAddress(family, attribute.payload);
    } else if (attribute.type == RTA_VIA) {
        gateway = ReadVia(attribute.payload);
    } else {
        return false;
    }
    return true;
}

NextHop ReadHop(const rtnexthop& header, Bytes bytes, int family) {
    NextHop hop;
    hop.oif = static_cast<unsigned>(header.rtnh_ifindex);
    hop.weight = header.rtnh_hops + 1U;
    hop.flags = header.rtnh_flags;
    for (Attributes attributes(bytes); const auto attribute = attributes.Next();) {
        if (!ReadGateway(*attribute, family, hop.gateway)) {
            Keep(*attribute, hop.others);
        }
    }
    return hop;
}

std::vector<NextHop> ReadHops(Bytes bytes, int family) {
    std::vector<NextHop> hops;
    rtnexthop header{};
    while (bytes.size() >= sizeof header) {
        std::memcpy(&header, bytes.data(), sizeof header);
        if (header.rtnh_len < sizeof header || header.rtnh_len > bytes.size()) {
            break;
        }
        hops.push_back(
            ReadHop(header, bytes.first(header.rtnh_len).subspan(sizeof header), family));
        bytes = BytesFrom(bytes, header.rtnh_len);
    }
    return hops;
}

/// The kernel tells ticks and takes seconds.
std::uint32_t ReadLifetime(Bytes payload) {
    static const long ticks = ::sysconf(_SC_CLK_TCK);
    const auto info = ToNumber<rta_cacheinfo>(payload);
    return info && info->rta_expires > 0
               ? static_cast<std::uint32_t>((info->rta_expires + ticks - 1) / ticks)
               : 0;
}

void ReadAttribute(const Attribute& attribute, Route& route) {
    const int family = route.Family();
    const Bytes payload = attribute.payload;
    const auto number = [payload](auto fallback) {
        return ToNumber<std::uint32_t>(payload).value_or(fallback);
    };
    switch (attribute.type) {
        case RTA_TABLE:
            route.table = number(route.table);
            break;
        case RTA_DST:
            route.destination = WithNetwork(route.destination, payload);
            break;
        case RTA_SRC:
            route.source = WithNetwork(route.source, payload);
            break;
        case RTA_PRIORITY:
            route.metric = number(0U);
            break;
        case RTA_OIF:
            route.oif = number(0U);
            break;
        case RTA_PREFSRC:
            route.preferredSource = ToAddress(family, payload);
            break;
        case RTA_MULTIPATH:
            route.hops = ReadHops(payload, family);
            break;
        case RTA_NH_ID:
            route.nextHopId = number(0U);
            break;
        case RTA_PREF:
            route.preference = ToNumber<std::uint8_t>(payload).value_or(0);
            break;
        case RTA_CACHEINFO:
            route.lifetime = ReadLifetime(payload);
            break;
        case RTA_EXPIRES:  // of a request
            route.lifetime = number(0U);
            break;
        default:
            if (!ReadGateway(attribute, family, route.gateway)) {
                Keep(attribute, route.others);
            }
            break;
    }
}

void PutPrefix(Request& request, std::uint16_t type, const IpPrefix& prefix) {
    if (prefix.Length() != 0) {
        request.Put(type, BytesOf(prefix.Network()));
    }
}

struct Via {
    std::uint16_t family;
    std::array<std::uint8_t, 16> bytes;
};

void PutGateway(Request& request, int family, const IpAddress& gateway) {
    if (!gateway) {
        return;
    }
    if (gateway.family == family) {
        request.Put(RTA_GATEWAY, BytesOf(gateway));
        return;
    }
    const Via via{static_cast<std::uint16_t>(gateway.family), gateway.bytes};
    request.Put(
        RTA_VIA,
        std::as_bytes(std::span(&via, 1)).first(sizeof via.family + AddressSize(gateway.family)));
}

/// The kernel refuses a route that carries the states it reports itself (dead, link down, …).
constexpr std::uint8_t kSettableFlags = RTNH_F_ONLINK;

void PutHops(Request& request, int family, const std::vector<NextHop>& hops) {
    std::vector<std::byte> nest;
    for (const NextHop& hop : hops) {
        rtnexthop header{};
        header.rtnh_flags = hop.flags & kSettableFlags;
        header.rtnh_hops = static_cast<std::uint8_t>(hop.weight - 1);
        header.rtnh_ifindex = static_cast<int>(hop.oif);
        Request attributes(0, 0, header);
        PutGateway(attributes, family, hop.gateway);
        attributes.PutAll(hop.others);
        const Bytes bytes = attributes.Message().subspan(sizeof(nlmsghdr));
        header.rtnh_len = static_cast<std::uint16_t>(bytes.size());
        const auto place = nest.size();
        nest.insert(nest.end(), bytes.begin(), bytes.end());
        std::memcpy(nest.data() + place, &header, sizeof header);
    }
    request.Put(RTA_MULTIPATH, nest);
}

/// With a next hop object the kernel also reports what the object says, and takes one of both.
void PutWay(Request& request, const Route& route) {
    if (route.nextHopId != 0) {
        request.PutU32(RTA_NH_ID, route.nextHopId);
        return;
    }
    PutGateway(request, route.Family(), route.gateway);
    if (route.oif != 0) {
        request.PutU32(RTA_OIF, route.oif);
    }
    if (!route.hops.empty()) {
        PutHops(request, route.Family(), route.hops);
    }
}

void PutOthers(Request& request, const Route& route) {
    for (Attributes attributes(route.others); const auto attribute = attributes.Next();) {
        const bool isOfObject = attribute->type == RTA_ENCAP || attribute->type == RTA_ENCAP_TYPE;
        if (route.nextHopId == 0 || !isOfObject) {
            request.PutAll(attribute->whole);
        }
    }
}

rtmsg HeaderOf(const Route& route) {
    rtmsg header{};
    header.rtm_family = static_cast<unsigned char>(route.Family());
    header.rtm_dst_len = route.destination.Length();
    header.rtm_src_len = route.source.Length();
    header.rtm_tos = route.tos;
    header.rtm_table = RT_TABLE_UNSPEC;
    header.rtm_protocol = route.protocol;
    header.rtm_scope = route.scope;
    header.rtm_type = route.type;
    header.rtm_flags = route.flags & kSettableFlags;
    return header;
}

}  // namespace

std::optional<Route> ReadRoute(const Message& message) {
    const auto header = FixedHeader<rtmsg>(message);
    if (!header || (message.type != RTM_NEWROUTE && message.type != RTM_DELROUTE)
        || !IsIpFamily(header->rtm_family) || header->rtm_dst_len > AddressBits(header->rtm_family)
        || header->rtm_src_len > AddressBits(header->rtm_family)) {
        return std::nullopt;
    }
    Route route;
    route.isNew = message.type == RTM_NEWROUTE;
    route.table = header->rtm_table;
    const IpAddress any{header->rtm_family, {}};
    route.destination = {any, header->rtm_dst_len};
    route.source = header->rtm_src_len == 0 ? IpPrefix() : IpPrefix(any, header->rtm_src_len);
    route.tos = header->rtm_tos;
    route.protocol = header->rtm_protocol;
    route.scope = header->rtm_scope;
    route.type = header->rtm_type;
    route.flags = header->rtm_flags;
    for (auto attributes = AttributesBehind<rtmsg>(message);
         const auto attribute = attributes.Next();) {
        ReadAttribute(*attribute, route);
    }
    return route;
}

bool RouteFilter::Holds(const Route& route) const {
    return (family == 0 || route.Family() == family) && (table == 0 || route.table == table)
           && (protocol == 0 || route.protocol == protocol) && (type == 0 || route.type == type)
           && (oif == 0 || route.oif == oif);
}

Request RoutesRequest(const RouteFilter& filter) {
    rtmsg header{};
    header.rtm_family = static_cast<unsigned char>(filter.family);
    header.rtm_protocol = filter.protocol;
    header.rtm_type = filter.type;
    Request request(RTM_GETROUTE, NLM_F_DUMP, header);
    if (filter.table != 0) {
        request.PutU32(RTA_TABLE, filter.table);
    }
    if (filter.oif != 0) {
        request.PutU32(RTA_OIF, filter.oif);
    }
    return request;
}

Request RouteToRequest(const IpAddress& destination) {
    rtmsg header{};
    header.rtm_family = static_cast<unsigned char>(destination.family);
    header.rtm_dst_len = AddressBits(destination.family);
    Request request(RTM_GETROUTE, 0, header);
    request.Put(RTA_DST, BytesOf(destination));
    return request;
}

Request RouteRequest(std::uint16_t type, int flags, const Route& route) {
    Request request(type, flags, HeaderOf(route));
    request.PutU32(RTA_TABLE, route.table);
    PutPrefix(request, RTA_DST, route.destination);
    PutPrefix(request, RTA_SRC, route.source);
    if (route.metric != 0) {
        request.PutU32(RTA_PRIORITY, route.metric);
    }
    if (route.preferredSource) {
        request.Put(RTA_PREFSRC, BytesOf(route.preferredSource));
    }
    if (route.preference != 0) {
        request.PutU8(RTA_PREF, route.preference);
    }
    if (route.lifetime != 0) {
        request.PutU32(RTA_EXPIRES, route.lifetime);
    }
    PutWay(request, route);
    PutOthers(request, route);
    return request;
}

}  // namespace vexonetlink
