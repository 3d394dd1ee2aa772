#pragma once

#include <vexonetwork/utils/lock.h>

namespace vexo::network::ipv6::router {

/// Keeps other processes and threads from the routers' files while these are loaded, changed and
/// saved. Not to be taken again by who holds it: Router6Prefix's changes and the Create and
/// Destroy of a router take it themselves.
class Router6Lock {
  public:
    /// Waits up to 30 s.
    Router6Lock() : held(lock.Lock()) {}
    ~Router6Lock() {
        if (held) {
            lock.Unlock();
        }
    }
    Router6Lock(const Router6Lock&) = delete;
    Router6Lock& operator=(const Router6Lock&) = delete;

    /// False, with a log line, when it could not be taken.
    explicit operator bool() const { return held; }

  private:
    vexonetwork::utils::FileLock lock{"/run/vexo/ipv6_routers.lock", true};
    bool held;
};

}  // namespace vexo::network::ipv6::router
