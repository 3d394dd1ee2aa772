#include <arpa/inet.h>
#include <ifaddrs.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include <vexobase/log.h>
#include <vexonetwork/utils/ip_address.h>
#include <vlib/net.h>

namespace vexonetwork::utils {

namespace {

using TextFunction = const char* (*)(const sockaddr*, const sockaddr*, char*);
using Interfaces = std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)>;

in_addr AddressOf(const sockaddr* address) {
    return reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
}

const in6_addr& Address6Of(const sockaddr* address) {
    return reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
}

/// A NUL inside would cut the text as soon as it went through a file or a C interface.
bool IsWhole(const std::string& text) {
    return std::strlen(text.c_str()) == text.size();
}

bool ParseIPv6(const std::string& text, in6_addr& parsed) {
    return IsWhole(text) && ::inet_pton(AF_INET6, text.c_str(), &parsed) == 1;
}

std::string Dotted(in_addr address) {
    char text[INET_ADDRSTRLEN] = {};
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

IPAddress FromBinary(in_addr address) {
    return IPAddress(Dotted(address));
}

Interfaces ListInterfaces(const std::string& ifname) {
    ifaddrs* list = nullptr;
    // A failure is -1 and yields an empty list without a message, which callers expect: they ask
    // for interfaces that come and go.
    if (::getifaddrs(&list) > 0) {
        VEXO_LOG(LOG_ERR, "Unable to get IP of [%s]", ifname.c_str());
    }
    return {list, &::freeifaddrs};
}

template <int Family>
void AppendAddress(const ifaddrs& entry, TextFunction textOf, IPAddress::AddressList& out) {
    char buffer[Family == AF_INET ? INET_ADDRSTRLEN : INET6_ADDRSTRLEN] = {};
    const char* text = textOf(entry.ifa_addr, entry.ifa_netmask, buffer);
    if (text == nullptr || *text == '\0') {
        VEXO_LOG(LOG_WARNING, "Unable to convert address/network to text form");
        return;
    }
    const int prefixLength = IPAddress::netmaskToPrefixLength<Family>(entry.ifa_netmask);
    if (prefixLength < 0) {
        VEXO_LOG(LOG_WARNING, "Unable to convert netmask to prefix length (addr: %s)", text);
        return;
    }
    out.emplace_back(text, prefixLength);
}

template <int Family>
IPAddress::AddressList ListAddresses(const std::string& ifname, TextFunction textOf) {
    IPAddress::AddressList addresses;
    const Interfaces list = ListInterfaces(ifname);
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (ifname == entry->ifa_name && entry->ifa_addr != nullptr
            && entry->ifa_addr->sa_family == Family) {
            AppendAddress<Family>(*entry, textOf, addresses);
        }
    }
    return addresses;
}

sockaddr_in6 MaskOfLength(int prefixLength) {
    sockaddr_in6 mask{};
    mask.sin6_family = AF_INET6;
    const auto length = static_cast<std::size_t>(std::clamp(prefixLength, 0, 128));
    std::memset(mask.sin6_addr.s6_addr, 0xFF, length / 8);
    if (length % 8 != 0) {
        mask.sin6_addr.s6_addr[length / 8] = static_cast<uint8_t>(0xFF << (8 - length % 8));
    }
    return mask;
}

/// Counts the fourth octet alone; callers expect no carry.
in_addr AddToLastOctet(in_addr address, int change) {
    uint8_t octets[4];
    std::memcpy(octets, &address, sizeof octets);
    octets[3] = static_cast<uint8_t>(octets[3] + change);
    std::memcpy(&address, octets, sizeof octets);
    return address;
}

bool ParseOctets(const IPAddress& address, uint32_t& value) {
    int parts[4] = {};
    if (cVLIBISepIP(address.ToCString(), parts) != 4) {
        return false;
    }
    value = 0;
    for (const int part : parts) {
        value = value << 8 | static_cast<uint32_t>(part);
    }
    return true;
}

}  // namespace

IPAddress::IPAddress(const std::string& address) {
    *this = address;
}

IPAddress& IPAddress::operator=(const std::string& address) {
    in_addr parsed{};
    in6_addr ignored{};
    if (IsWhole(address) && ::inet_aton(address.c_str(), &parsed) != 0) {
        addr = parsed;
        text = address;
    } else if (ParseIPv6(address, ignored)) {
        text = address;
    } else {
        text.clear();
    }
    return *this;
}

IPAddress::AddressList IPAddress::GetIPv4Address(const std::string& ifname) {
    return ListAddresses<AF_INET>(ifname, &addrToString<AF_INET>);
}

