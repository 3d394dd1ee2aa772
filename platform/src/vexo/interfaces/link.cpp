#include "vexo/interfaces/link.h"

#include <linux/if.h>

#include <algorithm>
#include <string>

#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

namespace vexoplatform {

using vexonetlink::AskOnce;
using vexonetlink::Socket;

OperState OperStateOf(const Link& link) {
    if (link.operState == IF_OPER_UNKNOWN) {
        return OperState::kUnknown;
    }
    return link.operState == IF_OPER_UP ? OperState::kUp : OperState::kDown;
}

bool HasCarrier(const Link& link) {
    return (link.flags & IFF_LOWER_UP) != 0;
}

std::optional<std::array<std::uint8_t, 6>> MacOf(const Link& link) {
    std::array<std::uint8_t, 6> mac{};
    if (link.hardwareAddress.size() != mac.size()) {
        return std::nullopt;
    }
    std::ranges::copy(link.hardwareAddress, mac.begin());
    return mac == std::array<std::uint8_t, 6>{} ? std::nullopt : std::optional(mac);
}

std::optional<Link> FindLink(const char* ifname) {
    const std::string name(ifname == nullptr ? "" : ifname);
    return AskOnce([&name](Socket& socket) { return vexonetlink::FindLink(socket, name); });
}

std::optional<std::vector<Link>> ListLinks() {
    auto links = AskOnce(vexonetlink::ListLinks);
    if (links) {
        std::ranges::sort(*links, {}, &Link::index);
    }
    return links;
}

std::optional<std::vector<LinkAddress>> ListAddresses(unsigned index) {
    const auto all = AskOnce(
        [index](Socket& socket) { return vexonetlink::ListAddresses(socket, AF_INET, index); });
    if (!all) {
        return std::nullopt;
    }
    std::vector<LinkAddress> addresses;
    for (const vexonetlink::InterfaceAddress& each : *all) {
        addresses.push_back({ToInet4(each.local), each.prefixLength});
    }
    return addresses;
}

int SetLinkMtu(unsigned index, int mtu) {
    return ChangeOnce(vexonetlink::MtuRequest(index, static_cast<std::uint32_t>(mtu)));
}

}  // namespace vexoplatform
