#include <vexobase/log.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/utils/json_reader.h>

namespace vexonetwork::utils {

namespace {

Json::Value GatewayRequest(const std::string& ifname, const std::string& type) {
    Json::Value request;
    request["type"] = type;
    request["ifname"] = ifname;
    return request;
}

}  // namespace

int GetGatewayPriority(const std::string& ifname, const std::string& type) {
    Json::Value request = GatewayRequest(ifname, type);
    Json::Value reply;
    if (dbus::NetClient().GetGatewayDataByInterface(request, reply) < 0) {
        VEXO_LOG_AT(25, LOG_ERR, "Failed to GetGatewayDataByInterface [%s]", ifname.c_str());
        return -1;
    }
    return GetInt(reply, "priority").value_or(0);
}

bool SetGatewayInfo(const std::string& ifname, const std::string& type, const std::string& gateway,
                    const std::string& dns, const std::string& gatewayClass, int priority,
                    bool /*unused*/) {
    Json::Value request = GatewayRequest(ifname, type);
    request["priority"] = priority;
    request["gateway"] = gateway;
    request["dns"] = dns;
    request["class"] = gatewayClass;
    if (dbus::NetClient().AddGatewayData(request) < 0) {
        VEXO_LOG_AT(49, LOG_ERR, "Failed to AddGatewayData on [%s]", ifname.c_str());
        return false;
    }
    return true;
}

bool DelGatewayInfo(const std::string& ifname, const std::string& type, bool /*unused*/) {
    Json::Value request = GatewayRequest(ifname, type);
    if (dbus::NetClient().DelGatewayData(request) < 0) {
        VEXO_LOG_AT(68, LOG_ERR, "Failed to DelGatewayData on [%s]", ifname.c_str());
        return false;
    }
    return true;
}

bool RefreshGateway(const std::string& type) {
    Json::Value request;
    request["type"] = type;
    if (dbus::NetClient().RefreshGateway(request) < 0) {
        VEXO_LOG_AT(85, LOG_ERR, "Failed to refresh gateway of type [%s]", type.c_str());
        return false;
    }
    return true;
}

}  // namespace vexonetwork::utils
