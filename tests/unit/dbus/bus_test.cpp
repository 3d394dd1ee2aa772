#include <cstdlib>
#include <thread>
#include <tuple>

#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/dbus/net_server.h>
#include <vexonetwork/utils/json_reader.h>

#include "dbus/net_handlers.h"
#include "support/appliance.h"
#include "unit/network/fake_module.h"

namespace vexotest {
namespace {

using namespace std::placeholders;
using namespace std::string_literals;
using namespace testing;
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
        g_object_unref(object);
    }

    Appliance appliance;
    GObject* const object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    vexonetwork::dbus::NetServer server;
    std::thread loop{[this] { EXPECT_EQ(server.StartLoop(), 0); }};
    NetClient client;
    Json::Value in, out;
};

/// What a method's request is to reach a module as, and what its caller and the log are told when
/// that fails.
struct Method {
    std::function<int(NetClient&, Json::Value& in, Json::Value& out)> call;
    const char* request;
    const char* failure;
    const char* logged = failure;
};
const Method kMethods[] = {
    {bind(&NetClient::GetDeviceListData, _1, "x", _3), "4 get scannertype=x", "get upnp data"},
    {bind(&NetClient::SetDeviceListData, _1, _2), "4 set a=1", "set device type"},
    {bind(&NetClient::DelDeviceListData, _1, "["), "4 del macAddr=[", "set delete data",
     "delete data"},
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
    for (const auto& [call, request, failure, logged] : kMethods) {
        Answer("{}");
        EXPECT_EQ(call(client, in, out), 0) << request;
        EXPECT_EQ(requests.back(), request);
        answer = [](Json::Value&) { return 7; };
        EXPECT_EQ(call(client, in, out), -1);
        EXPECT_EQ(client.LastError(), "failed to "s + failure);
        EXPECT_TRUE(spy.Has(LOG_ERR, "net_server", "failed to "s + logged)) << request;
    }
}

TEST_F(OnTheBus, AReplyThatIsNoJsonLeavesWhatTheParserMadeOfIt) {
    // It breaks off after its first member: no JSON, though a part of it was.
    answer = [](Json::Value& reply) {
        reply["a"] = reply["b"] = 1;
        reply["b"].setComment("/"s, Json::commentBefore);
        return 0;
    };
    for (const auto& [call, line, message] :
         {std::tuple{kMethods[0].call, 61, "Failed to parse upnp data"},
          {kMethods[3].call, 137, "Failed to get gateway list data"},
          {kMethods[6].call, 238, "Failed to get gateway data by interface"}}) {
        spy.Clear();
        out = "before";
        EXPECT_EQ(call(client, in, out), -1) << message;
        EXPECT_EQ(out, Parsed(R"({"a": 1})"));
        EXPECT_TRUE(spy.Has(LOG_ERR, "net_client", message));
        EXPECT_EQ(spy.Lines().back().line, line);
    }
}

/// "DOMAIN CODE MESSAGE" of what a handler fails with.
std::string ErrorOf(gboolean (*handler)(GObject*, const char*, GError**), GObject* object,
                    const char* argument) {
    GError* error = nullptr;
    EXPECT_FALSE(handler(object, argument, &error));
    const std::string text = error == nullptr
                                 ? ""
                                 : g_quark_to_string(error->domain) + " "s
                                       + std::to_string(error->code) + " " + error->message;
    g_clear_error(&error);
    return text;
}

TEST_F(OnTheBus, TextThatIsNoRequestFailsWithoutAReason) {
    const std::size_t served = requests.size();
    for (const auto& [method, text, message] :
         {std::tuple{"AddGatewayData", "{"s, "Failed to parse info"},
          {"RefreshGateway", "GTYPE_V4", "Failed to parse info"},
          {"SetDeviceListData", "[1]", "Failed to parse device data"}}) {
        EXPECT_EQ(client.NewMessage(method) + client.Append(text), 0);
        EXPECT_EQ(client.SendMessage(true, -1), -1);
        EXPECT_THAT(client.LastError(), EndsWith("returned FALSE but did not set error"));
        EXPECT_TRUE(spy.Has(LOG_ERR, "net_server", message));
    }
    EXPECT_EQ(requests.size(), served);
}

TEST_F(OnTheBus, NothingIsBadOnlyForTheSetterOfDevices) {
    for (const auto handler : {net_del_device_list_data, net_add_gateway_data}) {
        EXPECT_EQ(ErrorOf(handler, object, nullptr), "badparameter 1 Bad parameter");
        EXPECT_EQ(ErrorOf(handler, nullptr, "{}"), "badparameter 1 Bad parameter");
    }
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_server", "Bad parameter"));
    EXPECT_EQ(ErrorOf(net_set_device_list_data, object, nullptr), "") << "no text is no JSON there";
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_server", "Failed to parse device data"));
}

TEST_F(OnTheBus, RepliesAreStyledText) {
    Answer(
        "// of a file\n"
        R"([[1, -2.5], [], {}, "\u0001\u00e9/", [{"a": true}]])");
    std::string reply;
    EXPECT_EQ(appliance.Call("GetGatewayListData", "null", &reply), 0);
    EXPECT_EQ(reply, Parsed(reply).toStyledString());
}

