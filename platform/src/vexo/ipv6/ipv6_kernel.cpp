#include "vexo/ipv6/ipv6_kernel.h"

#include <fcntl.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>
#include <netinet/icmp6.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include <vexobase/unique_fd.h>
#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

#include "vlib/file_text.h"

namespace vexoplatform {

namespace {

using vexobase::UniqueFd;
using vexonetlink::InterfaceAddress;

constexpr char kSettings[] = "/proc/sys/net/ipv6/conf/";

constexpr std::uint8_t kMadeOfAdvertisement = 2;

/// The mark of an address that the ifcfg file names (IFA_PROTO, which Linux keeps since 5.18).
constexpr std::uint8_t kConfigured = 0x76;

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

InterfaceAddress On(unsigned index, const Ipv6Address& address) {
    return {.family = AF_INET6,
            .index = index,
            .local = vexonetlink::FromInet(address.address),
            .prefixLength = static_cast<std::uint8_t>(address.prefix)};
}

GlobalAddress ToGlobalAddress(const InterfaceAddress& address) {
    return {.address = {ToInet6(address.local), address.prefixLength},
            .permanent = (address.flags & IFA_F_PERMANENT) != 0,
            .autonomous =
                address.protocol == kMadeOfAdvertisement || (address.flags & IFA_F_TEMPORARY) != 0,
            .configured = address.protocol == kConfigured};
}

/// An on-link route that runs out is that of an advertised prefix; those of addresses stay.
bool IsAdvertised(const vexonetlink::Route& route) {
    return route.protocol == RTPROT_RA || (route.protocol == RTPROT_KERNEL && route.lifetime != 0);
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

std::optional<std::vector<GlobalAddress>> ListGlobalAddresses(unsigned index) {
    const auto all = vexonetlink::AskOnce([index](vexonetlink::Socket& socket) {
        return vexonetlink::ListAddresses(socket, AF_INET6, index);
    });
    if (!all) {
        return std::nullopt;
    }
    std::vector<GlobalAddress> addresses;
    for (const InterfaceAddress& each : *all) {
        if (each.scope == RT_SCOPE_UNIVERSE) {
            addresses.push_back(ToGlobalAddress(each));
        }
    }
    return addresses;
}

int PutIpv6Address(unsigned index, const Ipv6Address& address) {
    InterfaceAddress wanted = On(index, address);
    wanted.protocol = kConfigured;
    return ChangeOnce(AddressRequest(RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE, wanted));
}

int RemoveIpv6Address(unsigned index, const Ipv6Address& address) {
    return ChangeOnce(AddressRequest(RTM_DELADDR, 0, On(index, address))) == 0
                   || errno == EADDRNOTAVAIL
               ? 0
               : -1;
}

std::optional<std::vector<vexonetlink::Route>> ListAdvertisedRoutes(unsigned index) {
    const vexonetlink::RouteFilter filter{
        .family = AF_INET6, .table = RT_TABLE_MAIN, .type = RTN_UNICAST, .oif = index};
    auto routes = vexonetlink::AskOnce(
        [&filter](vexonetlink::Socket& socket) { return vexonetlink::ListRoutes(socket, filter); });
    if (routes) {
        std::erase_if(*routes,
                      [](const vexonetlink::Route& route) { return !IsAdvertised(route); });
    }
    return routes;
}

int RemoveAdvertisedRoute(const vexonetlink::Route& route) {
    return ChangeOnce(RouteRequest(RTM_DELROUTE, 0, route)) == 0 || errno == ESRCH ? 0 : -1;
}

int SolicitRouters(unsigned index) {
    const UniqueFd socket(::socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMPV6));
    // Receivers drop it with any other hop limit.
    constexpr int kMaxHops = 255;
    if (!socket
        || ::setsockopt(socket.Get(), IPPROTO_IPV6, IPV6_MULTICAST_HOPS, &kMaxHops, sizeof kMaxHops)
               != 0) {
        return -1;
    }
    sockaddr_in6 allRouters{};
    allRouters.sin6_family = AF_INET6;
    allRouters.sin6_addr = {{{0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x02}}};
    allRouters.sin6_scope_id = index;
    nd_router_solicit solicitation{};
    solicitation.nd_rs_type = ND_ROUTER_SOLICIT;
    const auto sent = ::sendto(socket.Get(), &solicitation, sizeof solicitation, MSG_DONTWAIT,
                               reinterpret_cast<const sockaddr*>(&allRouters), sizeof allRouters);
    return sent < 0 ? -1 : 0;
}

}  // namespace vexoplatform
