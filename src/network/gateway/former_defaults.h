#pragma once

#include <optional>

#include "network/gateway/gateway_family.h"
#include "network/gateway/main_defaults.h"

namespace vexonetwork::network::module {

/// The default routes that an election takes away. They stand in a file until what follows them
/// does: the process may be killed in between, and its successor then puts them back.
class FormerDefaults {
  public:
    /// Reads the kernel's, and writes them down.
    FormerDefaults(const GatewayFamily& family, MainDefaults& kernel);
    ~FormerDefaults();
    FormerDefaults(const FormerDefaults&) = delete;
    FormerDefaults& operator=(const FormerDefaults&) = delete;

    /// Nothing when the kernel did not tell.
    const std::optional<DefaultRoutes>& Routes() const { return routes; }

    /// Nobody has won, so nothing takes their place. They come back before what stands in for them
    /// goes, so that there is no moment without.
    /// @param saved  the gateway that the store has set meanwhile, or ""
    void PutBack(const char* saved);

  private:
    const GatewayFamily& family;
    MainDefaults& kernel;
    std::optional<DefaultRoutes> routes;
};

/// Puts back what the election of a killed process took away, unless something else has taken
/// their place.
void PutBackFormer(const GatewayFamily& family);

}  // namespace vexonetwork::network::module
