#pragma once

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <vexobase/unique_handle.h>

namespace vexonetwork::network::module {

/// One default route of the main table: what elections ask of it, and all that it takes to put it
/// back as it was.
struct DefaultRoute {
    unsigned oif = 0;  ///< of the first hop, as are the two below
    bool hasGateway = false;
    std::uint32_t gatewayV4 = 0;  ///< in network order
    std::uint32_t metric = 0;
    std::uint32_t lifetime = 0;  ///< seconds that are left; 0 for ever
    rtmsg header{};
    std::vector<char> attributes;

    /// A lifetime that runs down makes no other route.
    bool operator==(const DefaultRoute& other) const;
};

using DefaultRoutes = std::vector<DefaultRoute>;

/// The default routes that the kernel's main table has of one family, be they ours or not
/// (rtnetlink(7)). Policy tables are no concern of elections.
class MainDefaults {
  public:
    /// @param family  AF_INET or AF_INET6
    explicit MainDefaults(int family);

    /// The unicast ones in the kernel's order; nothing, with errno, when it does not tell.
    std::optional<DefaultRoutes> List();

    /// @return whether the route is gone; errno otherwise
    bool Remove(const DefaultRoute& route);

    /// Puts a route back behind those of its metric.
    /// @return whether it is there; errno otherwise
    bool PutBack(const DefaultRoute& route);

  private:
    using Visit = std::function<void(const nlmsghdr&)>;

    int Exchange(nlmsghdr& request, const Visit& visit);
    bool Send(std::uint16_t type, int flags, const DefaultRoute& route);

    static void Close(mnl_socket* handle) { mnl_socket_close(handle); }

    int family;
    vexobase::UniqueHandle<mnl_socket, Close> socket;
    std::uint32_t sequence = 0;
};

}  // namespace vexonetwork::network::module
