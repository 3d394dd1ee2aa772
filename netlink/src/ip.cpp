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

std::string ToText(const IpAddress& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address) {
        ::inet_ntop(address.family, address.bytes.data(), text, sizeof text);
    }
    return text;
}

}  // namespace vexonetlink
