#include "emitter/gateway_refresh.h"

#include <json/value.h>

#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/utils/json_reader.h>

namespace vexonetwork {
namespace {

using network::module::MODULE_ROUTE;
using network::module::ModuleManager;

Json::Value Ask(const char* method, GatewayType type, const std::string& ifname = "") {
    Json::Value request(Json::objectValue);
    request["method"] = method;
    request["type"] = type;
    if (!ifname.empty()) {
        request["ifname"] = ifname;
    }
    Json::Value reply;
    ModuleManager::GetInstance().ProcessRequest(MODULE_ROUTE, request, reply);
    return reply;
}

}  // namespace

bool IsGatewayInterface(GatewayType type, const std::string& ifname) {
    return utils::GetBool(Ask("HAS_GATEWAY_DATA", type, ifname), "exist").value_or(false);
}

void RestoreGateway(const std::string& ifname) {
    Ask("RESTORE_GATEWAY_DATA", "ALL", ifname);
}

void RefreshGateway(GatewayType type) {
    Ask("REFRESH_GATEWAY", type);
}

void FollowNetwork(const std::vector<std::string>& ifnames) {
    std::string words;
    for (const std::string& ifname : ifnames) {
        words += ifname + ' ';
    }
    Json::Value request(Json::objectValue);
    request["method"] = "FOLLOW_NETWORK";
    request["ifnames"] = words;
    Json::Value reply;
    ModuleManager::GetInstance().ProcessRequest(MODULE_ROUTE, request, reply);
}

}  // namespace vexonetwork
