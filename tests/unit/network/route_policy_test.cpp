// Policy tables in the kernel, and their numbers in the file of tables.

#include <chrono>

#include <vexonetwork/network/policy_route.h>
#include <vexonetwork/network/static_routes.h>
#include <vexonetwork/utils/lock.h>

#include "unit/network/gateway/route_world.h"

namespace vexotest {
namespace {

using namespace testing;
using vexonetwork::network::IPType;
using vexonetwork::network::PolicyRoute;
using vexonetwork::network::StaticRoutes;

constexpr char kTables[] = "/etc/iproute2/rt_tables";
constexpr char kStatic[] = "/etc/iproute2/config/static-table";

class Policy : public RouteWorld {
  protected:
    static std::string Rules(const std::string& family) {
        return Must("ip -N " + family + " rule show priority 32000");
    }
    static std::string Routes(const std::string& family, const std::string& table = "101") {
        return vexotest::Run({"ip", family, "route", "show", "table", table}).out;
    }

    /// What is ours in the main table.
    static std::string Ours(const std::string& family) {
        return Must("ip " + family + " route show table main proto 86");
    }

    Uplink wan0 = MakeUplink(0);
    PolicyRoute policy;
};

TEST_F(Policy, TheModulesStartInstallsTheStaticTable) {
    WriteFile(kTables, "255 local\n0xc8 hexadecimal # kept\n100\tforeign");
    WriteFile(kStatic,
              "[0]\n\tdestination=default\n\tgateway=192.0.2.1\n\tmetric=7\n"
              "[1]\n\tdestination=10.20.0.0/16\n\tgateway=192.0.2.1\n\tifname=wan0\n"
              "[2]\n\tdestination=2001:db8:f::/48\n\tifname=wan0\n"
              "[3]\n\tdestination=default\n\tgateway=::\n\tifname=wan0\n");
    const std::string before = Must("ip rule");
    const std::string defaults =
        "32765:\tnot from all to 0.0.0.0 lookup main suppress_prefixlength 0 proto 86\n"
        "32765:\tfrom all lookup static proto 86\n";
    for (int start = 0; start < 2; ++start) {
        ASSERT_EQ(module.InitialModule(), 0);
        EXPECT_EQ(ReadFile(kTables),
                  "255 local\n0xc8 hexadecimal # kept\n100\tforeign\n101\tstatic\n");
        EXPECT_EQ(Must("ip rule show priority 32765"), defaults);
        EXPECT_THAT(Must("ip -6 rule show priority 32765"),
                    HasSubstr("not from all to :: lookup main suppress_prefixlength 0"));
        EXPECT_EQ(Routes("-4"), "default via 192.0.2.1 dev wan0 proto 86 metric 7 \n");
        EXPECT_EQ(Ours("-4"), "10.20.0.0/16 via 192.0.2.1 dev wan0 \n");
        EXPECT_THAT(Ours("-6"), StartsWith("2001:db8:f::/48 dev wan0"));
        EXPECT_THAT(Routes("-6"), StartsWith("default dev wan0"));
        EXPECT_EQ(policy.EnableTable(IPType::V4, "static", "all"), 0) << "twice is once";
        EXPECT_EQ(Must("ip rule show priority 32765"), defaults);
        EXPECT_THAT(Must("ip route get 192.0.2.99"), StartsWith("192.0.2.99 dev wan0"));
        EXPECT_THAT(Must("ip route get 203.0.113.1"), HasSubstr("via 192.0.2.1"));
        EXPECT_EQ(policy.EnableTable(IPType::V4, "static", "192.0.2.0/24"), 0);
        EXPECT_THAT(Routes("-4"), HasSubstr("10.20.0.0/16 via 192.0.2.1"));
    }
    Must("rm /etc/iproute2/config/static-table");
    ASSERT_EQ(module.InitialModule(), 0);
    EXPECT_EQ(Routes("-4") + Routes("-6") + Ours("-4") + Ours("-6"), "");
    EXPECT_EQ(Must("ip rule"), before);
    EXPECT_EQ(log.Lines().size(), 0U);
}

TEST_F(Policy, GoodRoutesServeAndBadOnesAreNamed) {
    WriteFile(kStatic,
              "[empty]\n"
              "[no way]\n\tdestination=10.2.0.0/16\n"
              "[name]\n\tdestination=10.4.0.0/16\n\tifname=wan0 table main\n"
              "[metric]\n\tdestination=10.5.0.0/16\n\tifname=wan0\n\tmetric=-1\n"
              "[option]\n\tdestination=-batch\n\tifname=wan0\n"
              "[refused]\n\tdestination=10.6.0.0/16\n\tgateway=203.0.113.1\n"
              "[good]\n\tdestination=10.7.0.0/16\n\tifname=wan0\n"
              "[twin]\n\tdestination=10.7.0.1/16\n\tgateway=192.0.2.1\n");
    EXPECT_EQ(policy.EnableTable(IPType::V4, "static", "all"), -1);
    EXPECT_EQ(policy.EnableTable(IPType::V4, "static", "all"), -1) << "and is said once";
    EXPECT_EQ(Ours("-4"), "10.7.0.0/16 dev wan0 scope link \n");
    EXPECT_THAT(log.Messages(),
                ElementsAre(HasSubstr("Bad route [empty] in [/etc/iproute2/config/static-table]: "),
                            HasSubstr("[no way]"), HasSubstr("[name]"), HasSubstr("[metric]"),
                            HasSubstr("[option]"), HasSubstr("[twin]"),
                            HasSubstr("Failed to add route [10.6.0.0/16] via [203.0.113.1]")));
}

TEST_F(Policy, StaticRoutesOverrideNobody) {
    Must("ip link add lan0 type veth peer name vpn0");
    for (const char* ifname : {"lan0", "vpn0"}) {
        Must(std::string("ip link set ") + ifname + " up");
    }
    Must("ip addr add 10.9.0.1/24 dev lan0");
    Must("ip rule add iif lan0 prohibit");
    WriteFile(kStatic,
              "[0]\n\tdestination=default\n\tgateway=192.0.2.1\n"
              "[1]\n\tdestination=10.20.0.0/16\n\tgateway=192.0.2.1\n");
    const auto install = [&] { return policy.RenewTable(IPType::V4, "static", "all"); };
    const auto way = [](const std::string& destination) {
        const std::string answer = Must("ip route get " + destination);
        return answer.substr(0, answer.find(" src"));
    };
    ASSERT_EQ(install(), 0);
    EXPECT_EQ(vexotest::Run(Words("ip route get 203.0.113.1 from 10.9.0.5 iif lan0")).status, 2)
        << "a guest network stays shut";
    Must("ip route add 10.20.7.0/24 dev vpn0");
    EXPECT_EQ(way("10.20.7.1"), "10.20.7.1 dev vpn0") << "the longest prefix decides";
    EXPECT_THAT(StaticRoutes().Add({"10.20.7.0/24", "192.0.2.1", "", ""}),
                HasSubstr("somebody else's route"));
    EXPECT_EQ(way("10.20.7.1"), "10.20.7.1 dev vpn0");
    EXPECT_EQ(way("203.0.113.1"), "203.0.113.1 via 192.0.2.1 dev wan0 table static");

    // As common VPN tools begin and end.
    Must("ip route add default dev vpn0 table 5182");
    Must("ip rule add not fwmark 0xca6c table 5182");
    Must("ip rule add table main suppress_prefixlength 0");
    EXPECT_EQ(way("203.0.113.1"), "203.0.113.1 dev vpn0 table 5182");
    EXPECT_EQ(way("10.20.0.1"), "10.20.0.1 via 192.0.2.1 dev wan0");
    const std::string ours = Must("ip rule show priority 32765");
    while (Must("ip rule").find("from all lookup main suppress_prefixlength 0")
           != std::string::npos) {
        Must("ip rule del table main suppress_prefixlength 0");
    }
    EXPECT_EQ(Must("ip rule show priority 32765"), ours);
    Must("ip rule del table 5182");

    Must("ip rule del priority 32765 table main");
    EXPECT_EQ(way("10.9.0.2"), "10.9.0.2 via 192.0.2.1 dev wan0 table static");
    ASSERT_EQ(install(), 0);
    EXPECT_EQ(Must("ip rule show priority 32765"), ours) << "also their order";

    WriteFile(kStatic, "[1]\n\tdestination=10.20.0.0/16\n\tgateway=192.0.2.1\n");
    ASSERT_EQ(install(), 0);
    EXPECT_EQ(Must("ip rule show priority 32765"), "32765:\tfrom all iif lan0 prohibit\n");
    EXPECT_EQ(way("10.20.0.1"), "10.20.0.1 via 192.0.2.1 dev wan0");
    EXPECT_EQ(policy.DisableTable(IPType::V4, "static"), 0);
    EXPECT_EQ(Ours("-4"), "");
}

TEST_F(Policy, AStaticRouteFollowsItsGateway) {
    MakeUplink(1);
    Must("ip addr add 10.9.0.1/24 dev wan0");
    StaticRoutes routes;
    ASSERT_EQ(routes.Add({"10.30.0.0/16", "10.9.0.2", "", ""}), "");
    ASSERT_EQ(routes.Add({"10.31.0.0/16", "10.9.0.1", "", ""}),
              "its gateway 10.9.0.1 is an address of this machine");
    ASSERT_EQ(routes.Add({"2001:db8:77::/48", "2001:db8:9::2", "", ""}),
              "its gateway 2001:db8:9::2 is no neighbour (No route to host); see 'ip route get "
              "2001:db8:9::2'");
    Must("ip addr del 10.9.0.1/24 dev wan0");
    const auto state = [&] { return routes.List()[0].reason; };
    EXPECT_EQ(state(), "has a gateway that is no neighbour any more");
    Must("ip addr add 10.9.0.1/24 dev wan1");
    EXPECT_EQ(state(), "is on wan0 in the kernel and not on wan1");
    Must("ip addr add 10.8.0.1/13 dev wan0");
    Must("ip route add 10.9.0.0/25 via 192.0.2.1");
    EXPECT_EQ(routes.Apply(), 0);
    EXPECT_EQ(state(), "");
    EXPECT_EQ(Ours("-4"), "10.30.0.0/16 via 10.9.0.2 dev wan1 \n");

    ASSERT_EQ(routes.Add({"10.30.0.0/16", "198.51.100.1", "wan1", "5"}), "");
    EXPECT_EQ(routes.Change({"10.30.0.0/16", "", "", "5"}, {"198.51.100.9", {}, {}}), "");
    Must("ip link set wan1 down");
    EXPECT_EQ(routes.List()[1].reason, "waits: its interface is down");
    EXPECT_EQ(routes.Remove({"10.30.0.0/16", "", "", "5"}), "");
    Must("ip link set wan1 up");

    // Of two interfaces in one network that with a link.
    Must("ip addr add 10.9.0.3/24 dev wan0");
    Must("ip -n isp-wan1 link set far down");
    EXPECT_TRUE(Eventually([] { return Must("ip route").find("linkdown") != std::string::npos; }));
    EXPECT_EQ(routes.Apply(), 0);
    EXPECT_EQ(Ours("-4"), "10.30.0.0/16 via 10.9.0.2 dev wan0 \n");
}

TEST_F(Policy, AStaticRouteThatCannotBeStoredIsNotKept) {
    StaticRoutes routes;
    ASSERT_EQ(routes.Add({"10.30.0.0/16", "192.0.2.1", "", ""}), "");
    Must("mount --bind /etc/iproute2/config /etc/iproute2/config");
    Must("mount -o remount,bind,ro /etc/iproute2/config");
    EXPECT_THAT(routes.Add({"10.31.0.0/16", "192.0.2.1", "", ""}), HasSubstr("cannot be written"));
    EXPECT_THAT(routes.Change({"10.30.0.0/16", "", "", ""}, {"192.0.2.2", {}, {}}),
                HasSubstr("cannot be written"));
    EXPECT_EQ(Ours("-4"), "10.30.0.0/16 via 192.0.2.1 dev wan0 \n");
}

TEST_F(Policy, ANumberThatSomebodyElseUsesIsLeftToHim) {
    WriteFile("/etc/iproute2/config/lan-table", "[0]\n\tdestination=10.7.0.0/16\n\tifname=wan0\n");
    Must("ip rule add fwmark 1 lookup 100");
    Must("ip route add local default dev lo table 101");
    Must("ip -6 route add blackhole 2001:db8:f::/48 table 102");
    Must("ip -6 rule add iif lo lookup 103");
    Must("ip rule add from 10.9.0.0/16 prohibit table 104");
    Must("ip route add 10.8.0.0/16 dev wan0 table 105");
    WriteFile(kTables, "106 one\n107 one\n");
    WriteFile("/etc/iproute2/rt_tables.d/further.conf", "0x6c theirs\n");
    const auto install = [&] { return policy.RenewTable(IPType::V4, "lan", "10.9.0.0/24"); };
    ASSERT_EQ(install(), 0);
    EXPECT_EQ(ReadFile(kTables), "106 one\n107 one\n109\tlan\n");
    EXPECT_THAT(Routes("-4", "109"), StartsWith("10.7.0.0/16"));

    WriteFile(kTables, "109 theirs\n150 lan\n");
    ASSERT_EQ(install(), 0);
    EXPECT_EQ(Rules("-4"), "32000:\tfrom 10.9.0.0/24 lookup 150 proto 86\n");
    EXPECT_EQ(Routes("-4", "109"), "");
    EXPECT_THAT(Routes("-4", "150"), StartsWith("10.7.0.0/16"));
    Must("ip route add blackhole 10.8.0.0/16 table 150");
    ASSERT_EQ(install(), 0);
    EXPECT_EQ(log.Messages().back(),
              "Routes of others in table [150] stay there; is its number used twice?");
    EXPECT_THAT(Routes("-4", "150"), HasSubstr("blackhole 10.8.0.0/16"));

    WriteFile("/etc/iproute2/config/lab-table", "[0]\n\tdestination=10.7.0.0/16\n\tifname=wan0\n");
    ASSERT_EQ(policy.EnableTable(IPType::V4, "lab", "10.9.0.0/24"), 0);
    ASSERT_EQ(policy.DisableTable(IPType::V4, "lab"), 0);
    EXPECT_THAT(Must("ip rule show priority 31999"), HasSubstr("10.9.0.0/24"))
        << "the other table of this source needs it too";

    WriteFile(kTables, "");
    Must("mkdir /etc/iproute2/rt_tables.d/folder.conf");
    EXPECT_EQ(install(), -1) << "who has which number is not known";
    EXPECT_EQ(log.Messages().back(), "Failed to read config [/etc/iproute2/rt_tables.d]");
}

TEST_F(Policy, WhoHoldsTheNumbersDelaysNobodyForLong) {
    WriteFile("/etc/iproute2/config/lan-table", "[0]\n\tdestination=10.7.0.0/16\n\tifname=wan0\n");
    vexonetwork::utils::FileLock lock("/run/vexo/rt_tables.lock", true);
    ASSERT_TRUE(lock.Lock());
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(policy.RenewTable(IPType::V4, "lan", "10.9.0.0/24"), -1);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6));
    ASSERT_TRUE(lock.Unlock());
    EXPECT_EQ(policy.RenewTable(IPType::V4, "lan", "10.9.0.0/24"), 0);
    EXPECT_EQ(log.Lines().size(), 2U) << "the lock, and the table";
}

