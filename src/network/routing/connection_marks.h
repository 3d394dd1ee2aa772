#pragma once

#include <optional>
#include <string>
#include <vector>

#include "network/routing/uplink_plan.h"
#include "nftables/own_table.h"

namespace vexonetwork::network {

/// The rules of nftables by which connections that are forwarded from an uplink, to a LAN or a
/// container, are answered by it: their first packet marks the connection (kMarkMask), whose
/// answers get the mark before they are routed. Nothing when no uplink can have a mark.
std::string ConnectionMarkRules(const std::vector<Uplink>& uplinks);

/// Keeps them in a table of ours. For one thread.
class ConnectionMarks {
  public:
    /// Brings the table in step. Asks the kernel the first time, when other rules are wanted, and
    /// after Doubt().
    /// @return what keeps it from that, in one line
    nftables::Complaint Synchronise(const std::vector<Uplink>& uplinks);

    /// Somebody may have changed the table.
    void Doubt() { standing.reset(); }

    /// Whether the kernel has what these uplinks need.
    static bool Stand(const std::vector<Uplink>& uplinks);

  private:
    std::optional<std::string> standing;
};

}  // namespace vexonetwork::network
