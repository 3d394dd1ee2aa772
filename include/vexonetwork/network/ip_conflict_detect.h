#pragma once

namespace vexonetwork::network {

/// The switch of the detection of IPv4 address conflicts. The detection itself is the service of
/// the systemd unit "ip-conflict-detect"; the switch is the key "enable" of the flat file
/// "/usr/vexo/etc/vexo_ip_conflict_detect.conf".
///
/// The file is written before the unit is touched, and the first failure ends a call with a log
/// line. So the file may say more than was done; the same call again does the rest.
class IPConflictDetect {
  public:
    /// Has the unit run now and after each boot. @return whether all of it was done
    static bool Enable();

    /// Stops the unit, for good. @return whether all of it was done
    static bool Disable();

    /// Whether the file says so. One that cannot be read, lacks the key or has another value than
    /// "yes" does not.
    static bool IsEnable();
};

}  // namespace vexonetwork::network
