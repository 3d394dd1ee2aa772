#pragma once

#include <linux/netlink.h>

#include <optional>
#include <string>

/// rtnetlink(7) messages as values. Each reader trusts nlmsg_len of the header it is given and
/// nothing inside: what is truncated or too short for its type gives nothing or is left out.
namespace vexonetwork {

struct LinkMessage {
    bool isNew = false;  ///< RTM_NEWLINK, not RTM_DELLINK
    unsigned index = 0;
    unsigned flags = 0;  ///< IFF_…
    std::string ifname;
    int family = 0;     ///< AF_UNSPEC; AF_BRIDGE tells of a bridge's port, not of the link
    unsigned type = 0;  ///< ARPHRD_…
    std::string hardwareAddress;  ///< the bytes; "" when it has none
};

struct AddressMessage {
    bool isNew = false;  ///< RTM_NEWADDR, not RTM_DELADDR
    int family = 0;      ///< AF_…
    unsigned index = 0;
    int prefix = 0;
    std::string address;  ///< IFA_LOCAL, else IFA_ADDRESS; "" when that is none of the family
    std::string label;    ///< IFA_LABEL; "" when it has none
};

struct RouteMessage {
    bool isNew = false;  ///< RTM_NEWROUTE, not RTM_DELROUTE
    int family = 0;      ///< AF_INET or AF_INET6
    unsigned table = 0;  ///< 254 is the main one
    int prefix = 0;
    unsigned oif = 0;         ///< index of the interface; 0 when it has none
    std::string destination;  ///< "" for a default route
    std::string gateway;      ///< "" when it has none
};

/// @return nothing for a message of another type, or without an interface name
std::optional<LinkMessage> ReadLinkMessage(const nlmsghdr* message);

/// @return nothing for a message of another type, or without an address attribute
std::optional<AddressMessage> ReadAddressMessage(const nlmsghdr* message);

/// @return nothing for a message of another type or family
std::optional<RouteMessage> ReadRouteMessage(const nlmsghdr* message);

}  // namespace vexonetwork
