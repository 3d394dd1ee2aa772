#pragma once

#include <json/value.h>

#include <string>

#include <vexonetsdk/dbus_client.h>

namespace vexonetwork::dbus {

/// Requests to the daemon's modules, over a connection of its own to the bus of bus_names.h. For
/// one thread at a time; a call blocks until the daemon answers or the bus library's default time
/// is over.
///
/// Every request returns 0, or -1 when the daemon could not be reached or refused the request, or
/// when its reply is no JSON: `out` then holds what the parser had made of it. LastError tells what
/// the bus said.
class NetClient : public vexonetsdk::dbus::DBusClient {
  public:
    NetClient();

    /// @param type  name of the scanner whose devices are asked for
    int GetDeviceListData(const std::string& type, Json::Value& out);
    int SetDeviceListData(const Json::Value& data);
    int DelDeviceListData(const std::string& mac);

    int GetGatewayListData(Json::Value& in, Json::Value& out);
    int AddGatewayData(Json::Value& info);
    int DelGatewayData(Json::Value& info);
    int SetSlaveData(Json::Value& info);
    int GetGatewayDataByInterface(Json::Value& in, Json::Value& out);
    int CopyGatewayData(Json::Value& info);
    int RefreshGateway(Json::Value& info);

    int ResetIPv6Module(const std::string& ifname);

    /// Whether the daemon's pid file names a live process and the bus name has an owner: somebody
    /// else who took the name is not the daemon.
    bool IsServerReady() const;

  private:
    struct ParseFailure {
        int line;
        const char* text;
    };

    int Call(const char* method, const std::string& argument, std::string* answer = nullptr);
    int Query(const char* method, const std::string& argument, Json::Value& out,
              const ParseFailure& failure);
};

}  // namespace vexonetwork::dbus
