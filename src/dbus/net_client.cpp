#include <vexobase/log.h>
#include <vexonetwork/dbus/bus_names.h>
#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/proc.h>

namespace vexonetwork::dbus {

namespace {

constexpr char kDaemonPidFile[] = "/var/run/vexonetd.pid";

}  // namespace

NetClient::NetClient() : DBusClient(kBusName, kObjectPath, kInterfaceName, kBusType) {}

int NetClient::GetDeviceListData(const std::string& type, Json::Value& out) {
    return Query("GetDeviceListData", type, out, {61, "Failed to parse upnp data"});
}

int NetClient::SetDeviceListData(const Json::Value& data) {
    return Call("SetDeviceListData", data.toStyledString());
}

int NetClient::DelDeviceListData(const std::string& mac) {
    return Call("DelDeviceListData", mac);
}

int NetClient::GetGatewayListData(Json::Value& in, Json::Value& out) {
    return Query("GetGatewayListData", in.toStyledString(), out,
                 {137, "Failed to get gateway list data"});
}

int NetClient::AddGatewayData(Json::Value& info) {
    return Call("AddGatewayData", info.toStyledString());
}

int NetClient::DelGatewayData(Json::Value& info) {
    return Call("DelGatewayData", info.toStyledString());
}

int NetClient::SetSlaveData(Json::Value& info) {
    return Call("SetSlaveData", info.toStyledString());
}

int NetClient::GetGatewayDataByInterface(Json::Value& in, Json::Value& out) {
    return Query("GetGatewayDataByInterface", in.toStyledString(), out,
                 {238, "Failed to get gateway data by interface"});
}

int NetClient::CopyGatewayData(Json::Value& info) {
    return Call("CopyGatewayData", info.toStyledString());
}

int NetClient::RefreshGateway(Json::Value& info) {
    return Call("RefreshGateway", info.toStyledString());
}

int NetClient::ResetIPv6Module(const std::string& ifname) {
    return Call("ResetIPv6Module", ifname);
}

bool NetClient::IsServerReady() const {
    return VLIBCProcAliveByPidFile(kDaemonPidFile) == 1 && DBusClient::IsServerReady();
}

int NetClient::Call(const char* method, const std::string& argument, std::string* answer) {
    const bool done = NewMessage(method) >= 0 && Append(argument) >= 0 && SendMessage(true, -1) >= 0
                      && (answer == nullptr || GetReply(*answer) >= 0);
    return done ? 0 : -1;
}

int NetClient::Query(const char* method, const std::string& argument, Json::Value& out,
                     const ParseFailure& failure) {
    std::string answer;
    if (Call(method, argument, &answer) < 0) {
        return -1;
    }
    if (!utils::ParseJsonInPlace(answer, out)) {
        VEXO_LOG_AT(failure.line, LOG_ERR, "%s", failure.text);
        return -1;
    }
    return 0;
}

}  // namespace vexonetwork::dbus
