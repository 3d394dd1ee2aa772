#include "vexonetlink/ip.h"

#include <cstring>
#include <span>

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

IpPrefix WithNetwork(const IpPrefix& prefix, Bytes bytes) {
    const IpAddress network = ToAddress(prefix.Family(), bytes);
    return network ? IpPrefix(network, prefix.Length()) : prefix;
}

}  // namespace vexonetlink
