#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

#include <sstream>
#include <thread>

#include <vexonetwork/dbus/bus_names.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/dbus/net_server.h>

#include "bus_method_table.h"
#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::dbus;
using namespace vexonetwork::utils;
using testing::ElementsAre;
using testing::IsEmpty;
using vexonetsdk::dbus::DBusClient;
using vexotest::JsonOf;
using vexotest::kMethods;
using vexotest::MethodCase;
using vexotest::RecordingModule;

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

/// The bus object, served by a thread of its own.
class Service {
  public:
    ~Service() {
        server.QuitLoop();
        loop.join();
    }

  private:
    NetServer server;
    std::thread loop{[this] { EXPECT_EQ(server.StartLoop(), 0); }};
};

class OnTheBus : public testing::Test {
  protected:
    static void Answer(const std::string& reply) {
        RecordingModule::answer = [reply](Json::Value& out) {
            out = JsonOf(reply);
            return 0;
        };
    }

    vexotest::SyslogSpy spy;
    vexotest::RecordingModules modules;
    Service service;
    NetClient client;
};

std::string CallRaw(const std::string& interface, const std::string& method, const char* argument) {
    DBusClient raw(kBusName, kObjectPath, interface, kBusType);
    raw.NewMessage(method);
    if (argument != nullptr) {
        raw.Append(argument);
    }
    if (raw.SendMessage(true, -1) < 0) {
        return "error: " + raw.LastError();
    }
    std::string reply;
    return raw.GetReply(reply) < 0 ? "" : reply;
}

TEST_F(OnTheBus, TheObjectHasElevenMethods) {
    std::string description = CallRaw("org.freedesktop.DBus.Introspectable", "Introspect", nullptr);
    description.erase(0, description.find("<interface name=\"com.vexo.network\">"));
    description.erase(description.find("</interface>"));
    int methods = 0;
    for (std::size_t at = 0; (at = description.find("<method ", at)) != std::string::npos; ++at) {
        ++methods;
    }
    EXPECT_EQ(methods, 11);
    for (const MethodCase& method : kMethods) {
        EXPECT_NE(description.find('"' + std::string(method.name) + '"'), std::string::npos);
    }
}

TEST_F(OnTheBus, EveryMethodOfTheClientReachesItsModule) {
    Answer(R"({"n": [1]})");
    struct Case {
        std::function<int(Json::Value&, Json::Value&)> call;
        bool replies;
    };
    // In the order of kMethods.
    const Case cases[] = {
        {[&](auto&, auto& out) { return client.GetDeviceListData("upnp", out); }, true},
        {[&](auto& in, auto&) { return client.SetDeviceListData(in); }, false},
        {[&](auto&, auto&) { return client.DelDeviceListData("02:00:00:00:00:01"); }, false},
        {[&](auto& in, auto& out) { return client.GetGatewayListData(in, out); }, true},
        {[&](auto& in, auto&) { return client.AddGatewayData(in); }, false},
        {[&](auto& in, auto&) { return client.DelGatewayData(in); }, false},
        {[&](auto& in, auto& out) { return client.GetGatewayDataByInterface(in, out); }, true},
        {[&](auto& in, auto&) { return client.SetSlaveData(in); }, false},
        {[&](auto& in, auto&) { return client.CopyGatewayData(in); }, false},
        {[&](auto& in, auto&) { return client.RefreshGateway(in); }, false},
        {[&](auto&, auto&) { return client.ResetIPv6Module("eth0"); }, false},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const MethodCase& method = kMethods[i];
        SCOPED_TRACE(method.name);
        Json::Value in = method.TakesJson() ? JsonOf(method.argument) : Json::Value();
        Json::Value out;
        RecordingModule::requests.clear();
        EXPECT_EQ(cases[i].call(in, out), 0);
        Json::Value expected = JsonOf(method.request);
        expected["module"] = method.module;
        EXPECT_THAT(RecordingModule::requests, ElementsAre(expected));
        EXPECT_EQ(out, cases[i].replies ? JsonOf(R"({"n": [1]})") : Json::Value());
    }
}

