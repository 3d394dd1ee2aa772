#include "vexo/lan_address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include <vexobase/log.h>

#include "vexo/ipv6_kernel.h"
#include "vlib/error.h"

namespace vexoplatform {

namespace {

using Addresses = std::vector<GlobalAddress>;

std::string Text(const Ipv6Address& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET6, &address.address, text.data(), text.size());
    return text.data() + ("/" + std::to_string(address.prefix));
}

bool IsSame(const GlobalAddress& one, const GlobalAddress& other) {
    return one.index == other.index && one.address.prefix == other.address.prefix
           && IN6_ARE_ADDR_EQUAL(&one.address.address, &other.address.address);
}

bool Contains(const Addresses& all, const GlobalAddress& address) {
    return std::ranges::any_of(all,
                               [&](const GlobalAddress& each) { return IsSame(each, address); });
}

int Refused(const char* what, const GlobalAddress& address) {
    char name[IF_NAMESIZE] = {};
    const std::string why = std::strerror(errno);
    ::if_indextoname(address.index, name);
    VEXO_LOG(LOG_ERR, "Failed to %s LAN address %s of interface [%s]: %s", what,
             Text(address.address).c_str(), name, why.c_str());
    VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
    return -1;
}

Addresses OnInterfacesThatAreThere(std::span<const VEXOLANADDRESS> wanted) {
    Addresses found;
    for (const VEXOLANADDRESS& each : wanted) {
        const unsigned index = ::if_nametoindex(each.ifname);
        if (index == 0) {
            VEXO_LOG(LOG_NOTICE, "There is no interface [%s] yet, its LAN address waits",
                     each.ifname);
            continue;
        }
        found.push_back({.index = index, .address = {each.address, each.prefix}});
    }
    return found;
}

int RemoveOthers(const Addresses& present, const Addresses& wanted) {
    int result = 0;
    for (const GlobalAddress& each : present) {
        if (each.purpose == AddressPurpose::kLan && !Contains(wanted, each)
            && RemoveIpv6Address(each.index, each.address) != 0) {
            result = Refused("remove", each);
        }
    }
    return result;
}

int PutMissing(const Addresses& present, const Addresses& wanted) {
    int result = 0;
    for (const GlobalAddress& each : wanted) {
        if (!Contains(present, each)
            && PutIpv6Address(each.index, each.address, AddressPurpose::kLan) != 0) {
            result = Refused("put", each);
        }
    }
    return result;
}

}  // namespace

}  // namespace vexoplatform

int VEXONetLanAddressSet(const VEXOLANADDRESS* addresses, int count) {
    using namespace vexoplatform;
    if (count < 0 || (count > 0 && addresses == nullptr)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const auto present = ListGlobalAddresses(0);
    if (!present) {
        VEXO_LOG(LOG_ERR, "Failed to read the IPv6 addresses: %s", std::strerror(errno));
        VLIBCErrSet(VLIB_ERR_NETLINK_FAILED);
        return -1;
    }
    const auto wanted = OnInterfacesThatAreThere({addresses, static_cast<std::size_t>(count)});
    const int removed = RemoveOthers(*present, wanted);
    const int put = PutMissing(*present, wanted);
    return removed == 0 && put == 0 ? 0 : -1;
}
