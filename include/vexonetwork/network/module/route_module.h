#pragma once

#include <json/value.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vexonetwork/network/gateway_follower.h>
#include <vexonetwork/network/gateway_info.h>
#include <vexonetwork/network/gateway_list.h>
#include <vexonetwork/network/module/base_module.h>
#include <vexonetwork/network/static_routes.h>
#include <vexonetwork/network/uplink_policy.h>
#include <vexonetwork/utils/pthread_mutex.h>

namespace vexonetwork::network {
class RoutingWatch;
}

namespace vexonetwork::network::module {

struct AddRequest;
struct CopyRequest;
struct EntryRequest;
struct SlaveRequest;

/// Owns the ordered lists of default gateways, one for each address family. The order is the
/// priority: the first usable entry gets the default route. Lists live in memory and in the files
/// below /etc/iproute2/config, which every change rewrites.
class RouteModule : public BaseModule, public GatewayFollower {
  public:
    RouteModule();
    ~RouteModule() override;

    static BaseModule* Create();

    /// Serves one request, named by its "method". A request that is refused or fails leaves a log
    /// line; the reply is then untouched or partial.
    /// @return 0 always
    int ProcessRequest(const Json::Value& request, Json::Value& reply) override;

    /// Loads the lists, mends resolver files that a kill has left behind them, and brings static
    /// routes and policy routing in step. Elects nothing.
    /// @return 0; failures are only logged
    int InitialModule() override;
    int TerminateModule() override { return 0; }
    int StartModule() override { return 0; }

    bool HasGateway(std::optional<GATEWAY_TYPE> list, const std::string& ifname) override;
    void OnLinkUp(const std::string& ifname) override;
    void FollowNetwork(const std::vector<std::string>& ifnames) override;
    int HarmDescriptor() override;
    bool IsNetworkBehind() override;
    void RepairNetwork() override;
    void Elect(std::optional<GATEWAY_TYPE> list) override;

    // The steps below return 0, or -1 after a log line. They take no lock.

    /// Appends the entries of the priority file to the list, in byte order of their section names;
    /// entries without link are dormant there, and leave the file at the next write. A missing file
    /// is success.
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
    void Dispatch(const Json::Value& request, Json::Value& reply);
    void GetGatewayListData(GATEWAY_TYPE list, Json::Value& reply);
    void GetGatewayDataByInterface(GATEWAY_TYPE list, const Json::Value& request,
                                   Json::Value& reply);
    int Serve(const AddRequest& wanted);
    int Serve(const EntryRequest& unwanted);
    int Serve(const SlaveRequest& wanted);
    int Serve(const CopyRequest& wanted);

    /// Whether a list, or either of both, has an entry of the interface, dormant or not.
    bool IsListed(std::optional<GATEWAY_TYPE> list, const std::string& ifname);
    void Wake(const std::string& ifname);
    void Follow(const std::vector<std::string>& ifnames);
    int RunElections(std::optional<GATEWAY_TYPE> list);

    GatewayList& GatewaysOf(GATEWAY_TYPE gatewayType);
    void Settle(GATEWAY_TYPE list, bool isRead);
    int StoreList(GATEWAY_TYPE list);
    int StoreListAndResolver(GATEWAY_TYPE list);
    int IsConfigChanged(const Json::Value& request, bool gateway);

    GatewayList gateways_v4;
    GatewayList gateways_v6;
    std::string bare_winner;  ///< whose IPv6 default route names the interface alone; "" for none
    StaticRoutes static_routes;
    UplinkPolicy uplink_policy;
    std::unique_ptr<RoutingWatch> routing_watch;  ///< from InitialModule() on
    PthreadMutex request_mutex;
};

}  // namespace vexonetwork::network::module
