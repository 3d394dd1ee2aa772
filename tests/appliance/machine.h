#pragma once

#include <string>

#include "support/process.h"

namespace vexotest {

/// The appliance as a machine: the product installed, systemd as its first process. Its network is
/// the test's own, and its files are, but for /run, /tmp and /dev.
class Machine {
  public:
    /// Installs; nothing runs yet.
    Machine();
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    /// Boots and waits until every unit has started; a failed unit fails the test.
    void Boot();

    /// An orderly reboot, and a power cut followed by a boot.
    void Reboot();
    void CutPowerAndBoot();

    /// Runs a command inside, split at blanks.
    Outcome Try(const std::string& commandLine) const;

    /// The same for a command that must succeed. @return its output without the last newline
    std::string Do(const std::string& commandLine) const;

    /// Process id of a service, as seen inside; "0" when it does not run.
    std::string PidOf(const std::string& service) const;

    /// Waits until the daemon serves as another process than `former`, and the service tells that
    /// it has started.
    /// @return how long that took
    Milliseconds AwaitDaemonOtherThan(const std::string& former) const;

  private:
    void AwaitBoot();

    Process systemd;
};

}  // namespace vexotest
