#pragma once

#include <memory>

namespace vexo::network::ipv6::router {

/// Wakes vexonet-router6.service when what LANs depend on changes without a hook: the machine gets
/// its first IPv6 default route or loses the last one, or somebody takes away the rules that guard
/// the LANs. While no router is configured it wakes nobody. It lives in the daemon and has a thread
/// of its own; what happens in bursts is looked at once a second.
class Router6Watch {
  public:
    /// Failures are logged; there is then less to be woken for.
    Router6Watch();
    ~Router6Watch();
    Router6Watch(const Router6Watch&) = delete;
    Router6Watch& operator=(const Router6Watch&) = delete;

  private:
    class Work;
    std::unique_ptr<Work> work;
};

}  // namespace vexo::network::ipv6::router
