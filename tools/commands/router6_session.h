#pragma once

#include <signal.h>

#include <optional>
#include <string>

#include <vexonetwork/ipv6/router/router6_attr.h>
#include <vexonetwork/utils/lock.h>

namespace vexonetctl {

/// What every command that changes routers needs: to be root, and to be the only one meanwhile.
/// Fails otherwise. What the library logs is shown on standard error too, for it says why. Whoever
/// interrupts the command or ends it waits until it is done: a router half made is in nobody's
/// file.
class Router6Session {
  public:
    Router6Session();
    ~Router6Session();
    Router6Session(const Router6Session&) = delete;
    Router6Session& operator=(const Router6Session&) = delete;

    /// Applies what the command has changed to the LANs.
    void ApplyToLans() const;

  private:
    std::optional<vexonetwork::utils::ScopedFileLock> lock;
    sigset_t formerSignals{};
};

/// The router that is configured for a WAN; none without one. Fails when its file is not whole.
std::optional<vexo::network::ipv6::router::Router6Attr> ConfiguredRouter(const std::string& wan);

/// Where the DHCPv6 client of a WAN tells which prefix it holds.
std::string DelegationFile(const std::string& wan);

}  // namespace vexonetctl
