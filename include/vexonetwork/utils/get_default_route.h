#pragma once

#include <sys/socket.h>

#include <string>
#include <vector>

namespace vexonetwork::utils {

namespace routeparse {

/// A default route via a gateway.
struct Route {
    int metric;
    std::string gateway;  ///< dotted IPv4 or canonical IPv6
    std::string ifname;

    /// Compares the metrics alone.
    bool operator<(const Route& other) const { return metric < other.metric; }
};

/// Parsers of one line of the kernel's route tables: a default route that is up and via a gateway
/// is appended, any other line is ignored.
struct ParseV4 {
    static constexpr char RouteFile[] = "/proc/net/route";

    void operator()(const char* line, std::vector<Route>& out) const;

    /// @param field  the address as the kernel prints it: "0101A8C0" is 192.168.1.1
    static std::string formatAddress(const std::string& field);
};

/// Metric and flags are read as decimal although the kernel prints them in hexadecimal: only
/// values that are all digits read as intended. Routes over "tun1000" do not count.
struct ParseV6 {
    static constexpr char RouteFile[] = "/proc/net/ipv6_route";

    void operator()(const char* line, std::vector<Route>& out) const;

    /// @param field  32 hexadecimal digits; "" is given for any other length
    static std::string formatAddress(const std::string& field);
};

}  // namespace routeparse

/// The gateway of the default route with the lowest metric, for Family 2 (IPv4) or 10 (IPv6); ""
/// when there is none or the table cannot be read.
template <int Family>
std::string GetDefaultRoute();

/// The number of default routes, or -1 when the table cannot be read.
template <int Family>
int GetNumDefaultRoutes();

extern template std::string GetDefaultRoute<AF_INET>();
extern template std::string GetDefaultRoute<AF_INET6>();
extern template int GetNumDefaultRoutes<AF_INET>();
extern template int GetNumDefaultRoutes<AF_INET6>();

}  // namespace vexonetwork::utils
