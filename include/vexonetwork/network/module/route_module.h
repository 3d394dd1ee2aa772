#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <vexonetwork/network/gateway_follower.h>
#include <vexonetwork/network/gateway_info.h>
#include <vexonetwork/network/module/base_module.h>
#include <vexonetwork/network/static_routes.h>
#include <vexonetwork/network/uplink_policy.h>
#include <vexonetwork/utils/pthread_mutex.h>

namespace vexonetwork::network::module {

/// Owns the ordered lists of default gateways, one for each address family. The order is the
/// priority: the first usable entry gets the default route. Lists live in memory and in the files
/// below /etc/iproute2/config, which every change rewrites.
class RouteModule : public BaseModule, public GatewayFollower {
  public:
    RouteModule() : BaseModule(MODULE_ROUTE) {}

    static BaseModule* Create();

    /// Serves one request, named by its "method". A request that is refused or fails leaves a log
    /// line; the reply is then untouched or partial.
    /// @return 0 always
    int ProcessRequest(const Json::Value& request, Json::Value& reply) override;

    /// Loads the lists and brings static routes and policy routing in step. Elects nothing.
    /// @return 0; failures are only logged
    int InitialModule() override;
    int TerminateModule() override { return 0; }
    int StartModule() override { return 0; }

    bool HasGateway(std::optional<GATEWAY_TYPE> list, const std::string& ifname) override;
    void OnLinkUp(const std::string& ifname) override;
    void FollowNetwork(const std::vector<std::string>& ifnames) override;
    void Elect(std::optional<GATEWAY_TYPE> list) override;

    // The steps below return 0, or -1 after a log line. They take no lock.

    /// Appends the entries of the priority file to the list, in byte order of their section names;
    /// entries without link are left out, and from the file at the next write. A missing file is
    /// success.
    int ReadGatewayListFromFile(GATEWAY_TYPE gatewayType);
    int WriteGatewayListToFile(GATEWAY_TYPE gatewayType);

    /// Stores the chosen addresses of every entry; interfaces that left the list keep theirs.
    int WriteGatewayToDatabase(GATEWAY_TYPE gatewayType, bool gateway, bool dns);

    /// Rewrites the resolver file, and has the system's resolver follow when it is automatic.
    int WriteDnsFile(GATEWAY_TYPE gatewayType);

    /// @return 1 when the database has another value (or none), 0 when the same, -1 on failure
    int IsDatabaseChanged(const std::string& section, const std::string& key,
                          const std::string& value);

    /// The same for the address an add request brings; 0 when it brings none.
    int IsGatewayConfigChanged(const Json::Value& request);
    int IsDnsConfigChanged(const Json::Value& request);

    /// Gives the default route to the first entry that can carry it, which moves to the front in
    /// memory. When none can, the main table has the default routes of before again.
    int RefreshDefaultGatewayV4();
    int RefreshDefaultGatewayV6();

    /// Runs the elections that the request's "type" names; "ALL" means both.
    int RefreshDefaultGateway(const Json::Value& request);

  private:
    using Gateways = std::vector<GatewayInfo>;

    void Dispatch(const Json::Value& request, Json::Value& reply);
    int GetGatewayListData(const Json::Value& request, Json::Value& reply);
    int GetGatewayDataByInterface(const Json::Value& request, Json::Value& reply);

    /// For the rooms of this process, not on the bus: "exist" tells whether the list of "type", or
    /// one of the lists for "ALL", has an entry of "ifname". Reads no file.
    int HasGatewayData(const Json::Value& request, Json::Value& reply);

    /// For the rooms of this process, not on the bus: "ifname" has a link. Where it was left out
    /// of a list at start for the want of one, its entry takes its place again.
    int RestoreGatewayData(const Json::Value& request);

    /// For the rooms of this process, not on the bus: links or addresses of the interfaces in
    /// the words of "ifnames" have changed, or of any when there are none. The static routes and
    /// the policy routing of the uplinks follow.
    int FollowNetworkData(const Json::Value& request);
    int AddGatewayInfo(const Json::Value& request);
    int DelGatewayInfo(const Json::Value& request);
    int SetSlaveForGatewayInfo(const Json::Value& request);
    int CopyGatewayData(const Json::Value& request);

    /// An entry that had no link at start, and its place in the file.
    struct LeftOut {
        GATEWAY_TYPE list;
        std::size_t place;
        GatewayInfo entry;
    };

    Gateways& GatewaysOf(GATEWAY_TYPE gatewayType);
    bool IsListed(std::optional<GATEWAY_TYPE> list, const std::string& ifname);
    void Restore(const std::string& ifname);
    void Follow(const std::vector<std::string>& ifnames);
    int RunElections(std::optional<GATEWAY_TYPE> list);
    void ForgetLeftOut(GATEWAY_TYPE list, const std::string& ifname);
    int IsConfigChanged(const Json::Value& request, bool gateway);

    Gateways gateways_v4;
    Gateways gateways_v6;
    std::vector<LeftOut> left_out;
    std::string bare_winner;  ///< whose IPv6 default route names the interface alone; "" for none
    StaticRoutes static_routes;
    UplinkPolicy uplink_policy;
    PthreadMutex request_mutex;
};

}  // namespace vexonetwork::network::module
