// What requests do to the lists and their files, what they answer, and what a start reads.

#include <limits.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <vexo/change_hook.h>
#include <vexo/default_gateway.h>
#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/config.h>

#include "route_world.h"

/// No election gets further.
int VEXONetDefaultGatewayGet(char*, int) {
    return -1;
}

static std::vector<std::string> announced;
static std::string databaseOfAHook;  ///< what the next hook makes of the database; "" for none

int VEXONetGatewayConfigChangeHook(int stage, const char* protocol, const char* ifname,
                                   const char* oldGateway, const char* newGateway) {
    announced.push_back(std::to_string(stage) + " " + protocol + " " + ifname + " " + oldGateway
                        + ">" + newGateway
                        + (vexotest::ConfigFile("gateway_database").empty() ? " first" : ""));
    if (!databaseOfAHook.empty()) {
        vexotest::WriteFile("/etc/iproute2/config/gateway_database",
                            std::exchange(databaseOfAHook, ""));
    }
    return 0;
}
int VEXONetDnsConfigChangeHook(int stage, const char* ifname, const VLIBSZLIST* servers) {
    announced.push_back(std::to_string(stage) + " " + ifname + " " + std::to_string(servers->count)
                        + " " + VLIBCSzListGet(servers, 0));
    return 0;
}