TEST_F(OnTheBus, NothingOfAModuleEndsTheServer) {
    answer = [](Json::Value& reply) { return (reply = "text")["member"].asInt(); };
    EXPECT_EQ(client.GetGatewayListData(in, out), -1);
    EXPECT_THAT(spy.Messages(), Contains(StartsWith("failed to get gateway list data: ")));
    answer = [](Json::Value& reply) { return (reply = std::string(20'000'000, 'x')).isInt(); };
    EXPECT_EQ(client.GetGatewayListData(in, out), -1);
    EXPECT_EQ(client.LastError(), "failed to get gateway list data") << "too long for the bus";
    EXPECT_TRUE(
        spy.Has(LOG_ERR, "net_server", "Reply of [20000003] bytes is too long for the bus"));
    Answer("// \xff\n {}");
    EXPECT_EQ(client.GetGatewayListData(in, out), 0);
    Answer("\"" + std::string(15'000'000, 'x') + "\"");
    EXPECT_EQ(client.GetGatewayListData(in, out), 0) << "the longest that the bus lets through";
}

TEST_F(OnTheBus, AnArgumentIsTakenUpToItsLimit) {
    Answer("{}");
    EXPECT_EQ(client.DelDeviceListData(std::string(256 << 10, 'x')), 0);
    const std::size_t served = requests.size();
    const std::string tooLong((256 << 10) + 1, ' ');
    EXPECT_EQ(ErrorOf(net_refresh_gateway, object, (tooLong + "{}").c_str()),
              "error 1 failed to refresh gateway");
    EXPECT_EQ(client.DelDeviceListData(tooLong), -1);
    EXPECT_EQ(client.LastError(), "failed to set delete data");
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_server", "Argument of [REFRESH_GATEWAY] is too long"));
    EXPECT_EQ(requests.size(), served);
}

TEST_F(OnTheBus, HelpersAskAboutGateways) {
    std::vector<int> priorities;
    for (const std::string text : {"-2", "3.0", "3.5", "3e9", "-1e300", "\"3\"", "null"}) {
        Answer("{\"priority\": " + text + "}");
        priorities.push_back(GetGatewayPriority("eth0", "GTYPE_V4"));
    }
    EXPECT_THAT(priorities, ElementsAre(-2, 3, 0, 0, 0, 0, 0));
    for (const bool succeeds : {true, false}) {
        answer = [succeeds](Json::Value&) { return succeeds ? 0 : 7; };
        EXPECT_EQ(GetGatewayPriority("eth0", "GTYPE_V4"), succeeds ? 0 : -1);
        EXPECT_EQ(SetGatewayInfo("eth0", "GTYPE_V6", "fe80::1", "NULL", "lan", 2, true), succeeds);
        EXPECT_EQ(DelGatewayInfo("eth0", "GTYPE_V4", false), succeeds);
        EXPECT_EQ(RefreshGateway("GTYPE_V4"), succeeds);
    }
    EXPECT_THAT(requests, IsSupersetOf({"3 GET_GATEWAY_DATA_BY_INTERFACE ifname=eth0 type=GTYPE_V4",
                                        "3 ADD_GATEWAY_DATA class=lan dns=NULL gateway=fe80::1 "
                                        "ifname=eth0 priority=2 type=GTYPE_V6",
                                        "3 DEL_GATEWAY_DATA ifname=eth0 type=GTYPE_V4",
                                        "3 REFRESH_GATEWAY type=GTYPE_V4"}));
    std::vector<std::string> told;
    for (const LogLine& line : spy.Lines()) {
        if (line.source == "dbus_client" && line.level == LOG_ERR) {
            told.push_back(std::to_string(line.line) + " " + line.message);
        }
    }
    EXPECT_THAT(told, ElementsAre("25 Failed to GetGatewayDataByInterface [eth0]",
                                  "49 Failed to AddGatewayData on [eth0]",
                                  "68 Failed to DelGatewayData on [eth0]",
                                  "85 Failed to refresh gateway of type [GTYPE_V4]"));
}

TEST_F(OnTheBus, AnyThreadReachesItAndTheEnvironmentStays) {
    Answer(R"({"priority": 3})");
    {
        std::jthread callers[8];
        for (std::jthread& caller : callers) {
            caller = std::jthread([] {
                for (int call = 0; call < 10; ++call) {
                    EXPECT_EQ(GetGatewayPriority("eth0", "GTYPE_V4"), 3);
                }
            });
        }
    }
    EXPECT_EQ(::getenv("DBUS_SESSION_BUS_ADDRESS"), nullptr);
}

TEST_F(OnTheBus, TheServerIsReadyOnlyAsTheDaemon) {
    EXPECT_FALSE(client.IsServerReady()) << "somebody else has the name";
    WriteFile("/var/run/vexonetd.pid", "1\n");
    EXPECT_TRUE(client.IsServerReady());
}

TEST(Client, GoesToTheBusThatItsCallerNames) {
    const Appliance appliance;
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/another", 1);
    NetClient client;
    Json::Value out;
    EXPECT_EQ(client.GetDeviceListData("x", out), -1);
    EXPECT_THAT(client.LastError(), HasSubstr("/run/another"));
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
    EXPECT_THAT(client.LastError(), HasSubstr("cannot be reached"));
}

}  // namespace
}  // namespace vexotest
