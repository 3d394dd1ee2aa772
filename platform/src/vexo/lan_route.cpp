#include "vexo/lan_route.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <vexobase/log.h>

#include "vexo/netlink.h"
#include "vlib/error.h"

namespace vexoplatform {

namespace {

using Prefixes = std::vector<VEXOLANPREFIX>;

/// Ours among the numbers of routing protocols; those of the kernel and of known programs differ.
constexpr std::uint8_t kLan = 0x77;
constexpr std::uint32_t kLastPriority = std::numeric_limits<std::int32_t>::max();

std::optional<VEXOLANPREFIX> ParseRoute(const nlmsghdr& message) {
    const auto* header = FixedHeader<rtmsg>(message);
    if (message.nlmsg_type != RTM_NEWROUTE || header == nullptr || header->rtm_family != AF_INET6
        || header->rtm_table != RT_TABLE_MAIN || header->rtm_type != RTN_UNREACHABLE
        || header->rtm_protocol != kLan) {
        return std::nullopt;
    }
    VEXOLANPREFIX prefix{};
    const auto bytes = NetlinkAttributes(message, sizeof *header).Bytes(RTA_DST);
    if (bytes.size() != sizeof prefix.network) {
        return std::nullopt;
    }
    std::memcpy(&prefix.network, bytes.data(), bytes.size());
    prefix.length = header->rtm_dst_len;
    return prefix;
}

std::optional<Prefixes> ListRoutes() {
    NetlinkRequest request(RTM_GETROUTE, NLM_F_DUMP);
    request.PutHeader<rtmsg>().rtm_family = AF_INET6;
    return NetlinkDump<VEXOLANPREFIX>(request, ParseRoute);
}

int ChangeRoute(std::uint16_t type, std::uint16_t flags, const VEXOLANPREFIX& prefix) {
    NetlinkRequest request(type, flags);
    auto& header = request.PutHeader<rtmsg>();
    header.rtm_family = AF_INET6;
    header.rtm_dst_len = static_cast<std::uint8_t>(prefix.length);
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_protocol = kLan;
    header.rtm_type = RTN_UNREACHABLE;
    request.Put(RTA_DST, std::as_bytes(std::span(&prefix.network, 1)));
    request.PutU32(RTA_PRIORITY, kLastPriority);
    return NetlinkExchange(request);
}

bool Contains(const Prefixes& all, const VEXOLANPREFIX& wanted) {
    return std::ranges::any_of(all, [&](const VEXOLANPREFIX& each) {
        return each.length == wanted.length && IN6_ARE_ADDR_EQUAL(&each.network, &wanted.network);
    });
}

int Refused(const char* what, const VEXOLANPREFIX& prefix) {
    const std::string why = std::strerror(errno);
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET6, &prefix.network, text.data(), text.size());
    VEXO_LOG(LOG_ERR, "Failed to %s the unreachable route of %s/%d: %s", what, text.data(),
             prefix.length, why.c_str());
    VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
    return -1;
}

int SetRoutes(const Prefixes& present, const Prefixes& wanted) {
    int result = 0;
    for (const VEXOLANPREFIX& each : present) {
        if (!Contains(wanted, each) && ChangeRoute(RTM_DELROUTE, 0, each) != 0 && errno != ESRCH) {
            result = Refused("remove", each);
        }
    }
    for (const VEXOLANPREFIX& each : wanted) {
        if (!Contains(present, each)
            && ChangeRoute(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE, each) != 0) {
            result = Refused("put", each);
        }
    }
    return result;
}

}  // namespace

}  // namespace vexoplatform

int VEXONetLanRouteSet(const VEXOLANPREFIX* prefixes, int count) {
    using namespace vexoplatform;
    if (count < 0 || (count > 0 && prefixes == nullptr)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const auto present = ListRoutes();
    if (!present) {
        VEXO_LOG(LOG_ERR, "Failed to read the IPv6 routes: %s", std::strerror(errno));
        VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
        return -1;
    }
    return SetRoutes(*present, Prefixes(prefixes, prefixes + count));
}
