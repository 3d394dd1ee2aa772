// What the module says, with level and source.

#include <syslog.h>

#include <functional>

#include <vexo/default_gateway.h>

#include "route_world.h"

static int storeAnswers;  ///< calls of the store that succeed before one fails

int VEXONetDefaultGatewayGet(char*, int) {
    return storeAnswers-- > 0 ? 0 : -1;
}
int VEXONetDefaultGatewaySet(const char*) {
    return storeAnswers-- > 0 ? 0 : -1;
}

namespace vexotest {
namespace {

using namespace vexonetwork::network::module;

constexpr auto kNoType = static_cast<GATEWAY_TYPE>(7);
const std::string kFolder = "/etc/iproute2/config/";

class Messages : public RouteWorld {
  protected:
    struct Case {
        const char* message;
        std::function<void()> step;
        int level = LOG_ERR;
    };

    /// A request that lacks nothing but a type.
    std::function<void()> Send(const std::string& method, const std::string& type = "gtype_v4") {
        return [this, method, type] {
            Do(method,
               "'ifname': 'a', 'priority': 0, 'slave': true, 'interface_source': 'a',"
               "'interface_destination': 'b', 'interface_source_delete': true, 'dns': '::1',"
               "'gateway': '192.0.2.1'",
               type);
        };
    }

    void Expect(const std::vector<Case>& cases) {
        for (const auto& [message, step, level] : cases) {
            log.Clear();
            step();
            EXPECT_TRUE(log.Has(level, "route_module", message)) << message;
            EXPECT_EQ(std::ranges::count(log.Messages(), message), 1) << message;
        }
    }
};

TEST_F(Messages, EachRequestAndFileNamesWhatItDoesNotKnow) {
    const Json::Value untyped = Quoted("{'ifname': 'a', 'gateway': '::1', 'dns': '::1'}");
    Expect({{"Unknown type to get data", Send("GET_GATEWAY_LIST_DATA")},
            {"Unknown type to get data", Send("GET_GATEWAY_DATA_BY_INTERFACE")},
            {"Unknown type to get data", Send("COPY_GATEWAY_DATA", "ALL")},
            {"Unknown type to add info", Send("ADD_GATEWAY_DATA", "ALL")},
            {"Unknown type to add info", Send("REFRESH_GATEWAY")},
            {"Unknown type to delete info", Send("DEL_GATEWAY_DATA", "")},
            {"Unknown type to delete info", Send("SET_SLAVE_DATA")},
            {"Unknown type to read config",
             [&] { EXPECT_EQ(module.ReadGatewayListFromFile(kNoType), -1); }},
            {"Unknown type to write config",
             [&] { EXPECT_EQ(module.WriteGatewayListToFile(kNoType), -1); }},
            {"Unknown type to write config",
             [&] { EXPECT_EQ(module.WriteGatewayToDatabase(kNoType, true, true), -1); }},
            {"Unknown type to write config", [&] { EXPECT_EQ(module.WriteDnsFile(kNoType), -1); }},
            {"Unknown type", [&] { EXPECT_EQ(module.IsGatewayConfigChanged(untyped), -1); }},
            {"Unknown type", [&] { EXPECT_EQ(module.IsDnsConfigChanged(untyped), -1); }}});
    Must("test ! -e " + kFolder + "gateway_v4_priority");
    EXPECT_EQ(List(), Json::Value());
}

TEST_F(Messages, FilesThatCannotBeUsedAreNamed) {
    const std::string priorities = kFolder + "gateway_v4_priority";
    const std::string database = kFolder + "gateway_database";
    WriteFile(priorities, "[0]\n\tifname=eth7\n");
    WriteFile(kFolder + "gateway_v4_dormant/in the way", "");
    Must("mkdir " + kFolder + "resolv4.conf");
    Expect({
        {"Interface [eth7] is not up, skip it", [&] { module.InitialModule(); }, LOG_INFO},
        {"Failed to set file[/etc/iproute2/config/gateway_v4_dormant]",
         [&] { module.InitialModule(); }},
        {"Failed to open file[/etc/iproute2/config/resolv4.conf]",
         Send("ADD_GATEWAY_DATA", "GTYPE_V4")},
    });
    Must("rmdir " + kFolder + "resolv4.conf");
    WriteFile(priorities, "[0]\n");
    WriteFile(database, "[a]\n");
    Expect({
        {"Failed to read config [/etc/iproute2/config/gateway_v4_priority]",
         [&] { module.InitialModule(); }},
        {"Failed to read config [/etc/iproute2/config/gateway_database]",
         [&] { EXPECT_EQ(module.IsDatabaseChanged("a", "dns", ""), -1); }},
        {"Failed to read config [/etc/iproute2/config/gateway_database]",
         Send("COPY_GATEWAY_DATA", "GTYPE_V4")},
    });
    Must("rm " + priorities + " " + database);
    Must("mkdir -p " + priorities);
    Expect({{"Failed to set file[/etc/iproute2/config/gateway_v4_priority]",
             Send("DEL_GATEWAY_DATA", "GTYPE_V4")}});
}

TEST_F(Messages, ElectionsSayWhatKeptThemFromBeginning) {
    const auto refuseAfter = [this](int calls) {
        return [this, calls] {
            storeAnswers = calls;
            EXPECT_EQ(module.RefreshDefaultGateway(Quoted("{'type': 'ALL'}")), -1);
        };
    };
    Expect({{"Get system gateway failed", refuseAfter(0)},
            {"Failed to delete default gateway", refuseAfter(1)}});
    log.Clear();
    storeAnswers = 0;
    module.Elect(GTYPE_V4);
    EXPECT_EQ(std::ranges::count(log.Messages(), "Get system gateway failed"), 3)
        << "no event would follow";

    const Uplink wan0 = MakeUplink(0);
    Must("ip -6 route add default via 2001:db8::1");
    WriteScript("/tmp/false", "exit 1");
    Must("mount --bind /tmp/false /sbin/ip");
    Expect({{"delete default route failed", Send("ADD_GATEWAY_DATA", "GTYPE_V6"), LOG_INFO}});
    Must("umount /sbin/ip");
    EXPECT_THAT(DefaultRoutes("-6"), testing::ElementsAre("via 2001:db8::1 dev wan0"));
}

}  // namespace
}  // namespace vexotest
