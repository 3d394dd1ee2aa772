#include "vexo/link.h"

#include <linux/if.h>

#include <algorithm>
#include <cstring>

#include "vexo/netlink.h"

namespace vexoplatform {

namespace {

/// Loopback and tunnels carry a link-layer address of zeros or of another length.
std::optional<std::array<std::uint8_t, 6>> ParseMac(std::span<const std::byte> bytes) {
    std::array<std::uint8_t, 6> mac{};
    if (bytes.size() != mac.size()) {
        return std::nullopt;
    }
    std::memcpy(mac.data(), bytes.data(), mac.size());
    if (mac == std::array<std::uint8_t, 6>{}) {
        return std::nullopt;
    }
    return mac;
}

OperState FoldOperState(std::optional<std::uint8_t> state) {
    if (!state || *state == IF_OPER_UNKNOWN) {
        return OperState::kUnknown;
    }
    return *state == IF_OPER_UP ? OperState::kUp : OperState::kDown;
}

std::optional<Link> ParseLink(const nlmsghdr& message) {
    const auto* header = FixedHeader<ifinfomsg>(message);
    if (message.nlmsg_type != RTM_NEWLINK || header == nullptr) {
        return std::nullopt;
    }
    const NetlinkAttributes attributes(message, sizeof *header);
    const auto name = attributes.Text(IFLA_IFNAME);
    if (!name || name->size() >= IFNAMSIZ) {
        return std::nullopt;
    }
    const auto portKind = attributes.Nest(IFLA_LINKINFO).Text(IFLA_INFO_SLAVE_KIND);
    return Link{.name = *name,
                .index = header->ifi_index,
                .hardware = header->ifi_type,
                .flags = header->ifi_flags,
                .operState = FoldOperState(attributes.U8(IFLA_OPERSTATE)),
                .carrier = (header->ifi_flags & IFF_LOWER_UP) != 0,
                .mtu = static_cast<int>(attributes.U32(IFLA_MTU).value_or(0)),
                .mac = ParseMac(attributes.Bytes(IFLA_ADDRESS)),
                .bridgePort = portKind == "bridge"};
}

struct IndexedAddress {
    int index;
    LinkAddress address;
};

std::optional<IndexedAddress> ParseAddress(const nlmsghdr& message) {
    const auto* header = FixedHeader<ifaddrmsg>(message);
    if (message.nlmsg_type != RTM_NEWADDR || header == nullptr || header->ifa_family != AF_INET) {
        return std::nullopt;
    }
    const NetlinkAttributes attributes(message, sizeof *header);
    // On a point-to-point link IFA_ADDRESS is the peer's.
    auto local = attributes.U32(IFA_LOCAL);
    if (!local) {
        local = attributes.U32(IFA_ADDRESS);
    }
    if (!local) {
        return std::nullopt;
    }
    return IndexedAddress{static_cast<int>(header->ifa_index),
                          {in_addr{*local}, header->ifa_prefixlen}};
}

}  // namespace

std::optional<Link> FindLink(const char* ifname) {
    if (ifname == nullptr || *ifname == '\0' || std::strlen(ifname) >= IFNAMSIZ) {
        errno = ENODEV;
        return std::nullopt;
    }
    NetlinkRequest request(RTM_GETLINK, 0);
    request.PutHeader<ifinfomsg>();
    request.PutText(IFLA_IFNAME, ifname);
    std::vector<Link> found;
    const auto collect = [&](const nlmsghdr& message) {
        auto link = ParseLink(message);
        // The kernel also finds an interface by its alternative names.
        if (link && link->name == ifname) {
            found.push_back(std::move(*link));
        }
    };
    if (NetlinkExchange(request, collect) != 0) {
        return std::nullopt;
    }
    if (found.empty()) {
        errno = ENODEV;
        return std::nullopt;
    }
    return std::move(found.front());
}

std::optional<std::vector<Link>> ListLinks() {
    NetlinkRequest request(RTM_GETLINK, NLM_F_DUMP);
    request.PutHeader<ifinfomsg>();
    auto links = NetlinkDump<Link>(request, ParseLink);
    if (links) {
        std::ranges::sort(*links, {}, &Link::index);
    }
    return links;
}

std::optional<std::vector<LinkAddress>> ListAddresses(int index) {
    NetlinkRequest request(RTM_GETADDR, NLM_F_DUMP);
    auto& header = request.PutHeader<ifaddrmsg>();
    header.ifa_family = AF_INET;
    header.ifa_index = static_cast<unsigned int>(index);
    const auto all = NetlinkDump<IndexedAddress>(request, ParseAddress);
    if (!all) {
        return std::nullopt;
    }
    std::vector<LinkAddress> addresses;
    for (const IndexedAddress& each : *all) {
        if (each.index == index) {
            addresses.push_back(each.address);
        }
    }
    return addresses;
}

int SetLinkMtu(int index, int mtu) {
    NetlinkRequest request(RTM_NEWLINK, 0);
    request.PutHeader<ifinfomsg>().ifi_index = index;
    request.PutU32(IFLA_MTU, static_cast<std::uint32_t>(mtu));
    return NetlinkExchange(request);
}

}  // namespace vexoplatform
