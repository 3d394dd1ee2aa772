#pragma once

#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vexoplatform {

/// RFC 2863 ifOperStatus; whatever is neither up nor unknown is down.
enum class OperState { kUnknown, kDown, kUp };

/// One network interface as the kernel sees it now (RTM_NEWLINK).
struct Link {
    std::string name;
    int index = 0;
    unsigned short hardware = 0;  ///< ARPHRD_…
    unsigned int flags = 0;       ///< IFF_…, also those above 16 bits
    OperState operState = OperState::kUnknown;
    bool carrier = false;  ///< only an interface that is up has one
    int mtu = 0;
    std::optional<std::array<std::uint8_t, 6>> mac;
    bool bridgePort = false;
};

/// One IPv4 address of an interface.
struct LinkAddress {
    in_addr address;
    int prefix;
};

/// @return the interface of exactly this name (alternative names do not count), or nothing with
///         errno; ENODEV when there is none
std::optional<Link> FindLink(const char* ifname);

/// @return every interface, in index order, or nothing with errno
std::optional<std::vector<Link>> ListLinks();

/// @return the IPv4 addresses of one interface in the kernel's order, or nothing with errno
std::optional<std::vector<LinkAddress>> ListAddresses(int index);

/// @return 0, or -1 with errno
int SetLinkMtu(int index, int mtu);

}  // namespace vexoplatform
