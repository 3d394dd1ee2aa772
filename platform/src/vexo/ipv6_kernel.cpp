#include "vexo/ipv6_kernel.h"

#include <fcntl.h>
#include <linux/if_addr.h>
#include <netinet/icmp6.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <span>

#include <vexobase/unique_fd.h>

#include "vexo/netlink.h"
#include "vlib/file_text.h"

namespace vexoplatform {

namespace {

using vexobase::UniqueFd;

constexpr char kSettings[] = "/proc/sys/net/ipv6/conf/";

constexpr std::uint8_t kMadeOfAdvertisement = 2;

std::optional<AddressPurpose> PurposeOf(std::optional<std::uint8_t> mark) {
    for (const auto purpose : {AddressPurpose::kConfigured, AddressPurpose::kLan}) {
        if (mark == static_cast<std::uint8_t>(purpose)) {
            return purpose;
        }
    }
    return std::nullopt;
}

std::string SettingPath(const std::string& ifname, const char* setting) {
    return kSettings + ifname + "/" + setting;
}

/// As the kernel shows it.
std::string SettingText(int value) {
    return std::to_string(value) + "\n";
}

int WriteSetting(const std::string& path, int value) {
    const UniqueFd file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    const std::string text = std::to_string(value);
    return file && ::write(file.Get(), text.data(), text.size()) > 0 ? 0 : -1;
}

std::optional<GlobalAddress> ParseAddress(const nlmsghdr& message) {
    const auto* header = FixedHeader<ifaddrmsg>(message);
    if (message.nlmsg_type != RTM_NEWADDR || header == nullptr || header->ifa_family != AF_INET6
        || header->ifa_scope != RT_SCOPE_UNIVERSE) {
        return std::nullopt;
    }
    const NetlinkAttributes attributes(message, sizeof *header);
    // On a point-to-point link IFA_ADDRESS is the peer's.
    const bool hasPeer = attributes.Find(IFA_LOCAL) != nullptr;
    const auto bytes = attributes.Bytes(hasPeer ? IFA_LOCAL : IFA_ADDRESS);
    GlobalAddress result;
    if (bytes.size() != sizeof result.address.address) {
        return std::nullopt;
    }
    std::memcpy(&result.address.address, bytes.data(), bytes.size());
    result.index = static_cast<int>(header->ifa_index);
    result.address.prefix = header->ifa_prefixlen;
    result.permanent = (header->ifa_flags & IFA_F_PERMANENT) != 0;
    const auto origin = attributes.U8(IFA_PROTO);
    result.autonomous =
        origin == kMadeOfAdvertisement || (header->ifa_flags & IFA_F_TEMPORARY) != 0;
    result.purpose = PurposeOf(origin);
    return result;
}

void PutAddressHeader(NetlinkRequest& request, int index, const Ipv6Address& address) {
    auto& header = request.PutHeader<ifaddrmsg>();
    header.ifa_family = AF_INET6;
    header.ifa_prefixlen = static_cast<std::uint8_t>(address.prefix);
    header.ifa_index = static_cast<unsigned int>(index);
    request.Put(IFA_LOCAL, std::as_bytes(std::span(&address.address, 1)));
}

/// An on-link route that runs out is that of an advertised prefix; those of addresses stay.
bool RunsOut(const NetlinkAttributes& attributes) {
    rta_cacheinfo info{};
    const auto bytes = attributes.Bytes(RTA_CACHEINFO);
    if (bytes.size() < sizeof info) {
        return false;
    }
    std::memcpy(&info, bytes.data(), sizeof info);
    return info.rta_expires > 0;
}

std::optional<AdvertisedRoute> ParseRoute(const nlmsghdr& message) {
    const auto* header = FixedHeader<rtmsg>(message);
    if (message.nlmsg_type != RTM_NEWROUTE || header == nullptr || header->rtm_family != AF_INET6
        || header->rtm_table != RT_TABLE_MAIN || header->rtm_type != RTN_UNICAST
        || (header->rtm_protocol != RTPROT_RA && header->rtm_protocol != RTPROT_KERNEL)) {
        return std::nullopt;
    }
    const NetlinkAttributes attributes(message, sizeof *header);
    if (header->rtm_protocol == RTPROT_KERNEL && !RunsOut(attributes)) {
        return std::nullopt;
    }
    return AdvertisedRoute{
        .isDefault = header->rtm_dst_len == 0, .header = *header, .attributes = attributes.Copy()};
}

}  // namespace

int PutIpv6Setting(const std::string& ifname, const char* setting, int value) {
    const std::string path = SettingPath(ifname, setting);
    const auto file = vlib::ReadFileText(path.c_str());
    if (!file) {
        return -1;
    }
    if (file->View() == SettingText(value)) {
        return 0;
    }
    return WriteSetting(path, value) == 0 ? 1 : -1;
}

bool HasIpv6Setting(const std::string& ifname, const char* setting, int value) {
    const auto file = vlib::ReadFileText(SettingPath(ifname, setting).c_str());
    return file && file->View() == SettingText(value);
}

bool HasIpv6(const std::string& ifname) {
    return ::access((kSettings + ifname).c_str(), F_OK) == 0;
}

std::optional<std::vector<GlobalAddress>> ListGlobalAddresses(int index) {
    NetlinkRequest request(RTM_GETADDR, NLM_F_DUMP);
    auto& header = request.PutHeader<ifaddrmsg>();
    header.ifa_family = AF_INET6;
    header.ifa_index = static_cast<unsigned int>(index);
    auto addresses = NetlinkDump<GlobalAddress>(request, ParseAddress);
    if (addresses && index != 0) {
        std::erase_if(*addresses, [&](const GlobalAddress& each) { return each.index != index; });
    }
    return addresses;
}

int PutIpv6Address(int index, const Ipv6Address& address, AddressPurpose purpose) {
    NetlinkRequest request(RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE);
    PutAddressHeader(request, index, address);
    request.Put(IFA_PROTO, std::as_bytes(std::span(&purpose, 1)));
    return NetlinkExchange(request);
}

int RemoveIpv6Address(int index, const Ipv6Address& address) {
    NetlinkRequest request(RTM_DELADDR, 0);
    PutAddressHeader(request, index, address);
    return NetlinkExchange(request) == 0 || errno == EADDRNOTAVAIL ? 0 : -1;
}

std::optional<std::vector<AdvertisedRoute>> ListAdvertisedRoutes(int index) {
    NetlinkRequest request(RTM_GETROUTE, NLM_F_DUMP);
    auto& header = request.PutHeader<rtmsg>();
    header.rtm_family = AF_INET6;
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_type = RTN_UNICAST;
    request.PutU32(RTA_OIF, static_cast<std::uint32_t>(index));
    auto routes = NetlinkDump<AdvertisedRoute>(request, ParseRoute);
    if (routes) {
        std::erase_if(*routes, [&](const AdvertisedRoute& each) {
            const auto over = NetlinkAttributes(each.attributes).U32(RTA_OIF);
            return over != static_cast<std::uint32_t>(index);
        });
    }
    return routes;
}

int RemoveAdvertisedRoute(const AdvertisedRoute& route) {
    NetlinkRequest request(RTM_DELROUTE, 0);
    request.PutHeader<rtmsg>() = route.header;
    request.PutAll(NetlinkAttributes(route.attributes));
    return NetlinkExchange(request) == 0 || errno == ESRCH ? 0 : -1;
}

int SolicitRouters(int index) {
    const UniqueFd socket(::socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMPV6));
    // Receivers drop it with any other hop limit.
    constexpr int kMostHops = 255;
    if (!socket
        || ::setsockopt(socket.Get(), IPPROTO_IPV6, IPV6_MULTICAST_HOPS, &kMostHops,
                        sizeof kMostHops)
               != 0) {
        return -1;
    }
    sockaddr_in6 allRouters{};
    allRouters.sin6_family = AF_INET6;
    allRouters.sin6_addr = {{{0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x02}}};
    allRouters.sin6_scope_id = static_cast<std::uint32_t>(index);
    nd_router_solicit solicitation{};
    solicitation.nd_rs_type = ND_ROUTER_SOLICIT;
    const auto sent = ::sendto(socket.Get(), &solicitation, sizeof solicitation, MSG_DONTWAIT,
                               reinterpret_cast<const sockaddr*>(&allRouters), sizeof allRouters);
    return sent < 0 ? -1 : 0;
}

}  // namespace vexoplatform
