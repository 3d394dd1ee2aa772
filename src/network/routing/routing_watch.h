#pragma once

#include <optional>

#include <vexobase/unique_fd.h>
#include <vexonetlink/socket.h>

namespace vexonetwork::network {

/// Hears when somebody takes away rules or routes that carry our protocol number, or changes a
/// ruleset of nftables, as tools do that bring up a VPN or reload a firewall. Our own removals are
/// heard too: who looks then finds everything in its place.
class RoutingWatch {
  public:
    /// Begins to listen. What the kernel does not let it hear is logged.
    RoutingWatch();

    /// Readable while something has happened since the last Drain(); -1 when nothing can be heard.
    int Descriptor() const { return all.Get(); }

    /// Forgets what has happened. Whoever looks at the kernel afterwards misses nothing.
    void Drain();

  private:
    void Add(const char* what, int socket) const;

    std::optional<vexonetlink::Socket> routing;
    vexobase::UniqueFd rulesets;
    vexobase::UniqueFd all;  ///< an epoll(7) of both
};

}  // namespace vexonetwork::network
