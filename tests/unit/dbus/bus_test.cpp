#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

#include <functional>
#include <new>
#include <sstream>
#include <thread>

#include <vexonetwork/dbus/bus_names.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/dbus/net_server.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/utils/json_reader.h>

#include "dbus/net_handlers.h"
#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::dbus;
using namespace vexonetwork::network::module;
using namespace vexonetwork::utils;
using testing::ElementsAre;
using testing::IsEmpty;

Json::Value JsonOf(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text, value)) << text;
    return value;
}

/// Stands in for the modules behind the bus: writes the request down and answers as told.
struct RecordingModule : BaseModule {
    using BaseModule::BaseModule;
    int InitialModule() override { return 0; }
    int StartModule() override { return 0; }
    int TerminateModule() override { return 0; }
    int ProcessRequest(const Json::Value& in, Json::Value& out) override {
        requests.push_back(in);
        requests.back()["module"] = ToStr();
        return answer(out);
    }

    template <MODULE_TYPE Type>
    static void Add() {
        ModuleManager::GetInstance().AddModule(
            {Type, true, []() -> BaseModule* { return new RecordingModule(Type); }});
    }

    inline static std::vector<Json::Value> requests;
    inline static std::function<int(Json::Value&)> answer;
};

/// A message bus for all tests of this process.
class Bus : public testing::Environment {
  public:
    void SetUp() override {
        std::istringstream told(
            vexotest::Must("dbus-daemon --session --fork --print-address=1 --print-pid=1"));
        std::string address;
        told >> address >> pid;
        ASSERT_GT(pid, 0);
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    }
    void TearDown() override { ::kill(pid, SIGTERM); }

  private:
    pid_t pid = 0;
};
const auto* const kBus = testing::AddGlobalTestEnvironment(new Bus);

/// The bus object, served by a thread of its own, before modules that succeed.
class OnTheBus : public testing::Test {
  protected:
    OnTheBus() {
        RecordingModule::requests.clear();
        RecordingModule::answer = [](Json::Value&) { return 0; };
        RecordingModule::Add<MODULE_IPV6>();
        RecordingModule::Add<MODULE_ROUTE>();
        RecordingModule::Add<MODULE_DEVICE_LIST>();
    }
    ~OnTheBus() override {
        server.QuitLoop();
        loop.join();
        for (const MODULE_TYPE type : {MODULE_IPV6, MODULE_ROUTE, MODULE_DEVICE_LIST}) {
            ModuleManager::GetInstance().RemoveModule(type);
        }
    }

    vexotest::SyslogSpy spy;
    NetServer server;
    std::thread loop{[this] { EXPECT_EQ(server.StartLoop(), 0); }};
    NetClient client;
    Json::Value in = JsonOf(R"({"a": 1, "method": "replaced"})");
    Json::Value out;
};

