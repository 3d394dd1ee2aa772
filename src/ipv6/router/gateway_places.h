#pragma once

#include <map>
#include <optional>
#include <string>

namespace vexo::network::ipv6::router {

/// Places in the daemon's list of IPv6 gateways, asked for once, when the first one is wanted.
class GatewayPlaces {
  public:
    /// @return the interface's place from 0, or -1 when it is not listed or the daemon, with a log
    ///         line, does not answer
    int operator()(const std::string& ifname);

  private:
    std::optional<std::map<std::string, int>> places;
};

}  // namespace vexo::network::ipv6::router