TEST_F(OnTheBus, FailuresReachTheCaller) {
    EXPECT_EQ(CallRaw(kInterfaceName, "AddGatewayData", "no json"),
              "error: Method invoked for AddGatewayData returned FALSE but did not set error");
    EXPECT_THAT(RecordingModule::requests, IsEmpty());

    RecordingModule::answer = [](Json::Value&) { return -1; };
    Json::Value request;
    Json::Value out = "before";
    EXPECT_EQ(client.DelDeviceListData("x"), -1);
    EXPECT_EQ(client.LastError(), "failed to set delete data");
    EXPECT_EQ(client.GetGatewayListData(request, out), -1) << "null is no request";
    EXPECT_EQ(client.GetDeviceListData("not UTF-8 \xff", out), -1);
    EXPECT_EQ(client.GetDeviceListData("upnp", out), -1);
    EXPECT_EQ(out, "before");

    Answer("{}");
    EXPECT_EQ(client.GetDeviceListData("upnp", out), 0) << "the server does not survive";
}

TEST_F(OnTheBus, ARepliesTextThatIsNoJsonIsAFailure) {
    RecordingModule::answer = [](Json::Value& out) {
        out.setComment(std::string("/ no comment"), Json::commentBefore);
        return 0;
    };
    Json::Value in(Json::objectValue);
    Json::Value out = "before";
    EXPECT_EQ(client.GetDeviceListData("upnp", out), -1);
    EXPECT_EQ(client.GetGatewayListData(in, out), -1);
    EXPECT_EQ(client.GetGatewayDataByInterface(in, out), -1);
    EXPECT_EQ(out, "before");
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_client", 61, "Failed to parse upnp data"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_client", 137, "Failed to get gateway list data"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "net_client", 238, "Failed to get gateway data by interface"));
}

TEST_F(OnTheBus, HelpersAskAboutGateways) {
    for (const auto& [reply, priority] : {std::pair{R"({"priority": 3})", 3},
                                          {R"({"priority": -2})", -2},
                                          {"{}", 0},
                                          {R"({"priority": "3"})", 0},
                                          {R"({"priority": 1e12})", 0},
                                          {"[1]", 0},
                                          {"null", 0}}) {
        Answer(reply);
        EXPECT_EQ(GetGatewayPriority("eth0", "GTYPE_V4"), priority) << reply;
    }
    RecordingModule::requests.clear();
    EXPECT_TRUE(SetGatewayInfo("eth0", "GTYPE_V6", "2001:db8::1", "NULL", "lan", 2, true));
    EXPECT_TRUE(DelGatewayInfo("eth0", "GTYPE_V4", false));
    EXPECT_TRUE(RefreshGateway("GTYPE_V4"));
    EXPECT_THAT(
        RecordingModule::requests,
        ElementsAre(
            JsonOf(R"({"module": "module:3", "method": "ADD_GATEWAY_DATA", "type": "GTYPE_V6",
                       "priority": 2, "ifname": "eth0", "gateway": "2001:db8::1", "dns": "NULL",
                       "class": "lan"})"),
            JsonOf(R"({"module": "module:3", "method": "DEL_GATEWAY_DATA", "type": "GTYPE_V4",
                       "ifname": "eth0"})"),
            JsonOf(R"({"module": "module:3", "method": "REFRESH_GATEWAY", "type": "GTYPE_V4"})")));
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
    EXPECT_TRUE(spy.Has(LOG_ERR, "dbus_client", 25, "Failed to GetGatewayDataByInterface [eth0]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "dbus_client", 49, "Failed to AddGatewayData on [eth0]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "dbus_client", 68, "Failed to DelGatewayData on [eth0]"));
    EXPECT_TRUE(
        spy.Has(LOG_ERR, "dbus_client", 85, "Failed to refresh gateway of type [GTYPE_V4]"));

    vexotest::WriteFile("/var/run/vexonetd.pid", std::to_string(::getpid()) + "\n");
    EXPECT_FALSE(NetClient().IsServerReady()) << "nobody has the name";
}

}  // namespace
