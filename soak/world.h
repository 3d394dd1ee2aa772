#pragma once

#include <string>
#include <vector>

#include "support/appliance.h"

namespace vexosoak {

/// A port of the appliance, by a veth pair whose far end `far` stands in a namespace.
struct Port {
    std::string ifname;
    std::string netns;
    std::string address;    ///< with its prefix length
    std::string gateway;    ///< what the far end has
    std::string addressV6;  ///< with its prefix length
    std::string gatewayV6;
};

/// Lines of ip's batch language, for our namespace ("") or another one.
struct Lines {
    std::string netns;
    std::vector<std::string> lines;
};

/// The appliance with four uplinks, of which the last one is in the networks of the first one, and
/// a LAN.
class World {
  public:
    static constexpr std::size_t kUplinks = 4;
    static constexpr std::size_t kPorts = 5;

    World();

    /// Brings the lines to the kernel, one after another, also when it refuses some.
    void Play(const Lines& lines);

    /// The same without waiting for it, one at a time.
    void Begin(const Lines& lines);
    void EndWhatBegan();

    /// What makes a port, or brings it back to what it was at start.
    static std::vector<Lines> Make(const Port& port, bool detectsDuplicates);

    vexotest::Appliance appliance;
    std::vector<Port> ports;  ///< the LAN is the last one

  private:
    vexotest::Process Command(const Lines& lines);

    vexotest::TempFolder folder;
    vexotest::Process background;
    unsigned batches = 0;
};

}  // namespace vexosoak
