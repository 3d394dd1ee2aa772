#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <vexonetwork/network/policy_route.h>

namespace vexonetwork::network {

/// What policy routing does for one interface.
struct UplinkStatus {
    struct Family {
        std::vector<std::string> addresses;  ///< those whose packets leave by this interface
        std::vector<std::string> delegated;  ///< prefixes of LANs, likewise
        std::string gateway;                 ///< "" for none; "0.0.0.0" or "::" by the device alone
        bool isInStep = false;               ///< the kernel has what it should have
    };

    std::string ifname;
    unsigned table = 0;  ///< its number; the name is the interface's
    unsigned mark = 0;   ///< that connections from it have in their upper byte; 0 for none
    std::optional<bool> areMarksSet;  ///< by nftables; nothing where only root may ask
    bool exists = false;
    bool isUp = false;
    Family v4;
    Family v6;
};

/// Policy routing of appliances with several uplinks: whoever comes in by an uplink is answered by
/// it, wherever the default route leads. An interface takes part when its section in
/// "/etc/iproute2/config/policy" says enabled=yes. It then has a routing table of its name, and
/// rules for its addresses, for the prefixes that it has delegated to LANs, and for connections
/// that are forwarded from it, which nftables marks; networks around us and static routes go
/// before. Without a gateway nothing of these leaves it, nor any other uplink.
///
/// Routes and rules are set by rtnetlink(7) and carry protocol 86; those of others are left alone.
/// Any process may change the settings; the daemon follows. For one thread.
class UplinkPolicy {
  public:
    UplinkPolicy();
    ~UplinkPolicy();
    UplinkPolicy(const UplinkPolicy&) = delete;
    UplinkPolicy& operator=(const UplinkPolicy&) = delete;

    /// Has interfaces take part, or no longer, and brings the kernel in step.
    /// @return "", or what went wrong; then nothing has changed, unless it says otherwise
    [[nodiscard]] std::string Enable(const std::vector<std::string>& ifnames);
    [[nodiscard]] std::string Disable(const std::vector<std::string>& ifnames);

    /// The interfaces that take part, in file order; sections that name none are logged.
    std::vector<std::string> Interfaces();

    /// The interfaces that have an entry in a gateway list.
    static std::vector<std::string> Candidates();

    /// Brings the kernel in step with settings, links, addresses and stored gateways: what is
    /// missing is added before what is surplus goes, so that no packet is without a route.
    /// @return 0, or -1 after a log line; what stays wrong is logged once
    int Synchronise();

    /// Does that when it may be needed because something has changed about these interfaces, or
    /// about any when none is named. Costs a look at the settings file otherwise.
    void Follow(const std::set<std::string>& changed);

    /// Whether Synchronise() is needed whatever happens: the settings have changed, something could
    /// not be read, or a table has no number because somebody else is changing these. While it is
    /// so, nothing of ours is taken away.
    bool IsBehind() const;

    /// As Synchronise(), after others may have changed rules, routes or tables of ours.
    void Repair();

    std::vector<UplinkStatus> Status();

  private:
    struct State;

    std::string Store(const std::vector<std::string>& ifnames, bool enabled);

    std::unique_ptr<State> state;
};

}  // namespace vexonetwork::network
