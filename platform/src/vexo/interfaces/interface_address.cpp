#include "vexo/interfaces/interface_address.h"

#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstdint>

#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

#include "vlib/ipv4.h"

namespace vexoplatform {

namespace {

/// Ours among the numbers of IFA_PROTO; the kernel's own are 1 to 3.
constexpr std::uint8_t kConfigured = 0x76;

InterfaceAddress On(unsigned index, const LinkAddress& address) {
    return {.family = AF_INET,
            .index = index,
            .local = vexonetlink::FromInet(address.address),
            .prefixLength = static_cast<std::uint8_t>(address.prefix)};
}

}  // namespace

bool IsPermanent(const InterfaceAddress& address) {
    return (address.flags & IFA_F_PERMANENT) != 0;
}

bool IsConfigured(const InterfaceAddress& address) {
    return address.protocol == kConfigured;
}

bool IsSame(const InterfaceAddress& address, const LinkAddress& other) {
    return address.local == vexonetlink::FromInet(other.address)
           && address.prefixLength == other.prefix;
}

std::optional<std::vector<InterfaceAddress>> ListInterfaceAddresses(unsigned index) {
    return vexonetlink::AskOnce([index](vexonetlink::Socket& socket) {
        return vexonetlink::ListAddresses(socket, AF_INET, index);
    });
}

int PutAddress(unsigned index, const LinkAddress& address) {
    InterfaceAddress wanted = On(index, address);
    wanted.protocol = kConfigured;
    // RFC 3021: a subnet of two addresses has no broadcast address.
    constexpr int kLongestWithBroadcast = 30;
    if (address.prefix <= kLongestWithBroadcast) {
        wanted.broadcast = vexonetlink::FromInet(
            in_addr{address.address.s_addr | ~vlib::Netmask(address.prefix).s_addr});
    }
    return ChangeOnce(AddressRequest(RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE, wanted));
}

int RemoveAddress(unsigned index, const LinkAddress& address) {
    return ChangeOnce(AddressRequest(RTM_DELADDR, 0, On(index, address))) == 0
                   || errno == EADDRNOTAVAIL
               ? 0
               : -1;
}

int PutBackAddress(const InterfaceAddress& address) {
    return ChangeOnce(AddressRequest(RTM_NEWADDR, NLM_F_CREATE | NLM_F_EXCL, address)) == 0
                   || errno == EEXIST
               ? 0
               : -1;
}

}  // namespace vexoplatform
