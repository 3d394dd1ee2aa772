#include "vexonetwork/network/module/route_module.h"

#include <algorithm>
#include <exception>
#include <optional>

#include <vexo/ha.h>
#include <vexobase/log.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/file.h>

#include "network/gateway/former_defaults.h"
#include "network/gateway/gateway_request.h"
#include "network/gateway/request_guard.h"
#include "network/routing/routing_watch.h"

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

constexpr char kUnknownToGet[] = "Unknown type to get data";

std::string DatabaseValue(const std::string& ifname, const char* key) {
    char value[256] = "";
    VLIBCFileGetSectionValue(kGatewayDatabase, ifname.c_str(), key, value, sizeof value);
    return value;
}

}  // namespace

RouteModule::RouteModule() : BaseModule(MODULE_ROUTE) {}
RouteModule::~RouteModule() = default;

BaseModule* RouteModule::Create() {
    return new RouteModule;
}

int RouteModule::InitialModule() {
    const RequestGuard guard(request_mutex);
    std::ranges::for_each(kGatewayFamilies, PutBackFormer);
    // A module that is initialised once more starts from the files again, not from both.
    gateways_v4 = {};
    gateways_v6 = {};
    const bool isReadV4 = ReadGatewayListFromFile(GTYPE_V4) == 0;
    const bool isReadV6 = ReadGatewayListFromFile(GTYPE_V6) == 0;
    Settle(GTYPE_V4, isReadV4);
    Settle(GTYPE_V6, isReadV6);

    // What is harmed from here on is heard.
    routing_watch = std::make_unique<RoutingWatch>();
    static_routes.Apply();
    uplink_policy.Synchronise();
    return 0;
}

GatewayList& RouteModule::GatewaysOf(GATEWAY_TYPE gatewayType) {
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
    const std::string method = utils::GetString(request, "method").value_or("");
    const auto serve = [this](const auto& wanted) {
        if (wanted) {
            Serve(*wanted);
        }
    };
    if (method == "GET_GATEWAY_LIST_DATA") {
        if (const auto list = ReadList(request, kUnknownToGet)) {
            GetGatewayListData(*list, reply);
        }
    } else if (method == "ADD_GATEWAY_DATA") {
        serve(ReadAddRequest(request));
    } else if (method == "DEL_GATEWAY_DATA") {
        serve(ReadDeleteRequest(request));
    } else if (method == "GET_GATEWAY_DATA_BY_INTERFACE") {
        if (const auto list = ReadList(request, kUnknownToGet)) {
            GetGatewayDataByInterface(*list, request, reply);
        }
    } else if (method == "SET_SLAVE_DATA") {
        serve(ReadSlaveRequest(request));
    } else if (method == "COPY_GATEWAY_DATA") {
        serve(ReadCopyRequest(request));
    } else if (method == "REFRESH_GATEWAY") {
        RefreshDefaultGateway(request);
    }
}

void RouteModule::GetGatewayListData(GATEWAY_TYPE list, Json::Value& reply) {
    const GatewayList& gateways = GatewaysOf(list);
    if (gateways.Size() == 0) {
        return;
    }
    const auto heartbeat = HeartbeatInterface();
    int priority = 0;
    for (const auto& [entry, isDormant, boots] : gateways.Slots()) {
        if (isDormant) {
            continue;
        }
        if (heartbeat != entry.ifname) {
            reply.append(ToJson(entry, priority));
        }
        ++priority;
    }
}

void RouteModule::GetGatewayDataByInterface(GATEWAY_TYPE list, const Json::Value& request,
                                            Json::Value& reply) {
    reply = ToJson(GatewayInfo{}, -1);
    reply.removeMember("ifname");
    reply["exist"] = false;
    const auto ifname = ReadInterface(request, "ifname");
    if (!ifname) {
        return;
    }
    const GatewayList& gateways = GatewaysOf(list);
    if (const auto place = gateways.PlaceOf(*ifname)) {
        reply = ToJson(gateways.Find(*ifname)->entry, static_cast<int>(*place));
        reply["exist"] = true;
        return;
    }
    reply["gateway"] = DatabaseValue(*ifname, FindFamily(list)->gatewayKey);
    reply["dns"] = DatabaseValue(*ifname, FindFamily(list)->dnsKey);
}

}  // namespace vexonetwork::network::module
