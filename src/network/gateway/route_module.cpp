#include "vexonetwork/network/module/route_module.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <optional>
#include <sstream>
#include <string_view>

#include <vexo/ha.h>
#include <vexobase/log.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/file.h>

#include "network/gateway/gateway_family.h"
#include "network/gateway/gateway_request.h"
#include "network/gateway/request_guard.h"

namespace vexonetwork::network::module {
namespace {

Json::Value ToJson(const GatewayInfo& entry, int priority) {
    using Key = Json::StaticString;  // Not copied for every entry of a list.
    Json::Value object;
    object[Key("priority")] = priority;
    object[Key("ifname")] = entry.ifname;
    object[Key("gateway")] = entry.gateway.ToCString();
    object[Key("dns")] = entry.dns.ToCString();
    object[Key("slave")] = entry.slave;
    object[Key("class")] = entry.interfaceClass;
    return object;
}

/// The interface that high availability keeps for itself; nothing when it does not run.
std::optional<std::string> HeartbeatInterface() {
    if (VEXOHAIsRunning() != 1) {
        return std::nullopt;
    }
    char ifname[16] = "";
    if (VEXOHAGetHeartbeatIF(ifname, sizeof ifname) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to get heartbeat interface.");
        return "";
    }
    return ifname;
}

std::string DatabaseValue(const std::string& ifname, const char* key) {
    char value[256] = "";
    VLIBCFileGetSectionValue(kGatewayDatabase, ifname.c_str(), key, value, sizeof value);
    return value;
}

}  // namespace

BaseModule* RouteModule::Create() {
    return new RouteModule;
}

int RouteModule::InitialModule() {
    const RequestGuard guard(request_mutex);
    // A module that is initialised once more starts from the files again, not from both.
    gateways_v4.clear();
    gateways_v6.clear();
    left_out.clear();
    ReadGatewayListFromFile(GTYPE_V4);
    ReadGatewayListFromFile(GTYPE_V6);

    static_routes.Apply();
    uplink_policy.Synchronise();
    return 0;
}

RouteModule::Gateways& RouteModule::GatewaysOf(GATEWAY_TYPE gatewayType) {
    return gatewayType == GTYPE_V6 ? gateways_v6 : gateways_v4;
}

int RouteModule::ProcessRequest(const Json::Value& request, Json::Value& reply) {
    const RequestGuard guard(request_mutex);
    try {
        Dispatch(request, reply);
    } catch (const std::exception& error) {
        VEXO_LOG(LOG_ERR, "Failed to process request: %.200s", error.what());
    }
    return 0;
}

void RouteModule::Dispatch(const Json::Value& request, Json::Value& reply) {
    struct Query {
        std::string_view method;
        int (RouteModule::*handler)(const Json::Value&, Json::Value&);
    };
    struct Command {
        std::string_view method;
        int (RouteModule::*handler)(const Json::Value&);
    };
    static constexpr Query kQueries[] = {
        {"GET_GATEWAY_LIST_DATA", &RouteModule::GetGatewayListData},
        {"GET_GATEWAY_DATA_BY_INTERFACE", &RouteModule::GetGatewayDataByInterface},
        {"HAS_GATEWAY_DATA", &RouteModule::HasGatewayData},
    };
    static constexpr Command kCommands[] = {
        {"ADD_GATEWAY_DATA", &RouteModule::AddGatewayInfo},
        {"DEL_GATEWAY_DATA", &RouteModule::DelGatewayInfo},
        {"SET_SLAVE_DATA", &RouteModule::SetSlaveForGatewayInfo},
        {"COPY_GATEWAY_DATA", &RouteModule::CopyGatewayData},
        {"REFRESH_GATEWAY", &RouteModule::RefreshDefaultGateway},
        {"RESTORE_GATEWAY_DATA", &RouteModule::RestoreGatewayData},
        {"FOLLOW_NETWORK", &RouteModule::FollowNetworkData},
    };
    const std::string method = utils::GetString(request, "method").value_or("");
    for (const Query& query : kQueries) {
        if (query.method == method) {
            (this->*query.handler)(request, reply);
        }
    }
    for (const Command& command : kCommands) {
        if (command.method == method) {
            (this->*command.handler)(request);
        }
    }
}

int RouteModule::GetGatewayListData(const Json::Value& request, Json::Value& reply) {
    const auto gatewayType = ReadType(request);
    if (!gatewayType) {
        VEXO_LOG(LOG_ERR, "Unknown type to get data");
        return -1;
    }
    const Gateways& gateways = GatewaysOf(*gatewayType);
    if (gateways.empty()) {
        return 0;
    }
    const auto heartbeat = HeartbeatInterface();
    int priority = 0;
    for (const GatewayInfo& entry : gateways) {
        if (heartbeat != entry.ifname) {
            reply.append(ToJson(entry, priority));
        }
        ++priority;
    }
    return 0;
}

int RouteModule::GetGatewayDataByInterface(const Json::Value& request, Json::Value& reply) {
    const auto gatewayType = ReadType(request);
    if (!gatewayType) {
        VEXO_LOG(LOG_ERR, "Unknown type to get data");
        return -1;
    }
    reply = ToJson(GatewayInfo{}, -1);
    reply.removeMember("ifname");
    reply["exist"] = false;
    const auto ifname = ReadInterface(request, "ifname");
    if (!ifname) {
        return -1;
    }
    const Gateways& gateways = GatewaysOf(*gatewayType);
    const auto entry = std::ranges::find(gateways, *ifname, &GatewayInfo::ifname);
    if (entry == gateways.end()) {
        reply["gateway"] = DatabaseValue(*ifname, FindFamily(*gatewayType)->gatewayKey);
        reply["dns"] = DatabaseValue(*ifname, FindFamily(*gatewayType)->dnsKey);
        return 0;
    }
    reply = ToJson(*entry, static_cast<int>(entry - gateways.begin()));
    reply["exist"] = true;
    return 0;
}

int RouteModule::HasGatewayData(const Json::Value& request, Json::Value& reply) {
    reply["exist"] = IsListed(ReadType(request), utils::GetString(request, "ifname").value_or(""));
    return 0;
}

int RouteModule::FollowNetworkData(const Json::Value& request) {
    using Words = std::istream_iterator<std::string>;
    std::istringstream words(utils::GetString(request, "ifnames").value_or(""));
    Follow({Words(words), Words{}});
    return 0;
}

}  // namespace vexonetwork::network::module
