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

/// What an ip command changes: lines of its batch language, in our namespace or in another one.
struct Lines {
    std::string netns;  ///< "" for ours
    std::vector<std::string> lines;
};

/// The appliance with four uplinks and a LAN around it.
class World {
  public:
    static constexpr std::size_t kUplinks = 4;

    World();

    /// Brings the lines to the kernel, one after another, also when it refuses some.
    void Play(const Lines& lines);

    /// The same without waiting for it, one at a time.
    void Begin(const Lines& lines);
    void EndWhatBegan();

    /// The lines that make a port, and those that give it what it has at start.
    static std::vector<Lines> Make(const Port& port, bool withDetection);

    vexotest::Appliance appliance;
    vexotest::TempFolder folder;
    std::vector<Port> uplinks;  ///< the fourth one is in the networks of the first one
    Port lan;

  private:
    vexotest::Process Command(const Lines& lines);

    vexotest::Process background;
    unsigned batches = 0;
};

}  // namespace vexosoak
