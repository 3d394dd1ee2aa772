#pragma once

#include <vexonetwork/ipv6/router/router6_base.h>

namespace vexo::network::ipv6::router {

/// Native IPv6: a prefix is delegated by DHCPv6 on the WAN (RFC 8415, 6.3) to the client
/// dhclient6@WAN-pd.service.
class DHCPPD : public Router6Base {
  public:
    using Router6Base::Router6Base;

    /// Compares type and WAN alone: the prefix is the server's, and it changes.
    bool operator==(const Router6Base& other) const override;
    bool operator!=(const Router6Base& other) const override;

    bool Create() const override;
    bool Destroy() const override;
    bool ValidateAttr() const override;

    /// Starts the client anew.
    bool StartDHCPPD() const;

    /// Stops the client, which gives its prefix back.
    bool StopDHCPPD() const;

  private:
    bool AddGateway(const std::string& wan) const;
    std::string UnitName() const;
};

}  // namespace vexo::network::ipv6::router
