#pragma once

#include <vexonetwork/utils/lock.h>

namespace vexo::network::ipv6::router {

/// Keeps other processes and threads from the routers' files while these are loaded, changed and
/// saved. Waits up to 30 s. Not to be taken again by who holds it: Router6Prefix's changes and the
/// Create and Destroy of a router take it themselves.
class Router6Lock : public vexonetwork::utils::ScopedFileLock {
  public:
    Router6Lock() : ScopedFileLock("/run/vexo/ipv6_routers.lock") {}
};

}  // namespace vexo::network::ipv6::router
