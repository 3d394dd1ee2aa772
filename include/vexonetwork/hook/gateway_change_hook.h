#pragma once

#include <string>

#include <vexonetsdk/base_hook.h>

namespace vexonetwork::hook {

/// "net/gateway_change": a route of the main table came or went. ACTION, IFNAME, DESTINATION and
/// GATEWAY.
class GatewayChangeHook : public vexonetsdk::hook::BaseHook {
  public:
    /// @param action       "NEW" or "DEL"
    /// @param destination  "" means "0.0.0.0"
    /// @param gateway      "" means "0.0.0.0"
    GatewayChangeHook(const std::string& action, const std::string& ifname,
                      const std::string& destination, const std::string& gateway);

    /// A hook without an action or an interface is not run.
    bool IsValid() const override;
};

}  // namespace vexonetwork::hook
