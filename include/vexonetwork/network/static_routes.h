#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <vexonetwork/network/policy_route.h>

namespace vexonetwork::network {

/// A static route as an administrator writes it. Its place, which no other route may share, is
/// its destination and metric.
struct StaticRoute {
    std::string destination;   ///< an address, a prefix or "default"
    std::string gateway;       ///< "" for the interface alone
    std::string ifname;        ///< "" for the one that reaches the gateway
    std::string metric;        ///< "" for the kernel's own: 0 with IPv4, 1024 with IPv6
    IPType type = IPType::V4;  ///< counts for a "default" without a gateway; else they tell
};

/// What is to be another about a route; an empty text clears what may be missing.
struct StaticRouteChange {
    std::optional<std::string> gateway;
    std::optional<std::string> ifname;
    std::optional<std::string> metric;
};

/// A stored route and what has become of it.
struct StaticRouteStatus {
    enum State {
        INSTALLED,
        WAITS,   ///< for its interface to be there and up
        ABSENT,  ///< the kernel refuses it now, or has lost it
        BAD,     ///< the file has no sense there
    };

    std::string section;  ///< of the file
    StaticRoute route;
    State state;
    std::string reason;  ///< why it is not installed
};

/// The static routes: in the kernel those to networks stand in the main table, beside those of
/// others, and default ones in the table "static", which goes before the main table's default
/// routes. They are told by "/etc/iproute2/config/static-table", which people edit too: what
/// is not changed stays there line by line. For one thread; several processes may change the file
/// at once.
///
/// What changes something gives "" when it was done, or the reason why not; then nothing has
/// changed, unless the reason says otherwise.
class StaticRoutes {
  public:
    StaticRoutes();
    ~StaticRoutes();
    StaticRoutes(const StaticRoutes&) = delete;
    StaticRoutes& operator=(const StaticRoutes&) = delete;

    /// Stores a route and installs it. Refused when it makes no sense, when its place is taken, or
    /// when the kernel does not take it; a route by an interface that is not there or down is
    /// stored and waits for it.
    [[nodiscard]] std::string Add(const StaticRoute& route);

    /// The route is found by destination and metric; the latter may be missing where only one leads
    /// there.
    [[nodiscard]] std::string Change(const StaticRoute& which, const StaticRouteChange& change);
    [[nodiscard]] std::string Remove(const StaticRoute& which);

    /// All routes of the file, in its order. A file that cannot be read is one bad route.
    std::vector<StaticRouteStatus> List();

    /// The one that Change() would find.
    std::optional<StaticRouteStatus> Find(const StaticRoute& which);

    /// Brings the kernel in step with the file and the interfaces.
    /// @return 0, or -1 after a log line; what stays wrong is logged once
    int Apply();

    /// Does that when it may be needed because something has changed about these interfaces, or
    /// about any when none is named. Costs a look at the file's state otherwise.
    void Follow(const std::set<std::string>& changed);

    /// Whether Apply() is needed whatever happens: the file has changed, or could not be read, or
    /// the table has no number because somebody else is changing these.
    bool IsBehind() const;

  private:
    struct State;

    std::string ApplyNow(std::string reason);

    std::unique_ptr<State> state;
};

}  // namespace vexonetwork::network
