#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include <vexonetwork/network/module/route_module.h>

#include "support/appliance.h"
#include "support/syslog_spy.h"

namespace vexotest {

/// JSON whose texts stand in single quotes.
inline Json::Value Quoted(std::string text) {
    std::ranges::replace(text, '\'', '"');
    return Parsed(text);
}

inline std::string ConfigFile(const std::string& name) {
    return ReadFile("/etc/iproute2/config/" + name);
}

/// A route module of the test's own and what it logs.
class RouteWorld : public testing::Test {
  protected:
    Json::Value Send(const Json::Value& request) {
        Json::Value reply;
        EXPECT_EQ(module.ProcessRequest(request, reply), 0);
        return reply;
    }

    /// Sends a request with these further members, as Quoted takes them.
    Json::Value Do(const std::string& method, const std::string& members = "",
                   const std::string& type = "GTYPE_V4") {
        return Send(Quoted("{'method': '" + method + "', 'type': '" + type + "'"
                           + (members.empty() ? "" : ", ") + members + "}"));
    }

    void Add(const std::string& ifname, int priority, const std::string& members = "",
             const std::string& type = "GTYPE_V4") {
        Do("ADD_GATEWAY_DATA",
           "'ifname': '" + ifname + "', 'priority': " + std::to_string(priority)
               + (members.empty() ? "" : ", ") + members,
           type);
    }

    void Delete(const std::string& ifname) { Do("DEL_GATEWAY_DATA", "'ifname': '" + ifname + "'"); }

    Json::Value List(const std::string& type = "GTYPE_V4") {
        return Do("GET_GATEWAY_LIST_DATA", "", type);
    }

    /// The list's interfaces in order, "*" behind the slaves.
    std::string Order(const std::string& type = "GTYPE_V4") {
        std::string order;
        for (const Json::Value& entry : List(type)) {
            order += (order.empty() ? "" : " ") + entry["ifname"].asString()
                     + (entry["slave"].asBool() ? "*" : "");
        }
        return order;
    }

    SyslogSpy log;
    vexonetwork::network::module::RouteModule module;
};

}  // namespace vexotest
