#include "network/gateway/main_defaults.h"

#include <net/if.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <span>
#include <utility>

namespace vexonetwork::network::module {
namespace {

// The kernel fills its dump messages up to the room it was seen to get, at most this much.
constexpr std::size_t kBufferSize = 32768;
constexpr int kMaxAttempts = 16;

/// The kernel answers at once, but for an answer that got lost nobody must wait forever.
constexpr timeval kLongestWait{5, 0};

/// Calls `visit` with each attribute; all of them lie inside the bytes.
template <typename Visit>
void ForEachAttribute(std::span<const char> bytes, const Visit& visit) {
    const auto* attribute = reinterpret_cast<const nlattr*>(bytes.data());
    const char* end = bytes.data() + bytes.size();
    while (
        mnl_attr_ok(attribute, static_cast<int>(end - reinterpret_cast<const char*>(attribute)))) {
        visit(*attribute);
        attribute = mnl_attr_next(attribute);
    }
}

std::optional<std::uint32_t> U32(const nlattr& attribute) {
    return mnl_attr_validate(&attribute, MNL_TYPE_U32) == 0
               ? std::optional(mnl_attr_get_u32(&attribute))
               : std::nullopt;
}

/// The kernel refuses a route that carries the states it reports itself (dead, link down, ...).
void DropHopStates(std::span<char> hops) {
    auto* hop = reinterpret_cast<rtnexthop*>(hops.data());
    auto left = static_cast<int>(hops.size());
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

void ReadHop(std::span<const char> attributes, DefaultRoute& route);

void ReadAttribute(const nlattr& attribute, DefaultRoute& route) {
    const auto* payload = static_cast<const char*>(mnl_attr_get_payload(&attribute));
    const std::size_t length = mnl_attr_get_payload_len(&attribute);
    switch (mnl_attr_get_type(&attribute)) {
        case RTA_OIF:
            route.oif = U32(attribute).value_or(0);
            break;
        case RTA_PRIORITY:
            route.metric = U32(attribute).value_or(0);
            break;
        case RTA_GATEWAY:
            route.gatewayV4 = U32(attribute).value_or(0);
            [[fallthrough]];
        case RTA_VIA:
            route.hasGateway = true;
            break;
        case RTA_MULTIPATH: {
            rtnexthop hop{};
            if (length < sizeof hop) {
                break;
            }
            std::memcpy(&hop, payload, sizeof hop);
            if (hop.rtnh_len >= sizeof hop && hop.rtnh_len <= length) {
                route.oif = static_cast<unsigned>(hop.rtnh_ifindex);
                ReadHop({payload + sizeof hop, hop.rtnh_len - sizeof hop}, route);
            }
            break;
        }
        case RTA_CACHEINFO: {
            rta_cacheinfo info{};
            std::memcpy(&info, payload, std::min(length, sizeof info));
            const long ticks = ::sysconf(_SC_CLK_TCK);
            if (info.rta_expires > 0 && ticks > 0) {
                route.lifetime = static_cast<std::uint32_t>(info.rta_expires / ticks + 1);
            }
            break;
        }
        default:
            break;
    }
}

void ReadHop(std::span<const char> attributes, DefaultRoute& route) {
    ForEachAttribute(attributes, [&](const nlattr& attribute) { ReadAttribute(attribute, route); });
}

/// What the kernel takes again of what it has told.
std::vector<char> CopyAttributes(std::span<const char> attributes) {
    bool hasObject = false;
    ForEachAttribute(attributes, [&](const nlattr& attribute) {
        hasObject = hasObject || mnl_attr_get_type(&attribute) == RTA_NH_ID;
    });
    std::vector<char> copy;
    ForEachAttribute(attributes, [&](const nlattr& attribute) {
        const std::uint16_t type = mnl_attr_get_type(&attribute);
        if (type == RTA_CACHEINFO || (hasObject && IsToldByNextHopObject(type))) {
            return;
        }
        const auto place = copy.size();
        copy.resize(place + MNL_ALIGN(attribute.nla_len));
        std::memcpy(copy.data() + place, &attribute, attribute.nla_len);
        if (type == RTA_MULTIPATH) {
            DropHopStates(
                {copy.data() + place + MNL_ATTR_HDRLEN, mnl_attr_get_payload_len(&attribute)});
        }
    });
    return copy;
}

std::optional<DefaultRoute> ReadDefaultRoute(int family, const nlmsghdr& message) {
    rtmsg header{};
    const std::size_t length = mnl_nlmsg_get_payload_len(&message);
    if (message.nlmsg_type != RTM_NEWROUTE || length < sizeof header) {
        return std::nullopt;
    }
    const auto* payload = static_cast<const char*>(mnl_nlmsg_get_payload(&message));
    std::memcpy(&header, payload, sizeof header);
    if (header.rtm_family != family || header.rtm_dst_len != 0 || header.rtm_src_len != 0
        || header.rtm_type != RTN_UNICAST || header.rtm_table != RT_TABLE_MAIN
        || (header.rtm_flags & RTM_F_CLONED) != 0) {
        return std::nullopt;
    }
    const std::span attributes(payload + sizeof header, length - sizeof header);
    DefaultRoute route;
    ReadHop(attributes, route);
    route.header = header;
    route.header.rtm_flags &= RTNH_F_ONLINK;
    route.attributes = CopyAttributes(attributes);
    return route;
}

}  // namespace

bool DefaultRoute::operator==(const DefaultRoute& other) const {
    return std::memcmp(&header, &other.header, sizeof header) == 0
           && attributes == other.attributes;
}

MainDefaults::MainDefaults(int routeFamily)
    : family(routeFamily), socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC)) {
    if (!socket || mnl_socket_bind(socket.Get(), 0, MNL_SOCKET_AUTOPID) != 0) {
        socket = decltype(socket)();
        return;
    }
    int on = 1;  // An old kernel dumps all tables, which are filtered again.
    mnl_socket_setsockopt(socket.Get(), NETLINK_GET_STRICT_CHK, &on, sizeof on);
    ::setsockopt(mnl_socket_get_fd(socket.Get()), SOL_SOCKET, SO_RCVTIMEO, &kLongestWait,
                 sizeof kLongestWait);
}

