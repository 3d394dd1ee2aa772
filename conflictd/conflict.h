#pragma once

#include <functional>
#include <string>

#include "arp_packet.h"

namespace conflictd {

/// Another host uses an address of this machine.
struct Conflict {
    std::string ifname;
    Ipv4Address address = 0;
    MacAddress mac{};  ///< of the other host
};

using ConflictHandler = std::function<void(const Conflict&)>;

}  // namespace conflictd
