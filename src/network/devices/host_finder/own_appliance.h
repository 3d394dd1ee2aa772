#pragma once

#include <chrono>
#include <optional>

#include "network/devices/host_finder/host_finder_message.h"

namespace vexonetwork::network {

/// What the host finder may tell of this appliance. The configuration is read again when it was
/// read a second ago or more, however often it is asked for.
class OwnAppliance {
  public:
    /// @return an answer without token and addresses; nothing when the host finder is switched off
    ///         (`host_finder=no`)
    const std::optional<HostFinderMessage>& Answer();

  private:
    std::optional<HostFinderMessage> answer;
    std::chrono::steady_clock::time_point nextReading;
};

}  // namespace vexonetwork::network