IPAddress::AddressList IPAddress::GetIPv4Network(const std::string& ifname) {
    return ListAddresses<AF_INET>(ifname, &networkToString<AF_INET>);
}

IPAddress::AddressList IPAddress::GetIPv6Address(const std::string& ifname) {
    return ListAddresses<AF_INET6>(ifname, &addrToString<AF_INET6>);
}

IPAddress::AddressList IPAddress::GetIPv6Network(const std::string& ifname) {
    return ListAddresses<AF_INET6>(ifname, &networkToString<AF_INET6>);
}

std::string IPAddress::GetIPv6NetworkPart(const std::string& address, int prefixLength) {
    const sockaddr_in6 mask = MaskOfLength(prefixLength);
    sockaddr_in6 binary{};
    binary.sin6_family = AF_INET6;
    if (!ParseIPv6(address, binary.sin6_addr)) {
        VEXO_LOG(LOG_ERR, "Unable to convert %s to binary form", address.c_str());
        return "";
    }
    char buffer[INET6_ADDRSTRLEN] = {};
    const char* text = networkToString<AF_INET6>(reinterpret_cast<const sockaddr*>(&binary),
                                                 reinterpret_cast<const sockaddr*>(&mask), buffer);
    return text == nullptr ? "" : text;
}

template <>
int IPAddress::netmaskToPrefixLength<AF_INET>(const sockaddr* mask) {
    return mask == nullptr ? -1 : std::popcount(AddressOf(mask).s_addr);
}

template <>
int IPAddress::netmaskToPrefixLength<AF_INET6>(const sockaddr* mask) {
    if (mask == nullptr) {
        return -1;
    }
    int length = 0;
    for (const uint8_t byte : Address6Of(mask).s6_addr) {
        length += std::popcount(byte);
        if (byte != 0xFF) {
            break;
        }
    }
    return length;
}

template <>
const char* IPAddress::addrToString<AF_INET>(const sockaddr* address, const sockaddr* /*mask*/,
                                             char* buf) {
    const in_addr binary = AddressOf(address);
    return ::inet_ntop(AF_INET, &binary, buf, INET_ADDRSTRLEN);
}

template <>
const char* IPAddress::addrToString<AF_INET6>(const sockaddr* address, const sockaddr* /*mask*/,
                                              char* buf) {
    return ::inet_ntop(AF_INET6, &Address6Of(address), buf, INET6_ADDRSTRLEN);
}

template <>
const char* IPAddress::networkToString<AF_INET>(const sockaddr* address, const sockaddr* mask,
                                                char* buf) {
    if (mask == nullptr) {
        return nullptr;
    }
    const in_addr network{AddressOf(address).s_addr & AddressOf(mask).s_addr};
    return ::inet_ntop(AF_INET, &network, buf, INET_ADDRSTRLEN);
}

template <>
const char* IPAddress::networkToString<AF_INET6>(const sockaddr* address, const sockaddr* mask,
                                                 char* buf) {
    if (mask == nullptr) {
        return nullptr;
    }
    in6_addr network = Address6Of(address);
    for (std::size_t i = 0; i < sizeof network.s6_addr; ++i) {
        network.s6_addr[i] &= Address6Of(mask).s6_addr[i];
    }
    return ::inet_ntop(AF_INET6, &network, buf, INET6_ADDRSTRLEN);
}

std::istream& operator>>(std::istream& in, IPAddress& address) {
    if (std::string word; in >> word) {
        address = word;
    }
    return in;
}

IPAddress GetNetwork(const IPAddress& ip, const IPAddress& mask) {
    return FromBinary({ip.Binary().s_addr & mask.Binary().s_addr});
}

IPAddress GetIpAddressBegin(const IPAddress& network) {
    return FromBinary(AddToLastOctet(network.Binary(), 1));
}

IPAddress GetIpAddressEnd(const IPAddress& network, const IPAddress& mask) {
    const in_addr hosts = AddToLastOctet({~mask.Binary().s_addr}, -1);
    return FromBinary({hosts.s_addr | network.Binary().s_addr});
}

IPAddress GetNextNetwork(const IPAddress& ip, const IPAddress& mask) {
    uint32_t address = 0;
    uint32_t bits = 0;
    if (!ParseOctets(ip, address) || !ParseOctets(mask, bits)) {
        return {};
    }
    // Subtracting a contiguous mask adds the size of its network, modulo 2^32.
    return FromBinary({htonl((address - bits) & bits)});
}

}  // namespace vexonetwork::utils
