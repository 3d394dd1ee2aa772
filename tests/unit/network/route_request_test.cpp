// What requests do to the lists and what they answer.

#include <vexo/change_hook.h>
#include <vexo/default_gateway.h>

#include "route_world.h"

namespace {
int hooksRun = 0;
int getResult = 0;
int setResult = 0;
}  // namespace

int VEXONetGatewayConfigChangeHook(int, const char*, const char*, const char*, const char*) {
    return ++hooksRun;
}
int VEXONetDnsConfigChangeHook(int, const char*, const VLIBSZLIST*) {
    return ++hooksRun;
}
int VEXONetDefaultGatewayGet(char* gateway, int) {
    *gateway = '\0';
    return getResult;
}
int VEXONetDefaultGatewaySet(const char*) {
    return setResult;
}

namespace vexotest {
namespace {

using testing::ElementsAre;

constexpr char kWhole[] = "'gateway': '192.0.2.1', 'dns': '192.0.2.53', 'class': 'vpn'";

TEST_F(RouteWorld, AnEntryIsPlacedByItsPriority) {
    const struct {
        const char* ifname;
        int priority;
        const char* order;
    } steps[] = {
        {"a", -1, "a"},
        {"b", -2, "a b"},
        {"c", 0, "c a b"},
        {"d", 1, "c d a b"},
        {"d", -2, "c d a b"},
        {"c", -1, "d a b c"},
        {"b", 0, "b d a c"},
        {"b", 99, "d a c b"},
        {"d", 3, "a c b d"},
        {"a", -3, "c b d a"},
        {"d", -2147483647, "c b a d"},
    };
    for (const auto& step : steps) {
        Add(step.ifname, step.priority);
        EXPECT_EQ(Order(), step.order) << step.ifname << " to " << step.priority;
    }
    EXPECT_EQ(List("GTYPE_V6"), Json::Value()) << "an empty list leaves the reply alone";
}

TEST_F(RouteWorld, ABroughtTextReplacesTheStoredOneAndNullKeepsIt) {
    Add("a", 0, kWhole);
    Add("a", -2, "'gateway': 'NULL', 'dns': 'NULL', 'class': 'NULL'");
    EXPECT_EQ(List(), Quoted("[{'priority': 0, 'ifname': 'a', 'gateway': '192.0.2.1',"
                             "'dns': '192.0.2.53', 'slave': false, 'class': 'vpn'}]"));
    EXPECT_EQ(ConfigFile("gateway_database"), "[a]\n\tdns=192.0.2.53\n\tgateway=192.0.2.1\n");
    Add("a", -2, "'gateway': 'no address', 'dns': '10.1'");
    Add("b", -1);
    EXPECT_EQ(List()[0]["gateway"], "");
    EXPECT_EQ(List()[0]["dns"], "10.1");
    EXPECT_EQ(List()[1]["class"], "unknown");
}

TEST_F(RouteWorld, OneInterfaceIsAskedForByNameInListOrDatabase) {
    const std::string method = "GET_GATEWAY_DATA_BY_INTERFACE";
    Add("a", -1);
    Add("b", -1, kWhole);
    EXPECT_EQ(Do(method, "'ifname': 'b'"),
              Quoted("{'priority': 1, 'ifname': 'b', 'gateway': '192.0.2.1', 'dns': '192.0.2.53',"
                     "'slave': false, 'class': 'vpn', 'exist': true}"));
    Delete("b");
    EXPECT_EQ(Do(method, "'ifname': 'b'"),
              Quoted("{'priority': -1, 'gateway': '192.0.2.1', 'dns': '192.0.2.53',"
                     "'slave': false, 'class': 'unknown', 'exist': false}"));
    const Json::Value nothing = Quoted(
        "{'priority': -1, 'gateway': '', 'dns': '',"
        "'slave': false, 'class': 'unknown', 'exist': false}");
    EXPECT_EQ(Do(method, "'ifname': 'b'", "GTYPE_V6"), nothing);
    EXPECT_EQ(Do(method, "'ifname': '../x'"), nothing);
}

TEST_F(RouteWorld, SlavesGoToTheEndAndACopyTakesTheSourcesPlace) {
    for (const char* ifname : {"a", "b", "c"}) {
        Add(ifname, -1, kWhole);
    }
    Do("SET_SLAVE_DATA", "'ifname': 'a', 'slave': true");
    Do("SET_SLAVE_DATA", "'ifname': 'b', 'slave': false");
    Do("SET_SLAVE_DATA", "'ifname': 'stranger', 'slave': true");
    EXPECT_EQ(Order(), "b c a*");

    const struct {
        const char *source, *destination, *deletes, *order;
    } copies[] = {
        {"c", "d", "false", "b d c a*"},
        {"a", "b", "true", "d c b*"},
        {"stranger", "d", "true", "c b*"},
    };
    for (const auto& copy : copies) {
        Do("COPY_GATEWAY_DATA", std::string("'interface_source': '") + copy.source
                                    + "', 'interface_destination': '" + copy.destination
                                    + "', 'interface_source_delete': " + copy.deletes);
        EXPECT_EQ(Order(), copy.order) << copy.source << " to " << copy.destination;
    }
    EXPECT_EQ(List()[1]["gateway"], "192.0.2.1");
}

TEST_F(RouteWorld, TheHeartbeatInterfaceIsLeftOutOfTheList) {
    for (const char* ifname : {"a", "b", "c"}) {
        Add(ifname, -1);
    }
    const std::pair<const char*, const char*> orders[] = {
        {"running=no\nheartbeat_if=b\n", "a b c"},
        {"running=yes\n", "a b c"},
        {"running=yes\nheartbeat_if=b\n", "a c"},
    };
    for (const auto& [settings, order] : orders) {
        WriteFile("/usr/vexo/etc/ha.conf", settings);
        EXPECT_EQ(Order(), order) << settings;
    }
    EXPECT_EQ(List()[1]["priority"], 2);
    EXPECT_TRUE(log.Has("route_module", "Failed to get heartbeat interface."));
}

TEST_F(RouteWorld, AStoreThatFailsEndsBothElections) {
    Add("lo", 0, "'gateway': '::'", "GTYPE_V6");
    for (int* result : {&getResult, &setResult}) {
        *result = -1;
        Do("REFRESH_GATEWAY", "", "ALL");
        *result = 0;
    }
    EXPECT_THAT(log.Messages(),
                ElementsAre("Get system gateway failed", "Failed to delete default gateway"));
}

/// Requests that are sound but for one member, each of which must leave one line and no trace.
class HostileRequest : public RouteWorld {
  protected:
    HostileRequest() {
        Add("a", -1, kWhole);
        Add("b", -1, kWhole);
        files = Files();
        list = List();
        hooksRun = 0;
    }
    ~HostileRequest() override {
        EXPECT_EQ(hooksRun, 0);
        EXPECT_EQ(Files(), files);
    }

