// What requests do to the lists and what they answer.

#include <vexo/change_hook.h>

#include "route_world.h"

namespace {
int hooksRun = 0;
}

int VEXONetGatewayConfigChangeHook(int, const char*, const char*, const char*, const char*) {
    return ++hooksRun;
}
int VEXONetDnsConfigChangeHook(int, const char*, const VLIBSZLIST*) {
    return ++hooksRun;
}

namespace vexotest {
namespace {

using testing::ElementsAre;

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
    Add("a", 0, R"("gateway": "192.0.2.1", "dns": "192.0.2.53", "class": "vpn")");
    Add("a", -2, R"("gateway": "NULL", "dns": "NULL", "class": "NULL")");
    Add("a", -2);
    EXPECT_EQ(List(), Parsed(R"([{"priority": 0, "ifname": "a", "gateway": "192.0.2.1",
        "dns": "192.0.2.53", "slave": false, "class": "vpn"}])"));
    EXPECT_EQ(ReadFile(std::string(kFolder) + "gateway_database"),
              "[a]\n\tdns=192.0.2.53\n\tgateway=192.0.2.1\n");

    Add("a", -2, R"("gateway": "no address", "dns": "10.1")");
    EXPECT_EQ(List()[0]["gateway"], "");
    EXPECT_EQ(List()[0]["dns"], "10.1");
    Add("b", -1);
    EXPECT_EQ(List()[1]["class"], "unknown");
}

TEST_F(RouteWorld, OneInterfaceIsAskedForByNameInListOrDatabase) {
    const std::string ask =
        R"({"method": "GET_GATEWAY_DATA_BY_INTERFACE", "ifname": "b", "type": )";
    Add("a", -1);
    Add("b", -1, R"("gateway": "192.0.2.1", "dns": "192.0.2.53", "class": "vpn")");
    EXPECT_EQ(Request(ask + "\"GTYPE_V4\"}"),
              Parsed(R"({"priority": 1, "ifname": "b", "gateway": "192.0.2.1",
                "dns": "192.0.2.53", "slave": false, "class": "vpn", "exist": true})"));

    Request(R"({"method": "DEL_GATEWAY_DATA", "type": "GTYPE_V4", "ifname": "b"})");
    EXPECT_EQ(Request(ask + "\"GTYPE_V4\"}"),
              Parsed(R"({"priority": -1, "gateway": "192.0.2.1", "dns": "192.0.2.53",
                "slave": false, "class": "unknown", "exist": false})"));
    EXPECT_EQ(Request(ask + "\"GTYPE_V6\"}")["gateway"], "");
    const Json::Value refused = Request(
        R"({"method": "GET_GATEWAY_DATA_BY_INTERFACE", "type": "GTYPE_V4", "ifname": "../x"})");
    EXPECT_EQ(refused["priority"], -1);
    EXPECT_EQ(refused["exist"], false);
}

TEST_F(RouteWorld, SlavesGoToTheEndAndACopyTakesTheSourcesPlace) {
    for (const char* ifname : {"a", "b", "c"}) {
        Add(ifname, -1, R"("gateway": "192.0.2.1", "dns": "192.0.2.53", "class": "vpn")");
    }
    const auto slave = [this](const char* ifname, const char* value) {
        Request(std::string(R"({"method": "SET_SLAVE_DATA", "type": "GTYPE_V4", "ifname": ")")
                + ifname + R"(", "slave": )" + value + "}");
    };
    slave("a", "true");
    EXPECT_EQ(Order(), "b c a");
    slave("b", "false");
    slave("stranger", "true");
    EXPECT_EQ(Order(), "b c a");

    const auto copy = [this](const char* source, const char* destination, const char* deletes) {
        Request(std::string(R"({"method": "COPY_GATEWAY_DATA", "type": "GTYPE_V4",
            "interface_source": ")")
                + source + R"(", "interface_destination": ")" + destination
                + R"(", "interface_source_delete": )" + deletes + "}");
    };
    copy("c", "d", "false");
    EXPECT_EQ(Order(), "b d c a");
    copy("a", "b", "true");
    EXPECT_EQ(Order(), "d c b");
    EXPECT_EQ(List()[2]["slave"], true);
    EXPECT_EQ(List()[2]["gateway"], "192.0.2.1");
    copy("stranger", "d", "true");
    EXPECT_EQ(Order(), "c b") << "the destination goes even without a source";
}

TEST_F(RouteWorld, TheHeartbeatInterfaceIsLeftOutOfTheList) {
    for (const char* ifname : {"a", "b", "c"}) {
        Add(ifname, -1);
    }
    WriteFile("/usr/vexo/etc/ha.conf", "running=yes\nheartbeat_if=b\n");
    EXPECT_EQ(Order(), "a c");
    EXPECT_EQ(List()[1]["priority"], 2);

    WriteFile("/usr/vexo/etc/ha.conf", "running=yes\n");
    EXPECT_EQ(Order(), "a b c");
    EXPECT_TRUE(log.Has("route_module", "Failed to get heartbeat interface."));
    WriteFile("/usr/vexo/etc/ha.conf", "running=no\nheartbeat_if=b\n");
    EXPECT_EQ(Order(), "a b c");
}