/// What each of the client's requests is to reach a module as, and what failed ones are told.
struct MethodCase {
    std::function<int(NetClient&, Json::Value& in, Json::Value& out)> call;
    const char* request;
    const char* failure;
};
const MethodCase kMethods[] = {
    {[](auto& c, auto&, auto& out) { return c.GetDeviceListData("upnp", out); },
     R"({"module": "module:4", "method": "get", "scannertype": "upnp"})",
     "failed to get upnp data"},
    {[](auto& c, auto& in, auto&) { return c.SetDeviceListData(in); },
     R"({"module": "module:4", "method": "set", "a": 1})", "failed to set device type"},
    {[](auto& c, auto&, auto&) { return c.DelDeviceListData("["); },
     R"({"module": "module:4", "method": "del", "macAddr": "["})", "failed to set delete data"},
    {[](auto& c, auto& in, auto& out) { return c.GetGatewayListData(in, out); },
     R"({"module": "module:3", "method": "GET_GATEWAY_LIST_DATA", "a": 1})",
     "failed to get gateway list data"},
    {[](auto& c, auto& in, auto&) { return c.AddGatewayData(in); },
     R"({"module": "module:3", "method": "ADD_GATEWAY_DATA", "a": 1})",
     "failed to add gateway data"},
    {[](auto& c, auto& in, auto&) { return c.DelGatewayData(in); },
     R"({"module": "module:3", "method": "DEL_GATEWAY_DATA", "a": 1})",
     "failed to del gateway data"},
    {[](auto& c, auto& in, auto& out) { return c.GetGatewayDataByInterface(in, out); },
     R"({"module": "module:3", "method": "GET_GATEWAY_DATA_BY_INTERFACE", "a": 1})",
     "failed to get gateway data by interface"},
    {[](auto& c, auto& in, auto&) { return c.SetSlaveData(in); },
     R"({"module": "module:3", "method": "SET_SLAVE_DATA", "a": 1})", "failed to set slave data"},
    {[](auto& c, auto& in, auto&) { return c.CopyGatewayData(in); },
     R"({"module": "module:3", "method": "COPY_GATEWAY_DATA", "a": 1})",
     "failed to copy gateway data"},
    {[](auto& c, auto& in, auto&) { return c.RefreshGateway(in); },
     R"({"module": "module:3", "method": "REFRESH_GATEWAY", "a": 1})", "failed to refresh gateway"},
    {[](auto& c, auto&, auto&) { return c.ResetIPv6Module("eth0"); },
     R"({"module": "module:2", "method": "RESET_IPV6_MODULE", "ifname": "eth0"})",
     "failed to reset ipv6 module"},
};

TEST_F(OnTheBus, EveryMethodReachesItsModule) {
    for (const MethodCase& method : kMethods) {
        SCOPED_TRACE(method.failure);
        RecordingModule::requests.clear();
        RecordingModule::answer = [](Json::Value& reply) {
            reply["name"] = "caf\u00e9 \xff";
            return 0;
        };
        EXPECT_EQ(method.call(client, in, out), 0);
        EXPECT_THAT(RecordingModule::requests, ElementsAre(JsonOf(method.request)));
        RecordingModule::answer = [](Json::Value&) { return 7; };
        EXPECT_EQ(method.call(client, in, out), -1);
        EXPECT_EQ(client.LastError(), method.failure);
    }
    EXPECT_EQ(out["name"], "caf\u00e9 \ufffd");
    EXPECT_TRUE(spy.Has("net_server", "failed to delete data"));
}

TEST_F(OnTheBus, TheObjectHasElevenMethods) {
    vexonetsdk::dbus::DBusClient reader(kBusName, kObjectPath,
                                        "org.freedesktop.DBus.Introspectable", kBusType);
    std::string text;
    reader.NewMessage("Introspect");
    reader.SendMessage(true, -1);
    ASSERT_EQ(reader.GetReply(text), 0);
    text.erase(0, text.find("<interface name=\"com.vexo.network\">"));
    text.erase(text.find("</interface>"));
    int methods = 0;
    for (std::size_t at = 0; (at = text.find("<method ", at)) != std::string::npos; ++at) {
        ++methods;
    }
    EXPECT_EQ(methods, 11);
}

TEST_F(OnTheBus, WhatIsNoJsonObjectReachesNoModule) {
    const std::string nested = std::string(100'000, '[') + std::string(100'000, ']');
    for (const std::string& text : {std::string(), std::string("{"), std::string("[]"),
                                    std::string("null"), std::string("3"), nested}) {
        client.NewMessage("AddGatewayData");
        client.Append(text);
        EXPECT_EQ(client.SendMessage(true, -1), -1) << text.substr(0, 9);
        EXPECT_EQ(client.LastError(),
                  "Method invoked for AddGatewayData returned FALSE but did not set error");
    }
    EXPECT_THAT(spy.Messages(), testing::Each("Failed to parse info"));
    EXPECT_THAT(RecordingModule::requests, IsEmpty());
    EXPECT_EQ(client.GetDeviceListData("\xff", out), -1);
    EXPECT_EQ(client.AddGatewayData(in), 0) << "the server does not survive";
}

TEST_F(OnTheBus, NothingOfAModuleEndsTheServer) {
    const std::function<int(Json::Value&)> exhaust = [](Json::Value&) -> int {
        throw std::bad_alloc();
    };
    const std::function<int(Json::Value&)> misread = [](Json::Value& reply) {
        return (reply = "text")["member"].asInt();
    };
    const std::function<int(Json::Value&)> swell = [](Json::Value& reply) {
        return (reply = std::string(20'000'000, 'x')).isNull() ? 1 : 0;
    };
    for (const auto& answer : {exhaust, misread, swell}) {
        RecordingModule::answer = answer;
        EXPECT_EQ(client.GetGatewayListData(in, out), -1);
        EXPECT_EQ(client.LastError(), "failed to get gateway list data");
    }
    RecordingModule::answer = [](Json::Value& reply) {
        reply["commented"] = 1;
        reply["commented"].setComment(std::string("// \xff"), Json::commentBefore);
        return 0;
    };
    EXPECT_EQ(client.GetGatewayListData(in, out), 0);
}

TEST_F(OnTheBus, AReplyThatIsNoJsonIsAFailure) {
    RecordingModule::answer = [](Json::Value& reply) {
        reply.setComment(std::string("/ no comment"), Json::commentBefore);
        return 0;
    };
    out = "before";
    EXPECT_EQ(client.GetDeviceListData("upnp", out), -1);
    EXPECT_EQ(client.GetGatewayListData(in, out), -1);
    EXPECT_EQ(client.GetGatewayDataByInterface(in, out), -1);
    EXPECT_EQ(out, "before");
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_client", 61, "Failed to parse upnp data"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_client", 137, "Failed to get gateway list data"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_client", 238, "Failed to get gateway data by interface"));
}

TEST_F(OnTheBus, HelpersAskAboutGateways) {
    for (const auto& [reply, priority] : {std::pair{R"({"priority": -2})", -2},
                                          {"{}", 0},
                                          {R"({"priority": "3"})", 0},
                                          {R"({"priority": 1e12})", 0},
                                          {"[1]", 0},
                                          {"null", 0}}) {
        RecordingModule::answer = [text = reply](Json::Value& value) {
            value = JsonOf(text);
            return 0;
        };
        EXPECT_EQ(GetGatewayPriority("eth0", "GTYPE_V4"), priority) << reply;
    }
    RecordingModule::requests.clear();
    EXPECT_TRUE(SetGatewayInfo("eth0", "GTYPE_V6", "2001:db8::1", "NULL", "lan", 2, true));
    EXPECT_THAT(RecordingModule::requests,
                ElementsAre(JsonOf(R"({"module": "module:3", "method": "ADD_GATEWAY_DATA",
                    "type": "GTYPE_V6", "priority": 2, "ifname": "eth0",
                    "gateway": "2001:db8::1", "dns": "NULL", "class": "lan"})")));
    EXPECT_TRUE(DelGatewayInfo("eth0", "GTYPE_V4", false));
    EXPECT_TRUE(RefreshGateway("GTYPE_V4"));
}

TEST_F(OnTheBus, TheServerIsReadyOnlyAsTheDaemon) {
    constexpr char kPidFile[] = "/var/run/vexonetd.pid";
    ::unlink(kPidFile);
    EXPECT_FALSE(client.IsServerReady()) << "somebody else has the name";
    vexotest::WriteFile(kPidFile, std::to_string(::getpid()) + "\n");
    EXPECT_TRUE(client.IsServerReady());
}

TEST(WithoutDaemon, RequestsFail) {
    const vexotest::SyslogSpy spy;
    EXPECT_EQ(GetGatewayPriority("eth0", "GTYPE_V4"), -1);
    EXPECT_FALSE(SetGatewayInfo("eth0", "GTYPE_V4", "192.0.2.1", "NULL", "NULL", 0, false));
    EXPECT_FALSE(DelGatewayInfo("eth0", "GTYPE_V4", false));
    EXPECT_FALSE(RefreshGateway("GTYPE_V4"));
    EXPECT_THAT(spy.Messages(), ElementsAre("Failed to GetGatewayDataByInterface [eth0]",
                                            "Failed to AddGatewayData on [eth0]",
                                            "Failed to DelGatewayData on [eth0]",
                                            "Failed to refresh gateway of type [GTYPE_V4]"));
    EXPECT_FALSE(NetClient().IsServerReady());
}

TEST(Handlers, RefuseNull) {
    const vexotest::SyslogSpy spy;
    GObject* object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    char* reply = nullptr;
    for (const auto& call : std::initializer_list<std::function<gboolean(GError**)>>{
             [&](GError** e) { return net_get_device_list_data(object, nullptr, &reply, e); },
             [&](GError** e) { return net_get_gateway_list_data(nullptr, "{}", &reply, e); },
             [&](GError** e) { return net_add_gateway_data(object, nullptr, e); },
             [&](GError** e) { return net_set_device_list_data(nullptr, "{}", e); }}) {
        GError* error = nullptr;
        EXPECT_FALSE(call(&error));
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(g_quark_to_string(error->domain), "badparameter");
        EXPECT_STREQ(error->message, "Bad parameter");
        EXPECT_EQ(error->code, 1);
        g_error_free(error);
    }
    EXPECT_THAT(spy.Messages(), testing::Each("Bad parameter"));
    GError* error = nullptr;
    EXPECT_FALSE(net_set_device_list_data(object, nullptr, &error));
    EXPECT_EQ(error, nullptr) << "there, null is text that does not parse";
    EXPECT_TRUE(spy.Has("net_server", "Failed to parse device data"));
    g_object_unref(object);
}

}  // namespace
