#include "ipv6/router/gateway_places.h"

#include <vexobase/log.h>
#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/utils/json_reader.h>

#include "ipv6/router/router_names.h"

namespace vexo::network::ipv6::router {

namespace {

std::map<std::string, int> Ask() {
    Json::Value request;
    request["type"] = kGatewayType;
    Json::Value list;
    if (vexonetwork::dbus::NetClient().GetGatewayListData(request, list) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to get the list of IPv6 gateways");
    }
    std::map<std::string, int> places;
    for (const Json::Value& entry : list) {
        const auto ifname = vexonetwork::utils::GetString(entry, "ifname");
        const auto priority = vexonetwork::utils::GetInt(entry, "priority");
        if (ifname && priority) {
            places.emplace(*ifname, *priority);
        }
    }
    return places;
}

}  // namespace

int GatewayPlaces::operator()(const std::string& ifname) {
    if (!places) {
        places = Ask();
    }
    const auto place = places->find(ifname);
    return place == places->end() ? -1 : place->second;
}

}  // namespace vexo::network::ipv6::router
