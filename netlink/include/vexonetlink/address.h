#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <vexonetlink/ip.h>
#include <vexonetlink/message.h>
#include <vexonetlink/request.h>

namespace vexonetlink {

inline constexpr std::uint32_t kForever = 0xffffffff;

/// An address of an interface, as RTM_NEWADDR and RTM_DELADDR tell it.
struct InterfaceAddress {
    bool isNew = true;     ///< false when it is told to be gone
    int family = 0;        ///< AF_INET or AF_INET6
    unsigned index = 0;    ///< of the interface
    IpAddress local = {};  ///< none where the message has an address of another size
    std::uint8_t prefixLength = 0;
    IpAddress peer = {};  ///< on a point-to-point link the other end's; else none
    IpAddress broadcast = {};
    std::uint8_t scope = 0;                 ///< RT_SCOPE_…
    std::uint32_t flags = 0;                ///< IFA_F_…
    std::uint8_t protocol = 0;              ///< who has put it there (IFA_PROTO, Linux 5.18)
    std::uint32_t metric = 0;               ///< of the route to its network; 0 for the usual one
    std::uint32_t preferredFor = kForever;  ///< seconds
    std::uint32_t validFor = kForever;      ///< seconds
    std::string label = {};                 ///< of IPv4: the interface's name, or more than that

    bool operator==(const InterfaceAddress&) const = default;
};

/// @return nothing for a message of another type or family, or without an address
std::optional<InterfaceAddress> ReadAddress(const Message& message);

/// Asks for the addresses of a family (AF_UNSPEC: both) and an interface (0: all).
Request AddressesRequest(int family = 0, unsigned index = 0);

/// A change of one address. @param type, flags  RTM_NEWADDR or RTM_DELADDR, NLM_F_…
Request AddressRequest(std::uint16_t type, int flags, const InterfaceAddress& address);

}  // namespace vexonetlink