    static std::string Files() { return Must("grep -r . /etc/iproute2/config"); }

    void ExpectRefused(const Json::Value& request, const std::string& message) {
        log.Clear();
        Send(request);
        EXPECT_THAT(log.Messages(), ElementsAre(message));
        EXPECT_EQ(List(), list) << message;
    }

    void ExpectRefused(Json::Value request, const std::string& member, const Json::Value* value) {
        if (value == nullptr) {
            request.removeMember(member);
        } else {
            request[member] = *value;
        }
        ExpectRefused(request,
                      "Bad [" + member + "] in request [" + request["method"].asString() + "]");
    }

    const Json::Value sound[4] = {
        Quoted("{'method': 'ADD_GATEWAY_DATA', 'type': 'GTYPE_V4', 'ifname': 'b', 'priority': 0,"
               "'gateway': '192.0.2.9', 'dns': '192.0.2.9', 'class': 'x'}"),
        Quoted("{'method': 'DEL_GATEWAY_DATA', 'type': 'GTYPE_V4', 'ifname': 'a'}"),
        Quoted("{'method': 'SET_SLAVE_DATA', 'type': 'GTYPE_V4', 'ifname': 'a', 'slave': true}"),
        Quoted("{'method': 'COPY_GATEWAY_DATA', 'type': 'GTYPE_V4', 'interface_source': 'a',"
               "'interface_destination': 'c', 'interface_source_delete': true}"),
    };
    std::string files;
    Json::Value list;
};

TEST_F(HostileRequest, MembersOfNoUseAreNamedAndChangeNothing) {
    const Json::Value wrong[] = {Json::Value(), Json::Value(Json::objectValue),
                                 1.5,           Json::Value::Int64(1) << 40,
                                 "line\n",      std::string(300, 'x')};
    const std::string optional = "gateway dns class";
    for (const Json::Value& request : sound) {
        for (const std::string& member : request.getMemberNames()) {
            if (member == "method" || member == "type") {
                continue;
            }
            for (const Json::Value& value : wrong) {
                ExpectRefused(request, member, &value);
            }
            if (optional.find(member) == optional.npos) {
                ExpectRefused(request, member, nullptr);
            }
        }
    }
}

TEST_F(HostileRequest, NamesThatNoInterfaceAndNoFileCouldHave) {
    using std::string_literals::operator""s;
    for (const auto& name : {""s, "."s, ".."s, "a/b"s, "a b"s, "a:1"s, "a]"s, "a\x7f"s,
                             "a\xc2\xa0"s, "sixteen_bytes_ab"s, "nul\0"s}) {
        const Json::Value value = name;
        for (const Json::Value& request : sound) {
            const char* member = request.isMember("ifname") ? "ifname" : "interface_destination";
            ExpectRefused(request, member, &value);
        }
    }
}

TEST_F(HostileRequest, AnUnknownTypeIsToldAsTheMethodTellsIt) {
    const std::pair<const char*, const char*> messages[] = {
        {"GET_GATEWAY_LIST_DATA", "get data"}, {"GET_GATEWAY_DATA_BY_INTERFACE", "get data"},
        {"ADD_GATEWAY_DATA", "add info"},      {"DEL_GATEWAY_DATA", "delete info"},
        {"SET_SLAVE_DATA", "delete info"},     {"COPY_GATEWAY_DATA", "get data"},
        {"REFRESH_GATEWAY", "add info"},
    };
    for (const auto& [method, purpose] : messages) {
        for (const Json::Value& type : {Json::Value(), Json::Value("GTYPE_V5"), Json::Value(0)}) {
            Json::Value request;
            request["method"] = method;
            request["type"] = type;
            ExpectRefused(request, std::string("Unknown type to ") + purpose);
        }
    }
}

TEST_F(HostileRequest, WhatIsNoRequestIsPassedOver) {
    log.Clear();
    for (const char* text : {"null", "[]", "5", "'x'", "{}", "{'method': 5}",
                             "{'method': 'FORMAT_DISK', 'type': 'GTYPE_V4'}"}) {
        EXPECT_EQ(Send(Quoted(text)), Json::Value()) << text;
    }
    EXPECT_EQ(log.Lines().size(), 0U);
    Json::Value noArray = 5;
    const Json::Value request = Quoted("{'method': 'GET_GATEWAY_LIST_DATA', 'type': 'GTYPE_V4'}");
    EXPECT_EQ(module.ProcessRequest(request, noArray), 0) << "a reply that takes no entries";
    EXPECT_EQ(List(), list) << "and the lock is free again";
}

}  // namespace
}  // namespace vexotest
