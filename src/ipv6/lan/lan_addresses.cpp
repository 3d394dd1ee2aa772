#include "ipv6/lan/lan_addresses.h"

#include <linux/rtnetlink.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include <vexobase/log.h>
#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

namespace vexo::network::ipv6::router {

namespace {

using vexonetlink::InterfaceAddress;
using Addresses = std::vector<InterfaceAddress>;

constexpr std::uint8_t kLanLength = 64;

/// The mark in the kernel (IFA_PROTO, which Linux keeps since 5.18); its own numbers end at 3.
constexpr std::uint8_t kLan = 0x77;

bool IsSame(const InterfaceAddress& one, const InterfaceAddress& other) {
    return one.index == other.index && one.local == other.local
           && one.prefixLength == other.prefixLength;
}

bool Contains(const Addresses& all, const InterfaceAddress& address) {
    return std::ranges::any_of(all,
                               [&](const InterfaceAddress& each) { return IsSame(each, address); });
}

int Refused(const char* what, const InterfaceAddress& address) {
    const std::string why = std::strerror(errno);
    char name[IF_NAMESIZE] = {};
    ::if_indextoname(address.index, name);
    VEXO_LOG(LOG_ERR, "Failed to %s LAN address %s/%d of interface [%s]: %s", what,
             ToText(address.local).c_str(), address.prefixLength, name, why.c_str());
    return -1;
}

Addresses OnInterfacesThatAreThere(const std::vector<LanPrefix>& grants) {
    Addresses found;
    for (const LanPrefix& each : grants) {
        const unsigned index = ::if_nametoindex(each.lan.c_str());
        if (index == 0) {
            VEXO_LOG(LOG_NOTICE, "There is no interface [%s] yet, its LAN address waits",
                     each.lan.c_str());
            continue;
        }
        found.push_back({.family = AF_INET6,
                         .index = index,
                         .local = each.OwnAddress(),
                         .prefixLength = kLanLength,
                         .protocol = kLan});
    }
    return found;
}

int Remove(const InterfaceAddress& address) {
    const bool gone =
        ChangeOnce(AddressRequest(RTM_DELADDR, 0, address)) == 0 || errno == EADDRNOTAVAIL;
    return gone ? 0 : Refused("remove", address);
}

int Put(const InterfaceAddress& address) {
    constexpr int kFlags = NLM_F_CREATE | NLM_F_REPLACE;
    return ChangeOnce(AddressRequest(RTM_NEWADDR, kFlags, address)) == 0 ? 0
                                                                         : Refused("put", address);
}

}  // namespace

int PutLanAddresses(const std::vector<LanPrefix>& grants) {
    const auto present = vexonetlink::AskOnce(
        [](vexonetlink::Socket& socket) { return ListAddresses(socket, AF_INET6); });
    if (!present) {
        VEXO_LOG(LOG_ERR, "Failed to read the IPv6 addresses: %s", std::strerror(errno));
        return -1;
    }
    const Addresses wanted = OnInterfacesThatAreThere(grants);
    int result = 0;
    for (const InterfaceAddress& each : *present) {
        if (each.protocol == kLan && !Contains(wanted, each)) {
            result |= Remove(each);
        }
    }
    for (const InterfaceAddress& each : wanted) {
        if (!Contains(*present, each)) {
            result |= Put(each);
        }
    }
    return result;
}

}  // namespace vexo::network::ipv6::router
