#pragma once

#include <map>
#include <set>
#include <vector>

#include "conflict_report.h"
#include "interface_watch.h"
#include "kernel_follower.h"

namespace conflictd {

/// Watches the addresses of all interfaces of this network namespace.
class ConflictDetector {
  public:
    /// Throws std::system_error, also when this process may not open packet sockets.
    explicit ConflictDetector(Draw randomTime);

    /// Waits for packets and changes and handles them.
    /// @param until  returns then at the latest
    /// @param wake   a descriptor; returns at once when it is readable
    void Turn(Clock::time_point until, int wake);

    /// Whether the interfaces have been read once.
    bool IsReady() const { return isReady; }

  private:
    /// @return those whose sockets have something to say
    std::vector<InterfaceWatch*> Wait(Clock::time_point until, int wake);
    void FollowKernel(Clock::time_point now);
    void Follow(unsigned index, const Interface& interface, Clock::time_point now);

    Draw draw;
    ConflictReport report;
    KernelFollower follower;
    InterfaceTable table;
    std::set<MacAddress> ownMacs;
    std::map<unsigned, InterfaceWatch> watches;  ///< by index
    std::set<unsigned> unwatched;                ///< could not be, as the log says
    Clock::time_point retry = Clock::time_point::max();
    bool isReady = false;
};

}  // namespace conflictd