/// @return 0 or an error number; EINTR says that what was dumped changed meanwhile
int MainDefaults::Exchange(nlmsghdr& request, const Visit& visit) {
    if (!socket) {
        return EBADF;
    }
    request.nlmsg_seq = ++sequence;
    if (mnl_socket_sendto(socket.Get(), &request, request.nlmsg_len) < 0) {
        return errno;
    }
    std::vector<char> buffer(kBufferSize);
    for (bool changed = false;;) {
        const ssize_t length = mnl_socket_recvfrom(socket.Get(), buffer.data(), buffer.size());
        if (length < 0 && errno != EINTR) {
            return errno;
        }
        int left = static_cast<int>(std::max<ssize_t>(length, 0));
        const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
        for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
            if (message->nlmsg_seq != sequence) {
                continue;
            }
            changed = changed || (message->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
            if (message->nlmsg_type != NLMSG_ERROR && message->nlmsg_type != NLMSG_DONE) {
                visit(*message);
                continue;
            }
            int error = -EBADMSG;
            if (mnl_nlmsg_get_payload_len(message) >= sizeof error) {
                std::memcpy(&error, mnl_nlmsg_get_payload(message), sizeof error);
            }
            return error != 0 ? -error : changed ? EINTR : 0;
        }
    }
}

std::optional<DefaultRoutes> MainDefaults::List() {
    alignas(nlmsghdr) std::array<char, MNL_NLMSG_HDRLEN + sizeof(rtmsg)> bytes{};
    nlmsghdr& request = *mnl_nlmsg_put_header(bytes.data());
    request.nlmsg_type = RTM_GETROUTE;
    request.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    auto& header = *static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(&request, sizeof(rtmsg)));
    header.rtm_family = static_cast<unsigned char>(family);
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_type = RTN_UNICAST;
    DefaultRoutes routes;
    int error = EINTR;
    for (int attempt = 0; error == EINTR && attempt < kMaxAttempts; ++attempt) {
        routes.clear();
        error = Exchange(request, [&](const nlmsghdr& message) {
            if (auto route = ReadDefaultRoute(family, message)) {
                routes.push_back(std::move(*route));
            }
        });
    }
    errno = error;
    // Before its first route the main table does not exist, nor does a family that is switched off.
    return error == 0 || error == ENOENT || error == EAFNOSUPPORT ? std::optional(std::move(routes))
                                                                  : std::nullopt;
}

bool MainDefaults::Send(std::uint16_t type, int flags, const DefaultRoute& route) {
    constexpr std::size_t kLifetimeSize = MNL_ATTR_HDRLEN + sizeof(std::uint32_t);
    std::vector<char> bytes(MNL_NLMSG_HDRLEN + sizeof(rtmsg) + route.attributes.size()
                            + kLifetimeSize);
    nlmsghdr& request = *mnl_nlmsg_put_header(bytes.data());
    request.nlmsg_type = type;
    request.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | NLM_F_ACK | flags);
    *static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(&request, sizeof(rtmsg))) = route.header;
    std::ranges::copy(route.attributes, static_cast<char*>(mnl_nlmsg_get_payload_tail(&request)));
    request.nlmsg_len += static_cast<std::uint32_t>(route.attributes.size());
    if (route.lifetime != 0 && type == RTM_NEWROUTE) {
        mnl_attr_put_u32(&request, RTA_EXPIRES, route.lifetime);
    }
    errno = Exchange(request, [](const nlmsghdr&) {});
    return errno == 0;
}

bool MainDefaults::Remove(const DefaultRoute& route) {
    return Send(RTM_DELROUTE, 0, route) || errno == ESRCH;
}

bool MainDefaults::PutBack(const DefaultRoute& route) {
    return Send(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_APPEND, route) || errno == EEXIST;
}

}  // namespace vexonetwork::network::module
