#include "vexonetlink/ip.h"

#include <arpa/inet.h>

namespace vexonetlink {

IpAddress ToAddress(int family, Bytes bytes) {
    IpAddress address{family, {}};
    if (!IsIpFamily(family) || bytes.size() != AddressSize(family)) {
        return {};
    }
    std::memcpy(address.bytes.data(), bytes.data(), bytes.size());
    return address;
}

Bytes BytesOf(const IpAddress& address) {
    return std::as_bytes(std::span(address.bytes)).first(address ? AddressSize(address.family) : 0);
}

IpAddress FromInet(in_addr address) {
    return ToAddress(AF_INET, std::as_bytes(std::span(&address, 1)));
}

IpAddress FromInet(const in6_addr& address) {
    return ToAddress(AF_INET6, std::as_bytes(std::span(&address, 1)));
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

std::string ToText(const IpAddress& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address) {
        ::inet_ntop(address.family, address.bytes.data(), text, sizeof text);
    }
    return text;
}

}  // namespace vexonetlink
