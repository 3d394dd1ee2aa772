#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <vexonetlink/link.h>
#include <vexonetlink/socket.h>

#include "network/advertisements/solicitations.h"

namespace vexonetwork::network::module {

/// Keeps the kernel from choosing default routers on the interfaces that follow advertisements: it
/// takes every one that advertises itself, so that a stranger fills the main table, and its choice
/// competes with the elected one. Beginning, event and overrun take the same way: the links are
/// looked over, and what is new to us or has come up is dealt with. For one thread.
///
/// What the kernel has learnt by then goes at once, however much that is. Waiting until the gateway
/// list has an entry would leave all of it to the first election. So that the machine has IPv6
/// again after a round trip, the routers of the link are asked to advertise themselves; where the
/// list has an entry, the election puts that in force without waiting for them.
///
/// Interfaces of others are left alone: those that do not follow advertisements, ports of bridges,
/// and, unless somebody has configured them, what tunnels and containers bring (IsOurs).
class UplinkLinks {
  public:
    /// @param follows  whether an interface follows advertisements
    explicit UplinkLinks(std::function<bool(const std::string& ifname)> follows);

    /// Begins to listen for changes of links and deals with those that are there. Failures are
    /// logged.
    void Begin(SteadyTime now);
    void End();

    /// Becomes readable when links have changed; -1 when we do not listen.
    int Descriptor() const { return listener ? listener->Descriptor() : -1; }

    /// Deals with what has changed since the last call. @return whether anything has
    bool Update(SteadyTime now);

    Solicitations& Asked() { return solicitations; }

    /// Whether a link may be an uplink of this machine by what it is.
    /// @param isConfigured  it has an ifcfg file
    static bool IsOurs(const vexonetlink::Link& link, bool isConfigured);

  private:
    struct Known {
        std::string ifname;
        bool isRunning = false;
        bool isDone = false;  ///< the kernel chooses no default router there, or it is none of ours
    };

    void LookOver(SteadyTime now);
    bool Refuse(const vexonetlink::Link& link, std::vector<unsigned>& cleared);
    void RemoveDefaults(const std::vector<unsigned>& indices);

    const std::function<bool(const std::string& ifname)> follows;
    std::optional<vexonetlink::Socket> listener;
    std::optional<vexonetlink::Socket> requests;
    std::map<unsigned, Known> known;  ///< by index
    Solicitations solicitations;
};

}  // namespace vexonetwork::network::module