const char* const kWholeRequests[] = {
    R"({"method": "ADD_GATEWAY_DATA", "type": "GTYPE_V4", "ifname": "b", "priority": 0,
        "gateway": "192.0.2.9", "dns": "192.0.2.9", "class": "vpn"})",
    R"({"method": "DEL_GATEWAY_DATA", "type": "GTYPE_V4", "ifname": "a"})",
    R"({"method": "SET_SLAVE_DATA", "type": "GTYPE_V4", "ifname": "a", "slave": true})",
    R"({"method": "COPY_GATEWAY_DATA", "type": "GTYPE_V4", "interface_source": "a",
        "interface_destination": "c", "interface_source_delete": true})",
};

class HostileRequest : public RouteWorld {
  protected:
    HostileRequest() {
        Add("a", -1, R"("gateway": "192.0.2.1", "dns": "192.0.2.53")");
        Add("b", -1, R"("gateway": "192.0.2.2", "dns": "192.0.2.54")");
        files = Files();
        list = List();
        hooksRun = 0;
    }

    static std::string Files() { return Must("grep -r . " + std::string(kFolder)); }

    void ExpectRefused(const Json::Value& request, const std::string& message) {
        log.Clear();
        Send(request);
        EXPECT_THAT(log.Messages(), ElementsAre(message));
        EXPECT_EQ(List(), list) << message;
    }

    ~HostileRequest() override {
        EXPECT_EQ(hooksRun, 0);
        EXPECT_EQ(Files(), files);
    }

    std::string files;
    Json::Value list;
};

TEST_F(HostileRequest, MembersOfNoUseAreNamedAndChangeNothing) {
    const Json::Value wrong[] = {Json::Value(), Json::Value(Json::objectValue), 1.5,
                                 Json::Value::Int64(1) << 40,
                                 "sixteen_or_more_bytes\n" + std::string(100, 'x')};
    for (const char* text : kWholeRequests) {
        const Json::Value whole = Parsed(text);
        for (const std::string& member : whole.getMemberNames()) {
            if (member == "method" || member == "type") {
                continue;
            }
            const std::string message =
                "Bad [" + member + "] in request [" + whole["method"].asString() + "]";
            for (const Json::Value& value : wrong) {
                Json::Value request = whole;
                request[member] = value;
                ExpectRefused(request, message);
            }
            if (member != "gateway" && member != "dns" && member != "class") {
                Json::Value request = whole;
                request.removeMember(member);
                ExpectRefused(request, message);
            }
        }
    }
}

TEST_F(HostileRequest, NamesThatNoInterfaceAndNoFileCouldHave) {
    for (const std::string& name :
         {std::string(), std::string("."), std::string(".."), std::string("a/b"),
          std::string("a b"), std::string("a:1"), std::string("a]"), std::string("a\x7f"),
          std::string("a\xc2\xa0"), std::string("sixteen_bytes_ab"), std::string("nul\0", 4)}) {
        for (const char* text : kWholeRequests) {
            Json::Value request = Parsed(text);
            const char* member = request.isMember("ifname") ? "ifname" : "interface_destination";
            request[member] = name;
            ExpectRefused(request, std::string("Bad [") + member + "] in request ["
                                       + request["method"].asString() + "]");
        }
    }
}

TEST_F(HostileRequest, AnUnknownTypeIsToldAsTheMethodTellsIt) {
    const std::pair<const char*, const char*> messages[] = {
        {"GET_GATEWAY_LIST_DATA", "Unknown type to get data"},
        {"GET_GATEWAY_DATA_BY_INTERFACE", "Unknown type to get data"},
        {"ADD_GATEWAY_DATA", "Unknown type to add info"},
        {"DEL_GATEWAY_DATA", "Unknown type to delete info"},
        {"SET_SLAVE_DATA", "Unknown type to delete info"},
        {"COPY_GATEWAY_DATA", "Unknown type to get data"},
        {"REFRESH_GATEWAY", "Unknown type to add info"},
    };
    for (const auto& [method, message] : messages) {
        for (const Json::Value& type : {Json::Value(), Json::Value("GTYPE_V5"), Json::Value(0)}) {
            Json::Value request;
            request["method"] = method;
            request["type"] = type;
            ExpectRefused(request, message);
        }
    }
}

TEST_F(HostileRequest, WhatIsNoRequestIsPassedOver) {
    log.Clear();
    for (const char* text : {"null", "[]", "5", "\"x\"", "{}", R"({"method": 5})",
                             R"({"method": "FORMAT_DISK", "type": "GTYPE_V4"})"}) {
        EXPECT_EQ(Request(text), Json::Value()) << text;
    }
    Json::Value noArray = 5;
    EXPECT_EQ(module.ProcessRequest(
                  Parsed(R"({"method": "GET_GATEWAY_LIST_DATA", "type": "GTYPE_V4"})"), noArray),
              0)
        << "a reply that takes no entries";
    EXPECT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(List(), list) << "and the lock is free again";
}

}  // namespace
}  // namespace vexotest
