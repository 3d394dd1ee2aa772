#pragma once

#include <vexonetwork/ipv6/router/router6_base.h>

namespace vexo::network::ipv6::router {

/// A tunnel of IPv6 in IPv4 packets (RFC 4213) to a broker, or to a 6to4 relay (RFC 3056). Its
/// device is "6in4-WAN", so that the name of the WAN has room for 10 bytes.
class Tunnel6in4 : public Router6Base {
  public:
    using Router6Base::Router6Base;

    bool Create() const override;
    bool Destroy() const override;
    bool ValidateAttr() const override;

  private:
    bool MakeDevice(const std::string& device) const;
    bool SetUp(const std::string& device) const;
};

}  // namespace vexo::network::ipv6::router
