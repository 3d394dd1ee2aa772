#pragma once

#include <string>

#include <vexonetwork/ipv6/router/router6_attr.h>

namespace vexo::network::ipv6::router {

/// A kind of IPv6 router. Each failure is a line in the system log.
class Router6Base {
  public:
    explicit Router6Base(const Router6Attr& attributes) : attr(attributes) {}
    virtual ~Router6Base() = default;

    /// Compares the attributes.
    virtual bool operator==(const Router6Base& other) const;
    virtual bool operator!=(const Router6Base& other) const;

    /// Brings the router up, saves its configuration and marks the WAN as a router's. A failure
    /// leaves nothing behind that was not there before.
    /// This part of it: the configuration and the mark, IPV6ROUTER=yes in the WAN's ifcfg file.
    virtual bool Create() const = 0;

    /// Undoes Create, as far as it goes: what cannot be undone is logged, the rest is done.
    /// This part of it: removes the configuration and sets IPV6ROUTER=no.
    virtual bool Destroy() const = 0;

    /// Whether the attributes can make a router. Enables IPv6 on the WAN if it is Ethernet, and
    /// IPv6 forwarding.
    virtual bool ValidateAttr() const = 0;

    /// Sets IPV6ROUTER in the WAN's ifcfg file, by which the listener to advertisements knows
    /// where the appliance itself is the router. Without a WAN nothing is to be done.
    bool SetSysConfig(bool router) const;

    Router6Attr attr;

    /// The router was configured before: its configuration and its mark stay when it goes, also
    /// when a failure takes back what Create has made. So whatever ends a restoring program at
    /// whatever moment, the router can still be restored.
    bool keepsConfiguration = false;

  protected:
    /// The interface that the WAN means; "" without a PPPoE connection.
    std::string Wan() const { return Router6Attr::ConvertInterface(attr.wan); }
};

}  // namespace vexo::network::ipv6::router