namespace vexotest {
namespace {

const std::string kAddresses = "'gateway': '192.0.2.1', 'dns': '192.0.2.53'";
const std::string kWhole = kAddresses + ", 'class': 'vpn'";

TEST_F(RouteWorld, ABroughtTextReplacesTheStoredOneAndNullKeepsIt) {
    Add("a", 0, kWhole);
    Add("a", -2, "'gateway': 'NULL', 'dns': 'NULL', 'class': 'NULL'");
    EXPECT_EQ(List(), Quoted("[{'priority': 0, 'ifname': 'a', 'gateway': '192.0.2.1',"
                             "'dns': '192.0.2.53', 'slave': false, 'class': 'vpn'}]"));
    EXPECT_EQ(ConfigFile("gateway_database"), "[a]\n\tdns=192.0.2.53\n\tgateway=192.0.2.1\n");
    Add("a", -2, "'gateway': 'no address', 'dns': '10.1'");
    EXPECT_EQ(List()[0]["gateway"], "");
    EXPECT_EQ(List()[0]["dns"], "10.1");
}

TEST_F(RouteWorld, OneInterfaceIsAskedForByNameInListOrDatabase) {
    const std::string method = "GET_GATEWAY_DATA_BY_INTERFACE";
    Add("a", -1);
    Add("b", -1, kWhole);
    EXPECT_EQ(Do(method, "'ifname': 'b'"),
              Quoted("{'priority': 1, 'ifname': 'b', 'gateway': '192.0.2.1', 'dns': '192.0.2.53',"
                     "'slave': false, 'class': 'vpn', 'exist': true}"));
    Delete("b");
    const std::string rest = "'priority': -1, 'slave': false, 'class': 'unknown', 'exist': false}";
    EXPECT_EQ(Do(method, "'ifname': 'b'"),
              Quoted("{'gateway': '192.0.2.1', 'dns': '192.0.2.53', " + rest));
    EXPECT_EQ(Do(method, "'ifname': 'b'", "GTYPE_V6"),
              Quoted("{'gateway': '', 'dns': '', " + rest));
    EXPECT_EQ(List("GTYPE_V6"), Json::Value()) << "an empty list leaves the reply alone";
}

TEST_F(RouteWorld, SlavesGoToTheEndAndACopyTakesTheSourcesPlace) {
    for (const std::string ifname : {"a", "b", "c"}) {
        Add(ifname, -1, "'gateway': '192.0.2.1', 'dns': 'fd::" + ifname + "'");
    }
    Do("SET_SLAVE_DATA", "'ifname': 'a', 'slave': true");
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver fd::b\nnameserver fd::c\nnameserver fd::a\n");
    Do("SET_SLAVE_DATA", "'ifname': 'b', 'slave': false");
    Do("SET_SLAVE_DATA", "'ifname': 'stranger', 'slave': true");
    EXPECT_EQ(Order(), "b c a*");
    const std::tuple<std::string, std::string, std::string, std::string> copies[] = {
        {"c", "d", "false", "b d c a*"},
        {"a", "b", "true", "d c b*"},
        {"stranger", "d", "true", "c b*"}};
    for (const auto& [source, destination, deletes, order] : copies) {
        Do("COPY_GATEWAY_DATA", "'interface_source': '" + source + "', 'interface_destination': '"
                                    + destination + "', 'interface_source_delete': " + deletes);
        EXPECT_EQ(Order(), order) << source << " to " << destination;
    }
    EXPECT_EQ(List()[1]["gateway"], "192.0.2.1");
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver fd::c\nnameserver fd::a\n");
    for (const char* copy :
         {"[b]\n\tdns=fd::a\n\tgateway=192.0.2.1\n", "[d]\n\tdns=fd::c\n\tgateway=192.0.2.1\n"}) {
        EXPECT_THAT(ConfigFile("gateway_database"), testing::HasSubstr(copy));
    }
}

TEST_F(RouteWorld, AnAdditionReadsTheDatabaseOnce) {
    const std::string path = "/etc/iproute2/config/gateway_database";
    WriteFile(path, "[eth7]\n\tgateway=192.0.2.7\n[eth70]\n\tgateway=192.0.2.7\n");
    const vexobase::UniqueFd watch(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ASSERT_GE(::inotify_add_watch(watch.Get(), path.c_str(), IN_OPEN), 0);
    const auto openings = [&watch] {
        std::size_t count = 0;
        char bytes[sizeof(inotify_event) + NAME_MAX + 1];
        while (::read(watch.Get(), bytes, sizeof bytes) > 0) {
            ++count;
        }
        return count;
    };
    vexonetwork::utils::ConfigSection file(path);
    ASSERT_EQ(file.Read(), 0);
    const std::size_t once = openings();
    Add("eth7", 0, kAddresses);
    EXPECT_EQ(openings(), once);
    EXPECT_THAT(ReadFile(path),
                testing::HasSubstr("[eth7]\n\tdns=192.0.2.53\n\tgateway=192.0.2.1\n[eth70]"));
}

TEST_F(RouteWorld, TheHeartbeatInterfaceIsLeftOutOfTheList) {
    Add("a", -1);
    Add("b", -1);
    WriteFile("/usr/vexo/etc/ha.conf", "running=yes\n");
    EXPECT_EQ(Order(), "a b");
    EXPECT_EQ(log.Messages().back(), "Failed to get heartbeat interface.");
    WriteFile("/usr/vexo/etc/ha.conf", "running=yes\nheartbeat_if=a\n");
    EXPECT_EQ(Order(), "b");
    EXPECT_EQ(List()[0]["priority"], 1);
}

TEST_F(RouteWorld, EachFileHoldsWhatTheListsSay) {
    Add("a", -1, kAddresses);
    Add("b", -1, "'dns': '', 'class': 'vpn'");
    Add("c", 0, "'dns': '192.0.2.53'");
    Add("a", -1, "'gateway': '::', 'dns': '2001:db8::53'", "GTYPE_V6");
    Do("SET_SLAVE_DATA", "'ifname': 'c', 'slave': true");

    EXPECT_EQ(
        ConfigFile("gateway_v4_priority"),
        "[0]\n\tclass=unknown\n\tdns=192.0.2.53\n\tgateway=192.0.2.1\n\tifname=a\n\tslave=no\n"
        "[1]\n\tclass=vpn\n\tdns=\n\tgateway=\n\tifname=b\n\tslave=no\n"
        "[2]\n\tclass=unknown\n\tdns=192.0.2.53\n\tgateway=\n\tifname=c\n\tslave=yes\n");
    EXPECT_EQ(ConfigFile("gateway_database"),
              "[a]\n\tdns=192.0.2.53\n\tdns_v6=2001:db8::53\n\tgateway=192.0.2.1\n\tgateway_v6=::\n"
              "[b]\n\tdns=\n[c]\n\tdns=192.0.2.53\n");
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver 192.0.2.53\nnameserver 192.0.2.53\n");
    EXPECT_EQ(ConfigFile("resolv6.conf"), "nameserver 2001:db8::53\n");

    WriteFile("/etc/iproute2/config/gateway_database", "[z]\n\tgateway=192.0.2.7\n");
    Delete("a");
    Add("b", -2, "'gateway': '192.0.2.2'");
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver 192.0.2.53\n");
    EXPECT_EQ(ConfigFile("gateway_database"),
              "[b]\n\tgateway=192.0.2.2\n[c]\n\tgateway=\n[z]\n\tgateway=192.0.2.7\n")
        << "another's change is seen, and only added to";
    Add("b", -2, "'dns': '192.0.2.54'");
    Add("c", 0);
    EXPECT_EQ(ConfigFile("resolv4.conf"), "nameserver 192.0.2.53\nnameserver 192.0.2.54\n");
}

TEST_F(RouteWorld, AStartReadsSectionsInByteOrderAndDropsWhatHasNoLink) {
    std::string file;
    for (const std::string n : {"2", "10", "1"}) {
        file += "[" + n + "]\n\tifname=lo\n\tclass=" + n + "\n\tslave=yes\n";
    }
    file += "[a]\n\tgateway=192.0.2.1\n[b]\n\tifname=../x y\n";
    file += "[c]\n\tifname=lo\n\tgateway=-6\n\tdns=x\n\tslave=YES\n";
    WriteFile("/etc/iproute2/config/gateway_v4_priority", file);
    ASSERT_EQ(module.InitialModule(), 0);
    std::string order;
    for (const Json::Value& entry : List()) {
        order += entry["class"].asString() + (entry["slave"].asBool() ? "* " : "");
    }
    EXPECT_EQ(order, "1* 10* 2* ");
    EXPECT_EQ(List()[3], Quoted("{'priority': 3, 'ifname': 'lo', 'gateway': '',"
                                "'dns': '', 'slave': false, 'class': ''}"));
    EXPECT_TRUE(log.Has("route_module", "Interface [../x y] is not up, skip it"));
}

TEST_F(RouteWorld, HooksFrameTheChangeAndOnlyARealOne) {
    const std::pair<std::string, std::vector<std::string>> steps[] = {
        {kAddresses,
         {"4 ipv4 eth7 >192.0.2.1 first", "4 eth7 1 192.0.2.53", "5 ipv4 eth7 >192.0.2.1",
          "5 eth7 1 192.0.2.53"}},
        {kAddresses, {}},
        {"'gateway': '192.0.2.2', 'dns': '192.0.2.53'",
         {"4 ipv4 eth7 192.0.2.1>192.0.2.2", "5 ipv4 eth7 192.0.2.1>192.0.2.2"}},
    };
    for (const auto& [members, hooks] : steps) {
        announced.clear();
        Add("eth7", -2, members);
        EXPECT_EQ(announced, hooks) << members;
    }
    databaseOfAHook = "[z]\n\tgateway=192.0.2.7\n";
    Add("eth7", -2, "'gateway': '192.0.2.3'");
    EXPECT_EQ(ConfigFile("gateway_database"),
              "[eth7]\n\tgateway=192.0.2.3\n[z]\n\tgateway=192.0.2.7\n")
        << "what changed meanwhile stays";
}

}  // namespace
}  // namespace vexotest
