#pragma once

#include <optional>
#include <string>
#include <vector>

#include <vexonetwork/network/gateway_info.h>

namespace vexonetwork::network::module {

/// What whoever listens to the kernel tells the keeper of the gateway lists. Calls come from the
/// listener's thread while requests are served on another; each is serialised with them.
class GatewayFollower {
  public:
    /// Whether the list has an entry of the interface, be it waiting for its link or not. Reads no
    /// file.
    /// @param list  nothing for either of the two
    virtual bool HasGateway(std::optional<GATEWAY_TYPE> list, const std::string& ifname) = 0;

    /// The interface has a link: an entry that waited for it takes its place again.
    virtual void OnLinkUp(const std::string& ifname) = 0;

    /// Links or addresses of these interfaces have changed, or of any when none is named: static
    /// routes and policy routing follow.
    virtual void FollowNetwork(const std::vector<std::string>& ifnames) = 0;

    /// Readable when others may have taken away routes, rules or marks of static routes and policy
    /// routing; -1 when nobody knows. It stays so until RepairNetwork().
    virtual int HarmDescriptor() = 0;

    /// Whether RepairNetwork() is needed though nothing was taken away: a file has changed, or
    /// could not be read or locked when it was needed. Costs a look at two files.
    virtual bool IsNetworkBehind() = 0;

    /// Puts back what is missing of ours, and makes up for what could not be done.
    virtual void RepairNetwork() = 0;

    /// Elects the default gateway anew.
    /// @param list  nothing for both, IPv4 first
    virtual void Elect(std::optional<GATEWAY_TYPE> list) = 0;

  protected:
    ~GatewayFollower() = default;
};

}  // namespace vexonetwork::network::module
