#include <thread>

#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/dbus/net_server.h>
#include <vexonetwork/utils/json_reader.h>

#include "support/appliance.h"
#include "unit/network/fake_module.h"

namespace vexotest {
namespace {

using namespace std::placeholders;
using namespace std::string_literals;
using namespace vexonetwork::utils;
using std::bind;
using vexonetwork::dbus::NetClient;

/// Has the modules answer with this JSON text.
void Answer(const std::string& text) {
    answer = [text](Json::Value& reply) { return ParseJson(text, reply) ? 0 : -1; };
}

/// The bus object, served by a thread of its own.
class OnTheBus : public FakeModules {
  protected:
    OnTheBus() { Add<MODULE_IPV6, MODULE_ROUTE, MODULE_DEVICE_LIST>(); }
    ~OnTheBus() override {
        server.QuitLoop();
        loop.join();
    }

    Appliance appliance;
    vexonetwork::dbus::NetServer server;
    std::thread loop{[this] { EXPECT_EQ(server.StartLoop(), 0); }};
    NetClient client;
    Json::Value in, out;
};

/// What a method's request is to reach a module as, and what its caller is told when that fails.
struct Method {
    std::function<int(NetClient&, Json::Value& in, Json::Value& out)> call;
    const char* request;
    const char* failure;
};
const Method kMethods[] = {
    {bind(&NetClient::GetDeviceListData, _1, "x", _3), "4 get scannertype=x", "get upnp data"},
    {bind(&NetClient::SetDeviceListData, _1, _2), "4 set a=1", "set device type"},
    {bind(&NetClient::DelDeviceListData, _1, "["), "4 del macAddr=[", "set delete data"},
    {bind(&NetClient::GetGatewayListData, _1, _2, _3), "3 GET_GATEWAY_LIST_DATA a=1",
     "get gateway list data"},
    {bind(&NetClient::AddGatewayData, _1, _2), "3 ADD_GATEWAY_DATA a=1", "add gateway data"},
    {bind(&NetClient::DelGatewayData, _1, _2), "3 DEL_GATEWAY_DATA a=1", "del gateway data"},
    {bind(&NetClient::GetGatewayDataByInterface, _1, _2, _3), "3 GET_GATEWAY_DATA_BY_INTERFACE a=1",
     "get gateway data by interface"},
    {bind(&NetClient::SetSlaveData, _1, _2), "3 SET_SLAVE_DATA a=1", "set slave data"},
    {bind(&NetClient::CopyGatewayData, _1, _2), "3 COPY_GATEWAY_DATA a=1", "copy gateway data"},
    {bind(&NetClient::RefreshGateway, _1, _2), "3 REFRESH_GATEWAY a=1", "refresh gateway"},
    {bind(&NetClient::ResetIPv6Module, _1, "x"), "2 RESET_IPV6_MODULE ifname=x",
     "reset ipv6 module"},
};

TEST_F(OnTheBus, EveryMethodReachesItsModule) {
    ParseJson(R"({"a": 1, "method": "replaced"})", in);
    for (const auto& [call, request, failure] : kMethods) {
        Answer("{}");
        EXPECT_EQ(call(client, in, out), 0) << request;
        EXPECT_EQ(requests.back(), request);
        answer = [](Json::Value&) { return 7; };
        EXPECT_EQ(call(client, in, out), -1);
        EXPECT_EQ(client.LastError(), "failed to "s + failure);
    }
    EXPECT_TRUE(spy.Has("net_server", "failed to delete data"));
}

TEST_F(OnTheBus, RepliesAreStyledText) {
    Answer(R"([[1, -2.5], [], {}, "\u0001\u00e9/", [{"a": true}]])");
    std::string reply;
    EXPECT_EQ(appliance.Call("GetGatewayListData", "null", &reply), 0);
    EXPECT_EQ(reply, Parsed(reply).toStyledString());
}

TEST_F(OnTheBus, NothingOfAModuleEndsTheServer) {
    answer = [](Json::Value& reply) { return (reply = "text")["member"].asInt(); };
    EXPECT_EQ(client.GetGatewayListData(in, out), -1);
    answer = [](Json::Value& reply) { return (reply = std::string(20'000'000, 'x')).isInt(); };
    EXPECT_EQ(client.GetGatewayListData(in, out), -1);
    EXPECT_EQ(client.LastError(), "failed to get gateway list data") << "too long for the bus";
    answer = [](auto& reply) { return reply.setComment("/"s, Json::commentBefore), 0; };
    EXPECT_EQ(client.GetGatewayListData(in, out), -1) << "no JSON";
    Answer("// \xff\n {}");
    EXPECT_EQ(client.GetGatewayListData(in, out), 0);
}

TEST_F(OnTheBus, HelpersAskAboutGateways) {
    Answer(R"({"priority": -2})");
    EXPECT_EQ(GetGatewayPriority("eth0", "GTYPE_V4"), -2);
    for (const bool succeeds : {true, false}) {
        answer = [succeeds](Json::Value&) { return succeeds ? 0 : 7; };
        EXPECT_EQ(GetGatewayPriority("eth0", "GTYPE_V4"), succeeds ? 0 : -1);
        EXPECT_EQ(SetGatewayInfo("eth0", "GTYPE_V6", "fe80::1", "NULL", "lan", 2, true), succeeds);
        EXPECT_EQ(DelGatewayInfo("eth0", "GTYPE_V4", false), succeeds);
        EXPECT_EQ(RefreshGateway("GTYPE_V4"), succeeds);
    }
    EXPECT_THAT(requests,
                testing::IsSupersetOf({"3 GET_GATEWAY_DATA_BY_INTERFACE ifname=eth0 type=GTYPE_V4",
                                       "3 ADD_GATEWAY_DATA class=lan dns=NULL gateway=fe80::1 "
                                       "ifname=eth0 priority=2 type=GTYPE_V6",
                                       "3 DEL_GATEWAY_DATA ifname=eth0 type=GTYPE_V4",
                                       "3 REFRESH_GATEWAY type=GTYPE_V4"}));
}

TEST_F(OnTheBus, TheServerIsReadyOnlyAsTheDaemon) {
    EXPECT_FALSE(client.IsServerReady()) << "somebody else has the name";
    WriteFile("/var/run/vexonetd.pid", "1\n");
    EXPECT_TRUE(client.IsServerReady());
}

TEST(Client, OutlivesTheBusAndWhatItsLibraryWouldEndTheProcessFor) {
    Appliance appliance;
    NetClient client;
    Json::Value out;
    EXPECT_EQ(client.GetDeviceListData("x", out), -1) << "nobody serves";
    EXPECT_EQ(appliance.Call("no method", ""), -1);
    for (const std::string& text : {"\xc3\x28"s, "a\0b"s, std::string(1 << 27, 'a')}) {
        EXPECT_EQ(appliance.Call("RefreshGateway", text), -1);
    }
    appliance.StopBus();
    EXPECT_EQ(client.GetDeviceListData("x", out), -1);
    EXPECT_EQ(client.GetDeviceListData("x", out), -1);
    EXPECT_THAT(client.LastError(), testing::HasSubstr("cannot be reached"));
}

}  // namespace
}  // namespace vexotest
