// What whoever listens to the kernel tells and asks.

#include <exception>
#include <set>

#include <vexonetwork/network/module/route_module.h>

#include "network/gateway/request_guard.h"
#include "network/routing/routing_watch.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

/// The listener's thread must not end for what goes wrong here.
template <typename Work>
void Guarded(PthreadMutex& mutex, const char* what, const Work& work) {
    const RequestGuard guard(mutex);
    try {
        work();
    } catch (const std::exception& error) {
        VEXO_LOG(LOG_ERR, "Failed to %s: %.200s", what, error.what());
    }
}

}  // namespace

bool RouteModule::HasGateway(std::optional<GATEWAY_TYPE> list, const std::string& ifname) {
    bool isListed = false;
    Guarded(request_mutex, "look up an interface", [&] { isListed = IsListed(list, ifname); });
    return isListed;
}

void RouteModule::OnLinkUp(const std::string& ifname) {
    Guarded(request_mutex, "wake a gateway", [&] { Wake(ifname); });
}

void RouteModule::FollowNetwork(const std::vector<std::string>& ifnames) {
    Guarded(request_mutex, "follow the network", [&] { Follow(ifnames); });
}

int RouteModule::HarmDescriptor() {
    return routing_watch ? routing_watch->Descriptor() : -1;
}

bool RouteModule::IsNetworkBehind() {
    bool isBehind = false;
    Guarded(request_mutex, "look at the routing's files",
            [&] { isBehind = static_routes.IsBehind() || uplink_policy.IsBehind(); });
    return isBehind;
}

void RouteModule::RepairNetwork() {
    Guarded(request_mutex, "repair the routing", [&] {
        routing_watch->Drain();
        static_routes.Apply();
        uplink_policy.Repair();
    });
}

void RouteModule::Elect(std::optional<GATEWAY_TYPE> list) {
    Guarded(request_mutex, "elect a gateway", [&] {
        // An election that could not begin has left everything as it was, and no event follows.
        const auto elect = [](const auto& run) {
            constexpr int kMaxAttempts = 3;
            for (int i = 0; i < kMaxAttempts && run() != 0; ++i) {
            }
        };
        if (list != GTYPE_V6) {
            elect([this] { return RefreshDefaultGatewayV4(); });
        }
        if (list != GTYPE_V4) {
            elect([this] { return RefreshDefaultGatewayV6(); });
        }
    });
}

bool RouteModule::IsListed(std::optional<GATEWAY_TYPE> list, const std::string& ifname) {
    return (list != GTYPE_V6 && gateways_v4.Find(ifname) != nullptr)
           || (list != GTYPE_V4 && gateways_v6.Find(ifname) != nullptr);
}

/// The switch behind the cable may need longer to start than the appliance.
void RouteModule::Wake(const std::string& ifname) {
    for (const GATEWAY_TYPE list : {GTYPE_V4, GTYPE_V6}) {
        if (GatewaysOf(list).Wake(ifname)) {
            StoreListAndResolver(list);
        }
    }
}

void RouteModule::Follow(const std::vector<std::string>& ifnames) {
    const std::set<std::string> changed(ifnames.begin(), ifnames.end());
    static_routes.Follow(changed);
    uplink_policy.Follow(changed);
}

}  // namespace vexonetwork::network::module
