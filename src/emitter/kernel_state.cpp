#include "emitter/kernel_state.h"

#include <arpa/inet.h>
#include <ifaddrs.h>

#include <bit>
#include <memory>

namespace vexonetwork {
namespace {

using Interfaces = std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)>;

/// One bits of a netmask; 0 for none.
template <std::size_t Size>
int PrefixLength(const unsigned char (&mask)[Size]) {
    int prefix = 0;
    for (const unsigned char byte : mask) {
        prefix += std::popcount(byte);
    }
    return prefix;
}

AddressList::Entry IPv4Entry(const ifaddrs& entry) {
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(entry.ifa_addr)->sin_addr, text,
                sizeof text);
    const auto* mask = reinterpret_cast<const sockaddr_in*>(entry.ifa_netmask);
    return {text, mask == nullptr ? 32 : std::popcount(mask->sin_addr.s_addr)};
}

AddressList::Entry IPv6Entry(const ifaddrs& entry) {
    char text[INET6_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(entry.ifa_addr)->sin6_addr, text,
                sizeof text);
    const auto* mask = reinterpret_cast<const sockaddr_in6*>(entry.ifa_netmask);
    return {text, mask == nullptr ? 128 : PrefixLength(mask->sin6_addr.s6_addr)};
}

void Add(const ifaddrs& entry, KernelState& state) {
    // A link without a link-layer address has its entry all the same.
    const int family = entry.ifa_addr == nullptr ? AF_PACKET : entry.ifa_addr->sa_family;
    if (family == AF_INET) {
        state.ipv4[entry.ifa_name].Add(IPv4Entry(entry));
    } else if (family == AF_INET6) {
        state.ipv6[entry.ifa_name].Add(IPv6Entry(entry));
    } else {
        state.links[entry.ifa_name] = entry.ifa_flags;
    }
}

}  // namespace

std::optional<KernelState> ReadKernelState() {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return std::nullopt;
    }
    const Interfaces interfaces(list, &::freeifaddrs);
    KernelState state;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        Add(*entry, state);
    }
    return state;
}

}  // namespace vexonetwork
