#pragma once

#include <sys/socket.h>

#include <array>

namespace vexonetctl {

/// The words that one address family goes by.
struct Family {
    int number;                ///< AF_INET or AF_INET6
    const char* name;          ///< for people
    const char* key;           ///< in --json
    const char* type;          ///< in requests
    const char* flag;          ///< of our commands and of ip(8)
    const char* priorityFile;  ///< where the daemon stores the ordered list
};

inline constexpr std::array<Family, 2> kFamilies = {{
    {AF_INET, "IPv4", "ipv4", "GTYPE_V4", "-4", "/etc/iproute2/config/gateway_v4_priority"},
    {AF_INET6, "IPv6", "ipv6", "GTYPE_V6", "-6", "/etc/iproute2/config/gateway_v6_priority"},
}};

}  // namespace vexonetctl
