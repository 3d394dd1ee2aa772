#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <vexonetlink/message.h>
#include <vexonetlink/request.h>

namespace vexonetlink {

/// A network interface, as RTM_NEWLINK and RTM_DELLINK tell it.
struct Link {
    bool isNew = true;  ///< false when it is told to be gone
    int family = 0;     ///< AF_UNSPEC; AF_BRIDGE tells of a bridge's port, not of the interface
    unsigned index = 0;
    unsigned short type = 0;  ///< ARPHRD_…
    unsigned flags = 0;       ///< IFF_…, also those above 16 bits
    std::string ifname = {};
    std::uint32_t mtu = 0;
    std::uint8_t operState = 0;                      ///< IF_OPER_… (RFC 2863)
    std::vector<std::uint8_t> hardwareAddress = {};  ///< empty where it has none
    unsigned master = 0;                             ///< index of its bridge or bond; 0 for none
    std::string kind = {};                           ///< "veth", "bridge", …; "" for a device
    std::string portKind = {};                       ///< the kind of its master

    bool operator==(const Link&) const = default;
};

/// @return nothing for a message of another type, or one without a name that an interface can have
std::optional<Link> ReadLink(const Message& message);

/// Asks for all links, or for the one of a name, which may also be an alternative one.
Request LinksRequest();
Request LinkRequest(const std::string& ifname);

Request MtuRequest(unsigned index, std::uint32_t mtu);

/// Sets the flags IFF_… of `mask` to those of `flags`.
Request FlagsRequest(unsigned index, unsigned flags, unsigned mask);

}  // namespace vexonetlink
