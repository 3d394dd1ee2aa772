#include "vexo/net_interface.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/if_arp.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "vexo/interfaces/link.h"
#include "vexo/out_text.h"
#include "vlib/error.h"
#include "vlib/exec.h"
#include "vlib/ipv4.h"

namespace {

using vexoplatform::FindLink;
using vexoplatform::Link;
using vexoplatform::LinkAddress;
using vexoplatform::PutOut;
using vlib::ToText;

std::optional<Link> FindLinkOrError(const char* ifname) {
    auto link = FindLink(ifname);
    if (!link) {
        VLIBCErrSet(errno == ENODEV ? VLIB_ERR_NOT_FOUND : VLIB_ERR_NETLINK_FAILED);
    }
    return link;
}

bool IsAddress(int family, const char* address, int prefix) {
    in6_addr parsed{};
    return address != nullptr && ::inet_pton(family, address, &parsed) == 1 && prefix >= 0
           && prefix <= (family == AF_INET ? 32 : 128);
}

bool HasNameForm(const char* ifname) {
    return ifname != nullptr && *ifname != '\0' && std::strlen(ifname) < IFNAMSIZ;
}

bool IsOneOf(const char* text, const char* one, const char* other) {
    return text != nullptr && (std::strcmp(text, one) == 0 || std::strcmp(text, other) == 0);
}

}  // namespace

int VEXONetIFGetInfo(const char* ifname, VEXONETIFINFO* info, int /*options*/) {
    if (info == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const auto link = FindLinkOrError(ifname);
    if (!link) {
        return -1;
    }
    const auto addresses = vexoplatform::ListAddresses(link->index);
    if (!addresses) {
        VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
        return -1;
    }
    VEXONETIFINFO facts{};
    std::snprintf(facts.ifname, sizeof facts.ifname, "%s", link->ifname.c_str());
    facts.flags = link->flags;
    facts.mtu = static_cast<int>(link->mtu);
    if (const auto mac = vexoplatform::MacOf(*link)) {
        std::memcpy(facts.mac, mac->data(), sizeof facts.mac);
    }
    if (!addresses->empty()) {
        const LinkAddress& first = addresses->front();
        std::snprintf(facts.ip, sizeof facts.ip, "%s", ToText(first.address).c_str());
        std::snprintf(facts.netmask, sizeof facts.netmask, "%s",
                      ToText(vlib::Netmask(first.prefix)).c_str());
    }
    *info = facts;
    return 0;
}

int VEXONetIfIsLink(const char* ifname) {
    const auto link = FindLinkOrError(ifname);
    if (!link) {
        return -1;
    }
    return vexoplatform::HasCarrier(*link) ? 1 : 0;
}

int VEXONetIsIFUp(const char* ifname) {
    const auto link = FindLinkOrError(ifname);
    if (!link) {
        return -1;
    }
    return (link->flags & IFF_UP) != 0 ? 1 : 0;
}

int VEXONetIsDevTypeMatch(const char* ifname, int type) {
    if (type != VEXO_DEV_ETHERNET) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const auto link = FindLinkOrError(ifname);
    if (!link) {
        return -1;
    }
    return link->type == ARPHRD_ETHER ? 1 : 0;
}

int VEXOPPPoeIntfGet(char* ifname, int size) {
    const auto links = vexoplatform::ListLinks();
    if (!links) {
        VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
        return -1;
    }
    constexpr unsigned int kConnected = IFF_UP | IFF_POINTOPOINT;
    const auto found = std::ranges::find_if(*links, [](const Link& link) {
        return (link.flags & kConnected) == kConnected && link.ifname.starts_with("ppp");
    });
    if (found == links->end()) {
        VLIBCErrSet(VLIB_ERR_NOT_FOUND);
        return -1;
    }
    return PutOut(found->ifname, ifname, size);
}

int VEXONetIsPrivateIP(const char* address) {
    const auto parsed = vlib::ParseIpv4(address == nullptr ? "" : address);
    if (!parsed) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    struct Network {
        std::uint32_t address;
        int prefix;
    };
    static constexpr Network kNetworks[] = {{0x0A000000, 8},  {0xAC100000, 12}, {0xC0A80000, 16},
                                            {0x64400000, 10}, {0xA9FE0000, 16}, {0x7F000000, 8}};
    return std::ranges::any_of(kNetworks, [&](const Network& network) {
        return (parsed->s_addr & vlib::Netmask(network.prefix).s_addr) == htonl(network.address);
    });
}

int VEXOILnxGetIP(const char* ifname, char* ip, int size) {
    const auto link = FindLinkOrError(ifname);
    if (!link) {
        return -1;
    }
    const auto addresses = vexoplatform::ListAddresses(link->index);
    if (!addresses || addresses->empty()) {
        VLIBCErrSet(addresses ? VLIB_ERR_NOT_FOUND : VLIB_ERR_NETLINK_FAILED);
        return -1;
    }
    return PutOut(ToText(addresses->front().address), ip, size);
}

int VEXONetNetmaskToPrefix(const char* netmask) {
    in_addr mask{};
    if (netmask == nullptr || ::inet_pton(AF_INET, netmask, &mask) != 1) {
        return -1;
    }
    return vlib::PrefixOf(mask).value_or(-1);
}

int VEXONetCalNetwork(const char* addressPrefix, char* network, int size) {
    const std::string text(addressPrefix == nullptr ? "" : addressPrefix);
    const auto slash = text.find('/');
    const auto address = vlib::ParseIpv4(text.substr(0, slash));
    const auto prefix =
        slash == text.npos ? std::nullopt : vlib::ParseDecimal(text.substr(slash + 1), 32);
    if (!address || !prefix) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return PutOut(vlib::NetworkText(*address, *prefix), network, size);
}

int VEXONetSetIP(const char* family, const char* ifname, const char* address, int prefix,
                 const char* action, const char* label) {
    if (!IsOneOf(family, "-4", "-6") || !IsOneOf(action, "add", "del") || !HasNameForm(ifname)
        || !IsAddress(std::strcmp(family, "-4") == 0 ? AF_INET : AF_INET6, address, prefix)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    // Only IPv4 addresses have labels, and the interface name is the label of every other one.
    const bool labelled = label != nullptr && *label != '\0' && std::strcmp(label, ifname) != 0
                          && std::strcmp(family, "-4") == 0;
    const std::string addressPrefix = std::string(address) + "/" + std::to_string(prefix);
    const int status =
        VLIBCExecl(VLIB_EXEC_QUIET, "/sbin/ip", family, "address", action, addressPrefix.c_str(),
                   "dev", ifname, labelled ? "label" : nullptr, label, nullptr);
    if (status != 0) {
        VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
    }
    return status == 0 ? 0 : -1;
}
