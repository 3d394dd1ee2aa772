#pragma once

#include <gmock/gmock.h>

#include <sstream>
#include <string>

#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/json_reader.h>

#include "support/appliance.h"
#include "support/syslog_spy.h"

namespace vexotest {

inline constexpr char kFolder[] = "/etc/iproute2/config/";

inline Json::Value Parsed(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(vexonetwork::utils::ParseJson(text, value)) << text;
    return value;
}

/// A route module of the test's own and what it logs.
class RouteWorld : public testing::Test {
  protected:
    Json::Value Send(const Json::Value& request) {
        Json::Value reply;
        EXPECT_EQ(module.ProcessRequest(request, reply), 0);
        return reply;
    }

    Json::Value Request(const std::string& text) { return Send(Parsed(text)); }

    /// Adds an entry; `members` are further members of the request, as JSON text.
    void Add(const std::string& ifname, int priority, const std::string& members = "",
             const std::string& type = "GTYPE_V4") {
        Request(R"({"method": "ADD_GATEWAY_DATA", "type": ")" + type + R"(", "ifname": ")" + ifname
                + R"(", "priority": )" + std::to_string(priority)
                + (members.empty() ? "" : ", " + members) + "}");
    }

    Json::Value List(const std::string& type = "GTYPE_V4") {
        return Request(R"({"method": "GET_GATEWAY_LIST_DATA", "type": ")" + type + "\"}");
    }

    /// The list's interfaces in order, separated by blanks.
    std::string Order(const std::string& type = "GTYPE_V4") {
        std::ostringstream order;
        for (const Json::Value& entry : List(type)) {
            order << (order.tellp() > 0 ? " " : "") << entry["ifname"].asString();
        }
        return order.str();
    }

    SyslogSpy log;
    vexonetwork::network::module::RouteModule module;
};

}  // namespace vexotest
