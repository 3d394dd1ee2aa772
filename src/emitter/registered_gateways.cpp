#include "emitter/registered_gateways.h"

#include <json/value.h>

#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/utils/json_reader.h>

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

Json::Value Ask(const char* method, List list, const std::string& ifname = "") {
    Json::Value reply;
    if (BaseModule* module = Module(); module != nullptr) {
        Json::Value request(Json::objectValue);
        request["method"] = method;
        request["type"] = !list ? "ALL" : *list == GTYPE_V6 ? "GTYPE_V6" : "GTYPE_V4";
        if (!ifname.empty()) {
            request["ifname"] = ifname;
        }
        module->ProcessRequest(request, reply);
    }
    return reply;
}

class Registered : public GatewayFollower {
  public:
    bool HasGateway(List list, const std::string& ifname) override {
        if (GatewayFollower* follower = Follower(); follower != nullptr) {
            return follower->HasGateway(list, ifname);
        }
        return utils::GetBool(Ask("HAS_GATEWAY_DATA", list, ifname), "exist").value_or(false);
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
    void Elect(List list) override {
        if (GatewayFollower* follower = Follower(); follower != nullptr) {
            follower->Elect(list);
        } else {
            Ask("REFRESH_GATEWAY", list);
        }
    }
};

}  // namespace

GatewayFollower& RegisteredGateways() {
    static Registered registered;
    return registered;
}

}  // namespace vexonetwork