TEST_F(Policy, WhatWaitsForANumberIsKeptAndComesLater) {
    WriteFile("/etc/iproute2/config/policy", "[wan0]\nenabled=yes\n");
    WriteFile(kStatic, "[0]\n\tdestination=default\n\tgateway=192.0.2.1\n");
    vexonetwork::utils::FileLock lock("/run/vexo/rt_tables.lock", true);
    std::string whole = Must("ip -N rule show");
    for (int start = 0; start < 2; ++start) {
        WriteFile(kTables, "");
        ASSERT_TRUE(lock.Lock());
        if (start == 0) {
            ASSERT_EQ(module.InitialModule(), 0);
        }
        for (int second = 0; second < 5; ++second) {
            module.RepairNetwork();
            EXPECT_TRUE(module.IsNetworkBehind());
            EXPECT_EQ(Must("ip -N rule show"), whole) << "nothing is taken away";
        }
        EXPECT_THAT(StaticRoutes().Add({"default", "192.0.2.1", "", "9"}),
                    HasSubstr("another process holds /run/vexo/rt_tables.lock"));
        ASSERT_TRUE(lock.Unlock());
        module.RepairNetwork();
        EXPECT_FALSE(module.IsNetworkBehind());
        whole = Must("ip -N rule show");
        EXPECT_EQ(Count(whole, "192.0.2.10"), 4U) << whole;
        EXPECT_EQ(Count(whole, "32765:"), 2U) << whole;
    }
    EXPECT_LE(log.Lines().size(), 7U);
    WriteFile("/etc/iproute2/config/policy", "");
    EXPECT_TRUE(module.IsNetworkBehind()) << "whoever changed it, and whatever he did then";
}

