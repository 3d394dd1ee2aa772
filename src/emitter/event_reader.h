#pragma once

#include <linux/netlink.h>

#include <optional>
#include <string>

#include "emitter/interface_event.h"

/// Messages of the routing socket as events. Each reader trusts nlmsg_len of the header it is given
/// and nothing inside. An attribute that lies about its length is logged, and those before it
/// count; of several of one type the first does.
namespace vexonetwork {

/// A route that came or went.
struct RouteEvent {
    bool isNew = true;
    int family = 0;           ///< AF_…
    unsigned table = 0;       ///< 254 is the main one
    unsigned oif = 0;         ///< index of the interface; 0 when it has none
    std::string destination;  ///< "" for a default route
    std::string gateway;      ///< "" when it has none
};

/// @return nothing without a name
std::optional<LinkEvent> ReadLinkEvent(const nlmsghdr& message);

/// @return nothing without an address attribute; the address is "" when that is none of the family
std::optional<AddressEvent> ReadAddressEvent(const nlmsghdr& message);

/// @return nothing for a message that is too short
std::optional<RouteEvent> ReadRouteEvent(const nlmsghdr& message);

}  // namespace vexonetwork
