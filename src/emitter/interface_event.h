#pragma once

#include <string>
#include <variant>

namespace vexonetwork {

/// The state of a link, as a message, the sweep at start or a snapshot tells it.
struct LinkEvent {
    unsigned index = 0;  ///< 0 where only the name is known
    std::string ifname;
    unsigned flags = 0;  ///< IFF_…

    bool operator==(const LinkEvent&) const = default;
};

/// An address that came or went.
struct AddressEvent {
    unsigned index = 0;  ///< of the interface; 0 where only the name is known
    int family = 0;      ///< AF_INET or AF_INET6
    std::string ifname;  ///< for IPv4 the label of the address: "wan0", "wan0:1"
    std::string address;
    int prefix = 0;  ///< length; 0 where the loss of an IPv4 address was only inferred
    bool isNew = true;

    bool operator==(const AddressEvent&) const = default;
};

using InterfaceEvent = std::variant<LinkEvent, AddressEvent>;

}  // namespace vexonetwork
