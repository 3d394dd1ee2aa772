#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <istream>
#include <string>
#include <utility>
#include <vector>

namespace vexonetwork::utils {

/// An IPv4 or IPv6 address as the text that was given, with the IPv4 binary form beside it. What
/// inet_aton(3) takes for IPv4 is accepted and kept as written ("10.1" is 10.0.0.1); other text
/// that is no IPv6 address either leaves the address empty.
class IPAddress {
  public:
    using AddressList = std::vector<std::pair<std::string, int>>;  ///< text, prefix length

    /// Empty; the binary form is 255.255.255.255.
    IPAddress() = default;

    /// The binary form is only defined for IPv4 text.
    IPAddress(const std::string& address);

    /// The binary form keeps its value unless the text is IPv4.
    IPAddress& operator=(const std::string& address);

    std::string ToString() const { return text; }
    const char* ToCString() const { return text.c_str(); }
    operator std::string() const { return text; }
    operator const char*() const { return text.c_str(); }

    bool IsEmpty() const { return text.empty(); }

    /// IPv4 in network byte order.
    in_addr Binary() const { return addr; }

    /// Compares the texts: "10.1" differs from "10.0.0.1". A literal would be compared by its
    /// place in memory.
    bool operator==(const IPAddress& other) const { return text == other.text; }
    bool operator==(const char*) const = delete;

    /// The addresses of an interface, or the networks they stand in, in kernel order; empty when
    /// there are none or the interface does not exist.
    static AddressList GetIPv4Address(const std::string& ifname);
    static AddressList GetIPv4Network(const std::string& ifname);
    static AddressList GetIPv6Address(const std::string& ifname);
    static AddressList GetIPv6Network(const std::string& ifname);

    /// The address with the bits past the prefix cleared, in canonical form (RFC 5952).
    /// @param prefixLength  0 to 128; what is beyond counts as the nearest of these
    /// @return "" when `address` is no IPv6 address
    static std::string GetIPv6NetworkPart(const std::string& address, int prefixLength);

    /// One bits of the mask: all of an IPv4 mask (Family 2), those up to the first byte that is
    /// not full of an IPv6 mask (Family 10). -1 for null.
    template <int Family>
    static int netmaskToPrefixLength(const sockaddr* mask);

    /// Text of the address, or of the address under the mask.
    /// @param buf  16 bytes for IPv4 (Family 2), 46 for IPv6 (Family 10)
    /// @return `buf`, or null
    template <int Family>
    static const char* addrToString(const sockaddr* address, const sockaddr* mask, char* buf);
    template <int Family>
    static const char* networkToString(const sockaddr* address, const sockaddr* mask, char* buf);

  private:
    in_addr addr{INADDR_NONE};
    std::string text;
};

/// Reads one word delimited by white space; without one the address stays.
std::istream& operator>>(std::istream& in, IPAddress& address);

/// IPv4 arithmetic on the binary forms.
IPAddress GetNetwork(const IPAddress& ip, const IPAddress& mask);

/// First and last host address. The fourth octet alone is counted up or down and wraps: the first
/// of 10.0.0.255 is 10.0.0.0.
IPAddress GetIpAddressBegin(const IPAddress& network);
IPAddress GetIpAddressEnd(const IPAddress& network, const IPAddress& mask);

/// The network of the same size behind the one of `ip`; the last one wraps to 0.0.0.0. Both texts
/// must be four decimal octets, else the result is empty.
IPAddress GetNextNetwork(const IPAddress& ip, const IPAddress& mask);

template <>
int IPAddress::netmaskToPrefixLength<AF_INET>(const sockaddr* mask);
template <>
int IPAddress::netmaskToPrefixLength<AF_INET6>(const sockaddr* mask);
template <>
const char* IPAddress::addrToString<AF_INET>(const sockaddr*, const sockaddr*, char*);
template <>
const char* IPAddress::addrToString<AF_INET6>(const sockaddr*, const sockaddr*, char*);
template <>
const char* IPAddress::networkToString<AF_INET>(const sockaddr*, const sockaddr*, char*);
template <>
const char* IPAddress::networkToString<AF_INET6>(const sockaddr*, const sockaddr*, char*);

}  // namespace vexonetwork::utils
