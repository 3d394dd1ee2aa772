#include "emitter/registered_gateways.h"

#include <json/value.h>

#include <vexonetwork/network/module/module_manager.h>

namespace vexonetwork {
namespace {

using network::module::BaseModule;
using network::module::GATEWAY_TYPE;
using network::module::GatewayFollower;
using network::module::GTYPE_V6;
using network::module::MODULE_ROUTE;
using network::module::ModuleManager;
using List = std::optional<GATEWAY_TYPE>;

BaseModule* Module() {
    return ModuleManager::GetInstance().GetModule(MODULE_ROUTE);
}

GatewayFollower* Follower() {
    return dynamic_cast<GatewayFollower*>(Module());
}

class Registered : public GatewayFollower {
  public:
    bool HasGateway(List list, const std::string& ifname) override {
        GatewayFollower* follower = Follower();
        return follower == nullptr || follower->HasGateway(list, ifname);
    }
    void OnLinkUp(const std::string& ifname) override {
        if (GatewayFollower* follower = Follower(); follower != nullptr) {
            follower->OnLinkUp(ifname);
        }
    }
    void FollowNetwork(const std::vector<std::string>& ifnames) override {
        if (GatewayFollower* follower = Follower(); follower != nullptr) {
            follower->FollowNetwork(ifnames);
        }
    }
    int HarmDescriptor() override {
        GatewayFollower* const follower = Follower();
        return follower != nullptr ? follower->HarmDescriptor() : -1;
    }
    bool IsNetworkBehind() override {
        GatewayFollower* const follower = Follower();
        return follower != nullptr && follower->IsNetworkBehind();
    }
    void RepairNetwork() override {
        if (GatewayFollower* follower = Follower(); follower != nullptr) {
            follower->RepairNetwork();
        }
    }
    void Elect(List list) override {
        if (GatewayFollower* follower = Follower(); follower != nullptr) {
            follower->Elect(list);
        } else if (BaseModule* module = Module(); module != nullptr) {
            Json::Value request, reply;
            request["method"] = "REFRESH_GATEWAY";
            request["type"] = !list ? "ALL" : *list == GTYPE_V6 ? "GTYPE_V6" : "GTYPE_V4";
            module->ProcessRequest(request, reply);
        }
    }
};

}  // namespace

GatewayFollower& RegisteredGateways() {
    static Registered registered;
    return registered;
}

}  // namespace vexonetwork
