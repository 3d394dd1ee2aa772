#pragma once

#include <linux/rtnetlink.h>
#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace vexoplatform {

/// One IPv4 default route of the main table, with what it takes to remove it and put it back.
struct DefaultRoute {
    std::uint32_t metric = 0;
    bool multipath = false;
    std::optional<in_addr> gateway;  ///< of the first hop; nothing for a device-only route
    rtmsg header{};
    std::vector<std::byte> attributes;

    bool operator==(const DefaultRoute& other) const {
        return std::memcmp(&header, &other.header, sizeof header) == 0
               && attributes == other.attributes;
    }
};

/// @return the unicast routes in the kernel's order, or nothing with errno
std::optional<std::vector<DefaultRoute>> ListDefaultRoutes();

/// @return 0, also when it is already gone; -1 with errno
int RemoveDefaultRoute(const DefaultRoute& route);

/// Puts a removed route back behind those of the same metric.
/// @return 0, also when it is there; -1 with errno
int PutBackDefaultRoute(const DefaultRoute& route);

/// Leaves the source address of a route to the kernel, for one whose address goes.
void DropSource(DefaultRoute& route);

/// Puts a route of metric 0 via `gateway` in the place of the one of metric 0, in one step.
/// @return 0, also when there is one like it; -1 with errno and nothing changed
int PutDefaultRoute(in_addr gateway);

}  // namespace vexoplatform
