#include "vexo/net_interface.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <bit>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "vexo/link.h"
#include "vlib/error.h"
#include "vlib/exec.h"

namespace {

using vexoplatform::FindLink;
using vexoplatform::Link;
using vexoplatform::LinkAddress;

std::optional<Link> FindLinkOrError(const char* ifname) {
    auto link = FindLink(ifname);
    if (!link) {
        VLIBCErrSet(errno == ENODEV ? VLIB_ERR_NOT_FOUND : VLIB_ERR_NETLINK_FAILED);
    }
    return link;
}

std::string ToText(in_addr address) {
    char text[INET_ADDRSTRLEN];
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

in_addr Netmask(int prefix) {
    return in_addr{prefix == 0 ? 0 : htonl(~std::uint32_t{0} << (32 - prefix))};
}

int CopyText(const std::string& text, char* buffer, int size) {
    if (buffer == nullptr || size <= 0 || text.size() >= static_cast<std::size_t>(size)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return 0;
}

/// One or two digits, at most 32.
std::optional<int> ParsePrefix(std::string_view text) {
    unsigned int prefix = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), prefix);
    if (error != std::errc{} || end != text.data() + text.size() || text.size() > 2
        || prefix > 32) {
        return std::nullopt;
    }
    return static_cast<int>(prefix);
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
    std::snprintf(facts.ifname, sizeof facts.ifname, "%s", link->name.c_str());
    facts.flags = link->flags;
    facts.mtu = link->mtu;
    if (link->mac) {
        std::memcpy(facts.mac, link->mac->data(), sizeof facts.mac);
    }
    if (!addresses->empty()) {
        const LinkAddress& first = addresses->front();
        std::snprintf(facts.ip, sizeof facts.ip, "%s", ToText(first.address).c_str());
        std::snprintf(facts.netmask, sizeof facts.netmask, "%s",
                      ToText(Netmask(first.prefix)).c_str());
    }
    *info = facts;
    return 0;
}

int VEXONetIfIsLink(const char* ifname) {
    const auto link = FindLinkOrError(ifname);
    if (!link) {
        return -1;
    }
    return link->carrier ? 1 : 0;
}

int VEXONetIsIFUp(const char* ifname) {
    const auto link = FindLinkOrError(ifname);
    if (!link) {
        return -1;
    }
    return (link->flags & IFF_UP) != 0 ? 1 : 0;
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
    return CopyText(ToText(addresses->front().address), ip, size);
}

int VEXONetNetmaskToPrefix(const char* netmask) {
    in_addr mask{};
    if (netmask == nullptr || ::inet_pton(AF_INET, netmask, &mask) != 1) {
        return -1;
    }
    const int prefix = std::popcount(mask.s_addr);
    return Netmask(prefix).s_addr == mask.s_addr ? prefix : -1;
}

int VEXONetCalNetwork(const char* addressPrefix, char* network, int size) {
    const std::string text(addressPrefix == nullptr ? "" : addressPrefix);
    const auto slash = text.find('/');
    in_addr address{};
    const auto prefix = slash == text.npos ? std::nullopt : ParsePrefix(text.substr(slash + 1));
    if (!prefix || ::inet_pton(AF_INET, text.substr(0, slash).c_str(), &address) != 1) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    address.s_addr &= Netmask(*prefix).s_addr;
    return CopyText(ToText(address) + "/" + std::to_string(*prefix), network, size);
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