TEST_F(Policy, NamesAndNumbersThatWouldHarmAreRefused) {
    const std::string main = Must("ip route show table main");
    for (const char* table : {"", "../static", "-4", "a b", "a\n1 b"}) {
        EXPECT_EQ(policy.DisableTable(IPType::V4, table), -1) << table;
        EXPECT_EQ(policy.EnableTable(IPType::V4, table, "all"), -1) << table;
    }
    for (const char* source : {"", "any", "::1", "10.0.0.0/40", "all lookup main"}) {
        EXPECT_EQ(policy.EnableTable(IPType::V4, "static", source), -1) << source;
    }
    WriteFile(kTables, "254 main\n253 static\n");
    WriteFile(kStatic, "[0]\n\tdestination=10.7.0.0/16\n\tifname=wan0\n");
    EXPECT_EQ(policy.EnableTable(IPType::V4, "static", "10.0.0.0/8"), -1);
    EXPECT_EQ(policy.DisableTable(IPType::V4, "main"), 0);
    EXPECT_EQ(Must("ip route show table main"), main);

    Must("rm /etc/iproute2/rt_tables");
    Must("mkdir /etc/iproute2/rt_tables");
    EXPECT_EQ(policy.EnableTable(IPType::V4, "static", "10.0.0.0/8"), -1);
    EXPECT_EQ(log.Messages().back(), "Failed to read config [/etc/iproute2/rt_tables]");
    WriteFile(kStatic,
              "[0]\n\tdestination=10.7.0.0/16\n\tifname=wan0\n"
              "[1]\n\tdestination=default\n\tgateway=192.0.2.1\n");
    EXPECT_EQ(policy.RenewTable(IPType::V4, "static", "all"), -1);
    EXPECT_EQ(Ours("-4"), "10.7.0.0/16 dev wan0 scope link \n");
}

}  // namespace
}  // namespace vexotest
