#include "vexobase/ip_address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

namespace vexobase {

IpAddress FromInet(in_addr address) {
    IpAddress result{AF_INET, {}};
    std::memcpy(result.bytes.data(), &address, sizeof address);
    return result;
}

IpAddress FromInet(const in6_addr& address) {
    IpAddress result{AF_INET6, {}};
    std::memcpy(result.bytes.data(), &address, sizeof address);
    return result;
}

in_addr ToInet4(const IpAddress& address) {
    in_addr inet{};
    if (address.family == AF_INET) {
        std::memcpy(&inet, address.bytes.data(), sizeof inet);
    }
    return inet;
}

in6_addr ToInet6(const IpAddress& address) {
    in6_addr inet{};
    if (address.family == AF_INET6) {
        std::memcpy(&inet, address.bytes.data(), sizeof inet);
    }
    return inet;
}

std::optional<IpAddress> ParseAddress(int family, std::string_view text) {
    char terminated[INET6_ADDRSTRLEN] = "";
    IpAddress address{family, {}};
    // A NUL inside would hide what follows it.
    if (!IsIpFamily(family) || text.size() >= sizeof terminated || text.find('\0') != text.npos) {
        return std::nullopt;
    }
    text.copy(terminated, sizeof terminated - 1);
    return ::inet_pton(family, terminated, address.bytes.data()) == 1 ? std::optional(address)
                                                                      : std::nullopt;
}

std::string ToText(const IpAddress& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address) {
        ::inet_ntop(address.family, address.bytes.data(), text, sizeof text);
    }
    return text;
}

bool IsUnspecified(const IpAddress& address) {
    return address
           && std::ranges::all_of(address.bytes, [](std::uint8_t byte) { return byte == 0; });
}

bool IsLinkLocalV6(const IpAddress& address) {
    constexpr std::uint8_t kUpperTwo = 0xc0;
    return address.family == AF_INET6 && address.bytes[0] == 0xfe
           && (address.bytes[1] & kUpperTwo) == 0x80;
}

}  // namespace vexobase
