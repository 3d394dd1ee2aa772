#pragma once

#include <vexonetwork/utils/ip_address.h>

namespace vexonetwork::utils {

/// The platform's stored IPv4 default gateway. Every operation returns 0, or -1 after a line in the
/// system log.
class Gateway {
  public:
    /// The gateway in force; empty when there is none.
    int Get(IPAddress& address);

    /// The configured gateway; empty when there is none.
    int GetConfig(IPAddress& address);

    /// Configures a gateway and puts it in force, with an entry in the event log; an empty address
    /// removes it. Nothing is done when it is both configured and in force already.
    int Set(const IPAddress& address);

    /// Remembers the gateway in force or, when there is none, the configured one; having neither
    /// is a failure.
    int Backup();

    /// Sets what Backup remembered.
    int Restore();

  private:
    IPAddress reserved;  ///< unused; keeps the object's layout
    IPAddress backup;
};

}  // namespace vexonetwork::utils
